#include <fstream>

#include "platform/sqlite/RowFile.h"
#include "sqlite/FaultyMedium.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

constexpr const char* currency = "com.marlune.MarluneTracker.currency";  // another part of the identity

class OneError : public testing::TestWithParam<FaultyMedium::Operation> {};

/// A start, five records and an end, in which one operation fails, then the next: nothing is lost, nothing is twice,
/// and no more than the original's damage is set aside.
void expectNothingLost(FaultyMedium::Operation operation, const std::filesystem::path& original, int before,
                       std::size_t damagedFiles = 0) {
  for (int number = 0;; ++number) {
    const TemporaryFolder folder(memory());
    const auto file = folder / "store";
    copyStore(original, file);
    bool isOpen = false;
    bool hasFailed = false;
    {
      const FaultyMedium medium(operation, number);
      auto opened = SQLiteUserDefaults::open(file, {});
      if (auto* store = std::get_if<std::unique_ptr<SQLiteUserDefaults>>(&opened)) {
        isOpen = true;
        for (int next = before; next < before + 5; ++next) {
          (*store)->update("queue", [&](const Value& queue) { return Value(queue.array().appending(record(next))); });
          (*store)->setObject(next, currency);
          (*store)->synchronize();
        }
        EXPECT_EQ(numbersIn(**store), upTo(before + 5)) << number;
        EXPECT_EQ((*store)->objectForKey(identifier), Value("MI1")) << number;
      }
      opened = SQLiteUserDefaults::Refusal{};
      hasFailed = medium.hasFailed();
    }
    const auto store = openStore(file);
    EXPECT_EQ(filesSetAside(folder).size(), damagedFiles) << number;
    EXPECT_EQ(numbersIn(*store), upTo(before + (isOpen ? 5 : 0))) << number;
    EXPECT_EQ(store->objectForKey(identifier), Value("MI1")) << number;
    EXPECT_EQ(store->objectForKey(currency), isOpen ? Value(before + 4) : Value()) << number;
    if (!hasFailed) return;
    ASSERT_LT(number, 5000);
  }
}

void writeTwentyRecords(SQLiteUserDefaults& store) {
  store.setObject("MI1", identifier);
  store.setObject(Array(), "queue");
  for (int number = 0; number < 20; ++number) {
    store.update("queue", [&](const Value& queue) { return Value(queue.array().appending(record(number))); });
    store.synchronize();
  }
}

TEST_P(OneError, CostsNothing) {
  const TemporaryFolder folder(memory());
  const auto file = folder / "store";
  leaveWithLog(file, writeTwentyRecords);
  expectNothingLost(GetParam(), file, 20);
}

TEST_P(OneError, CostsNothingWhenAJournalWasLeft) {
  const TemporaryFolder folder(memory());
  const auto file = folder / "store";
  leaveWithJournal(file, writeTwentyRecords);
  expectNothingLost(GetParam(), file, 20);
}

TEST_P(OneError, CostsNothingWhileADamagedFileIsSetAside) {
  const TemporaryFolder folder(memory());
  const auto file = folder / "store";
  // The file has its records, and the log the rest.
  leaveWithLog(
      file, [](SQLiteUserDefaults& store) { store.setObject("MI1", identifier); }, 40);
  std::string log = contentOf(file.string() + "-wal");
  log[0] ^= 0x10;
  std::ofstream(file.string() + "-wal", std::ios::binary) << log;
  expectNothingLost(GetParam(), file, 40, 2);
}

TEST(OneErrorWhileALongLogIsCut, CostsNothing) {
  const TemporaryFolder folder(memory());
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) {
    store.setObject("MI1", identifier);
    Array queue;
    for (int number = 0; number < 3; ++number) queue = queue.appending(record(number));
    store.setObject(queue, "queue");
    store.setObject(std::string(RowFile::pageSize * (RowFile::logTarget + 100), 'x'), "long");
  });
  for (const auto operation :
       {FaultyMedium::Operation::open, FaultyMedium::Operation::sync, FaultyMedium::Operation::truncate}) {
    expectNothingLost(operation, file, 3);
  }
}

std::string nameOf(const testing::TestParamInfo<FaultyMedium::Operation>& operation) {
  const std::vector<std::string> names = {"Opening", "Reading", "Writing", "Syncing", "Cutting", "Renaming"};
  return names[static_cast<std::size_t>(operation.param)];
}

INSTANTIATE_TEST_SUITE_P(Operations, OneError,
                         testing::Values(FaultyMedium::Operation::open, FaultyMedium::Operation::read,
                                         FaultyMedium::Operation::write, FaultyMedium::Operation::sync,
                                         FaultyMedium::Operation::truncate, FaultyMedium::Operation::rename),
                         nameOf);

}  // namespace
}  // namespace fliprugair
