#include "platform/json/RapidJSONSerialization.h"
#include "platform/sqlite/Journal.h"
#include "platform/sqlite/JournalImage.h"
#include "sqlite/FullDisk.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

std::string textOf(const RowChange& change) {
  if (const auto* range = std::get_if<RowRange>(&change))
    return "-" + std::to_string(range->first) + ".." + std::to_string(range->last);
  const Row& row = std::get<Row>(change);
  return std::to_string(row.id) + ' ' + std::to_string(row.parent) + ' ' + std::to_string(row.position) + ' ' +
         row.name + ' ' + RapidJSONSerialization().textOfAny(row.value);
}

std::vector<std::string> textsOf(const std::vector<RowChange>& changes) {
  std::vector<std::string> texts;
  for (const RowChange& change : changes) texts.push_back(textOf(change));
  return texts;
}

class AJournal : public testing::Test {
 protected:
  AJournal() {
    journal_.beginLife();
    journal_.open();
    beginning_ = journal_.mark();
  }

  /// A frame of two changes.
  bool append(int number) {
    const std::vector<RowChange> changes{Row{number, 2, 100 + number, "name " + std::to_string(number), record(number)},
                                         RowRange{-10 - number, -number}};
    if (!journal_.append(changes)) return false;
    for (const RowChange& change : changes) appended_.push_back(textOf(change));
    return true;
  }

  /// As many of the frames as are said.
  std::vector<std::string> frames(std::size_t count) const {
    return {appended_.begin(), appended_.begin() + static_cast<std::ptrdiff_t>(2 * count)};
  }

  std::string pathOf(std::size_t file) const { return path_ + Journal::suffixes[file]; }

  const TemporaryFolder folder_{memory()};
  const std::string path_ = (folder_ / "store").string();
  Journal journal_{path_};
  JournalMark beginning_;
  std::vector<std::string> appended_;
};

TEST_F(AJournal, HasWhatWasAppendedInItsOrder) {
  for (int number = 1; number <= 3; ++number) EXPECT_TRUE(append(number));
  const JournalImage image(path_);
  const auto all = image.after(beginning_);
  EXPECT_EQ(textsOf(all.changes), frames(3));
  EXPECT_EQ(all.mark, journal_.mark());
  EXPECT_FALSE(all.isDamaged);
  EXPECT_FALSE(image.endsUnfinished());
}

TEST_F(AJournal, LeavesOutWhatTheFileHas) {
  append(1);
  const JournalMark filed = journal_.mark();
  append(2);
  const auto rest = JournalImage(path_).after(filed);
  EXPECT_EQ(textsOf(rest.changes), (std::vector<std::string>{appended_[2], appended_[3]}));
  EXPECT_FALSE(rest.isDamaged);
  EXPECT_TRUE(JournalImage(path_).after(journal_.mark()).changes.empty());
}

TEST_F(AJournal, IsNotTakenForThatOfAnotherLife) {
  append(1);
  Journal other(path_);
  other.beginLife();
  EXPECT_NE(other.mark().life, beginning_.life);
  const auto none = JournalImage(path_).after(other.mark());
  EXPECT_TRUE(none.changes.empty() && none.beyond.empty());
  EXPECT_TRUE(none.isOfAnother);
  EXPECT_FALSE(none.isDamaged);
  EXPECT_FALSE(JournalImage(path_).after(journal_.mark()).isOfAnother);
}

TEST_F(AJournal, GivesEachFrameToAFileThatCannotSayWhatItHas) {
  append(1);
  append(2);
  EXPECT_EQ(textsOf(JournalImage(path_).after(std::nullopt).changes), frames(2));
}

TEST_F(AJournal, TakesTurnsWithItsFiles) {
  append(1);
  journal_.turn();
  append(2);
  append(3);
  EXPECT_EQ(textsOf(JournalImage(path_).after(beginning_).changes), frames(3));
  journal_.clearFiled();
  journal_.turn();
  append(4);
  EXPECT_EQ(std::filesystem::file_size(pathOf(0)), journal_.size());
  EXPECT_EQ(textsOf(JournalImage(path_).after(JournalMark{beginning_.life, 1}).changes),
            (std::vector<std::string>{appended_.begin() + 2, appended_.end()}));
}

