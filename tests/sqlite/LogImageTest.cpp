#include "platform/sqlite/LogImage.h"
#include "platform/sqlite/RowFile.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

constexpr std::size_t headerSize = 32;
constexpr std::size_t logFrameSize = 24 + RowFile::pageSize;

/// The log of a new store after three writes.
std::string logOfAStore() {
  const TemporaryFolder folder(memory());
  RowFile file(folder / "store", StoreDurability::process);
  for (const int id : {1, 2, 3}) file.write({Row{id, 0, id, "key", id}}, {});
  return contentOf(folder / "store-wal");
}

void alter(std::string& bytes, std::size_t place, std::size_t size = 1) {
  for (std::size_t index = place; index < place + size; ++index) bytes[index] = static_cast<char>(bytes[index] ^ 0x55);
}

TEST(ALogImage, OfAWholeLogHasItsPagesAndNoDamage) {
  const std::string log = logOfAStore();
  const LogImage image(log);
  EXPECT_GE(image.pages().size(), 3U);
  EXPECT_FALSE(image.isDamaged());
}

TEST(ALogImage, HasEachPageWhateverByteOfTheHeaderWasAltered) {
  const std::string whole = logOfAStore();
  const LogImage expected(whole);
  for (std::size_t place = 4; place < 24; ++place) {  // before it the order of bytes, behind it the first frame's sum
    std::string log = whole;
    alter(log, place);
    const LogImage image(log);
    EXPECT_EQ(image.pages(), expected.pages()) << place;
    EXPECT_TRUE(image.isDamaged()) << place;
  }
}

TEST(ALogImage, TakesAFrameInPartBeforeAnOlderLogsForTheEndOfAProcess) {
  std::string log = logOfAStore();
  const std::size_t frames = (log.size() - headerSize) / logFrameSize;
  ASSERT_GE(frames, 3U);
  const std::size_t inPart = headerSize + (frames - 2) * logFrameSize;
  const LogImage before(std::string_view(log).substr(0, inPart));
  const auto expected = before.pages().size();
  alter(log, inPart + logFrameSize - 1);
  alter(log, inPart + logFrameSize + 8, 8);
  const LogImage image(log);
  EXPECT_EQ(image.pages().size(), expected);
  EXPECT_FALSE(image.isDamaged());
  EXPECT_TRUE(image.endsUnfinished());
}

TEST(ALogImage, EndsUnfinishedWhereTheLastFrameAloneIsNotWhole) {
  std::string log = logOfAStore();
  alter(log, log.size() - 1);
  const LogImage image(log);
  EXPECT_TRUE(image.endsUnfinished());
  EXPECT_FALSE(image.isDamaged());
}

TEST(ALogImage, IsDamagedWhereTheLastTwoFramesAreNotWhole) {
  std::string log = logOfAStore();
  alter(log, log.size() - 1);
  alter(log, log.size() - 1 - logFrameSize);
  const LogImage image(log);
  EXPECT_FALSE(image.endsUnfinished());
  EXPECT_TRUE(image.isDamaged());
}

}  // namespace
}  // namespace fliprugair
