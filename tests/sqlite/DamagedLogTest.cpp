#include <cstdlib>
#include <fstream>

#include "platform/sqlite/Database.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

/// Bytes from one damage of a log to the next. A soak sets it to 64.
std::size_t step() {
  const char* given = std::getenv("FLIPRUGAIR_LOG_STEP");
  return given != nullptr ? std::stoul(given) : std::size_t{64} * 9;
}

constexpr std::size_t frameSize = 24 + 2048;

enum class LogBelow { none, older };

/// A store whose records stand in its log, each in a transaction of its own; at the beginning of the file, or over what
/// a longer log has left there.
class ADamagedLog : public testing::TestWithParam<LogBelow> {
 protected:
  void SetUp() override {
    const TemporaryFolder folder;
    const auto file = folder / "store";
    leaveWithLog(file, [&](SQLiteUserDefaults& store) {
      if (GetParam() == LogBelow::older) leaveAnOlderLog(store, file);
      store.setObject("MI1", identifier);
      store.setObject(Array(), "queue");
      for (int number = 0; number < 60; ++number) {
        store.update("queue", [&](const Value& queue) { return Value(queue.array().appending(record(number))); });
        store.synchronize();
      }
    });
    main_ = contentOf(file);
    log_ = contentOf(file.string() + "-wal");
    identity_ = contentOf(file.string() + ".identity");
    const std::string salt = log_.substr(16, 8);
    for (end_ = 32; end_ < log_.size() && log_.substr(end_ + 8, 8) == salt;) end_ += frameSize;
    ASSERT_EQ(end_ < log_.size(), GetParam() == LogBelow::older);
  }

  static void leaveAnOlderLog(SQLiteUserDefaults& store, const std::filesystem::path& file) {
    store.setObject(std::string(900'000, 'x'), "long");
    store.synchronize();
    store.setObject("short", "long");
    store.synchronize();
    const Database database(file, Database::Mode::readWrite);
    database.leaveFilesAlone();
    database.integer("PRAGMA schema_version");  // the log is not opened before the first read
    ASSERT_TRUE(database.checkpoint(SQLITE_CHECKPOINT_RESTART));
  }

  /// A copy of the store with this log.
  void lay(const std::filesystem::path& copy, const std::string& log) const {
    std::ofstream(copy, std::ios::binary) << main_;
    std::ofstream(copy.string() + "-wal", std::ios::binary) << log;
    std::ofstream(copy.string() + ".identity", std::ios::binary) << identity_;
  }

  std::string main_;
  std::string log_;
  std::size_t end_ = 0;  ///< of what is of this log, and not of the older one
  std::string identity_;
};

TEST_P(ADamagedLog, IsReadBehindTheDamageAndSaysSo) {
  // Of the last page each eighth byte: nothing stands behind it that would tell.
  const std::size_t last = end_ - frameSize;
  for (std::size_t place = 0; place < end_ + frameSize && place < log_.size();
       place += place < last ? std::min(step(), last - place) : 8) {
    const TemporaryFolder copies(memory());
    std::string damaged = log_;
    damaged[place] = static_cast<char>(damaged[place] ^ 0x10);
    lay(copies / "store", damaged);
    expectWhatIsLeft(copies / "store", 50, "flipped at " + std::to_string(place));
  }
}

TEST_P(ADamagedLog, ThatIsCutShortLosesWhatIsCutOff) {
  constexpr std::size_t transaction = 6 * frameSize;
  for (std::size_t size = 0; size < end_; size += step()) {
    const TemporaryFolder copies(memory());
    lay(copies / "store", log_.substr(0, size));
    const auto store = openStore(copies / "store");
    ASSERT_TRUE(store) << size;
    EXPECT_EQ(store->objectForKey(identifier), Value("MI1")) << size;
    const Array queue = store->objectForKey("queue").array();
    int number = 0;
    for (const Value& item : queue) ASSERT_EQ(item, record(number++)) << size;
    EXPECT_GE((queue.size() + 4) * transaction, size) << size;
  }
}

INSTANTIATE_TEST_SUITE_P(Logs, ADamagedLog, testing::Values(LogBelow::none, LogBelow::older),
                         [](const auto& parameter) {
                           return parameter.param == LogBelow::none ? "atTheBeginning" : "overAnOlderOne";
                         });

class ALogOverAnOlderOne : public ADamagedLog {};

/// As a process leaves it that ends between the two halves of writing a page.
TEST_P(ALogOverAnOlderOne, WhoseLastPageIsNotWholeIsReadToThereAndSaysSo) {
  const TemporaryFolder copies(memory());
  std::string unfinished = log_;
  unfinished.replace(end_, 24, log_.substr(end_ - frameSize, 24));
  lay(copies / "store", unfinished);
  StoreLog log;
  const auto store = openStore(copies / "store", log.sink());
  EXPECT_EQ(store->arrayForKey("queue")->size(), 60U);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("is not whole and is left out"), std::string::npos) << log.lines().front();
  EXPECT_TRUE(filesSetAside(copies).empty());
}

TEST_P(ALogOverAnOlderOne, OfWhichTheLastTwoPagesAreNotWholeIsDamaged) {
  const TemporaryFolder copies(memory());
  std::string damaged = log_;
  for (const std::size_t place : {end_ - 1000, end_ - frameSize - 1000})
    damaged[place] = static_cast<char>(~damaged[place]);
  lay(copies / "store", damaged);
  StoreLog log;
  EXPECT_GE(openStore(copies / "store", log.sink())->arrayForKey("queue")->size(), 59U);
  EXPECT_FALSE(filesSetAside(copies).empty());
}

TEST_P(ALogOverAnOlderOne, SaysNothingWhenItIsWhole) {
  const TemporaryFolder copies(memory());
  lay(copies / "store", log_);
  StoreLog log;
  EXPECT_EQ(openStore(copies / "store", log.sink())->arrayForKey("queue")->size(), 60U);
  EXPECT_TRUE(log.lines().empty()) << log.lines().front();
}

INSTANTIATE_TEST_SUITE_P(Logs, ALogOverAnOlderOne, testing::Values(LogBelow::older),
                         [](const auto&) { return "overAnOlderOne"; });

}  // namespace
}  // namespace fliprugair