TEST_F(AJournal, TellsWhatStandsBehindMissingFramesFromTheRest) {
  append(1);
  journal_.turn();
  append(2);
  append(3);
  journal_.turn();
  append(4);
  std::filesystem::remove(pathOf(1));
  const auto found = JournalImage(path_).after(beginning_);
  EXPECT_EQ(textsOf(found.changes), (std::vector<std::string>{}));
  EXPECT_EQ(found.mark, beginning_);
  EXPECT_EQ(textsOf(found.beyond), (std::vector<std::string>{appended_[6], appended_[7]}));
  EXPECT_FALSE(found.isDamaged);
  EXPECT_TRUE(JournalImage(path_).after(JournalMark{beginning_.life, 3}).beyond.empty());
}

TEST_F(AJournal, HasAllBeforeAFrameThatIsCutAnywhere) {
  append(1);
  append(2);
  const std::string whole = contentOf(pathOf(0));
  append(3);
  const std::string longer = contentOf(pathOf(0));
  for (std::size_t size = whole.size(); size < longer.size(); ++size) {
    std::filesystem::resize_file(pathOf(0), size);
    overwrite(pathOf(0), 0, longer.substr(0, size));
    const JournalImage image(path_);
    const auto found = image.after(beginning_);
    EXPECT_EQ(textsOf(found.changes), frames(2)) << size;
    EXPECT_FALSE(found.isDamaged) << size;
    EXPECT_EQ(image.endsUnfinished(), size > whole.size()) << size;
    overwrite(pathOf(0), 0, longer);
  }
}

TEST_F(AJournal, NeverGivesOtherChangesWhicheverByteWasAltered) {
  for (int number = 1; number <= 3; ++number) append(number);
  const std::string whole = contentOf(pathOf(0));
  const std::size_t last = whole.size() - whole.size() / 3;
  for (std::size_t place = 0; place < whole.size(); ++place) {
    overwrite(pathOf(0), place, std::string(1, static_cast<char>(whole[place] ^ 0x41)));
    const JournalImage image(path_);
    const auto found = image.after(beginning_);
    std::vector<std::string> texts = textsOf(found.changes);
    EXPECT_EQ(texts.size(), 2 * (place / (whole.size() / 3))) << place;
    for (const std::string& text : textsOf(found.beyond)) texts.push_back(text);
    EXPECT_EQ(texts.size(), 4U) << place;
    for (const std::string& text : texts) EXPECT_EQ(std::ranges::count(appended_, text), 1) << place;
    EXPECT_TRUE(found.isDamaged || image.endsUnfinished()) << place;
    EXPECT_EQ(found.isDamaged, place < last) << place;
    overwrite(pathOf(0), place, whole.substr(place, 1));
  }
}

TEST_F(AJournal, AppendsNothingOfAFrameForWhichThereIsNoRoom) {
  append(1);
  {
    const FullDisk full(journal_.size() + 100);
    EXPECT_FALSE(append(2));
  }
  EXPECT_FALSE(journal_.isOpen());
  const JournalImage image(path_);
  EXPECT_EQ(textsOf(image.after(beginning_).changes), frames(1));
  EXPECT_FALSE(image.endsUnfinished());
}

TEST_F(AJournal, IsEmptyWhenItIsOpenedAgain) {
  append(1);
  journal_.turn();
  append(2);
  journal_.open();
  EXPECT_TRUE(JournalImage(path_).empty());
  EXPECT_TRUE(append(3));
  EXPECT_EQ(JournalImage(path_).after(JournalMark{beginning_.life, 2}).mark, journal_.mark());
}

TEST_F(AJournal, IsReadableForItsOwnerAlone) {
  for (std::size_t file : {0U, 1U}) {
    EXPECT_EQ(std::filesystem::status(pathOf(file)).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
}

TEST_F(AJournal, LeavesNothingBehindWhenItIsRemoved) {
  append(1);
  journal_.remove();
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
  EXPECT_FALSE(journal_.isOpen());
}

TEST_F(AJournal, StaysClosedWhereItsFilesCannotBeHad) {
  journal_.remove();
  std::filesystem::create_symlink("missing/folder", pathOf(1));
  journal_.open();
  EXPECT_FALSE(journal_.isOpen());
}

}  // namespace
}  // namespace fliprugair
