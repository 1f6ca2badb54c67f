#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/sqlite/RowFile.h"
#include "platform/sqlite/StoredArrays.h"
#include "sqlite/FaultyMedium.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

RowNumbers rowsBetween(std::int64_t first, std::int64_t last) {
  RowNumbers numbers;
  for (std::int64_t id = first; id <= last; ++id) numbers.add(id);
  return numbers;
}

/// The items of an array, in the rows 2 to 7, in a file that is open.
class AStoredArray : public testing::Test {
 protected:
  AStoredArray() {
    std::vector<RowChange> rows{Row{1, 0, 1, "array", Array()}};
    for (int id = 2; id <= 7; ++id) rows.emplace_back(Row{id, 1, id, "", record(id)});
    file_->write(rows, {});
    arrays_->open();
  }

  Value array(std::int64_t first = 2, std::int64_t last = 7) { return arrays_->array(rowsBetween(first, last), 3); }

  static Value expected(int first = 2, int last = 7) {
    std::vector<Value> items;
    for (int id = first; id <= last; ++id) items.push_back(record(id));
    return Array(std::move(items));
  }

  static std::string textOf(const Value& value) { return RapidJSONSerialization().textOfAny(value); }

  void alterRow(int id) {
    file_->emptyLog(RowFile::LogRoom::givenBack);
    const std::string bytes = contentOf(path_);
    overwrite(path_, bytes.find("\"number\":" + std::to_string(id)) + 10, ";");
  }

  const TemporaryFolder folder_{memory()};
  const std::filesystem::path path_ = folder_ / "store";
  std::unique_ptr<RowFile> file_ = std::make_unique<RowFile>(path_, StoreDurability::process);
  std::shared_ptr<StoredArrays> arrays_ = std::make_shared<StoredArrays>(path_.string());
};

TEST_F(AStoredArray, IsReadWhenSomebodyNeedsItAndAgainForTheNext) {
  const Value value = array();
  EXPECT_EQ(textOf(value), textOf(expected()));
  EXPECT_EQ(textOf(value), textOf(expected()));
  EXPECT_EQ(value, expected());
}

TEST_F(AStoredArray, HasTheItemsOfItsRowsAlone) {
  RowNumbers rows = rowsBetween(2, 3);
  rows.add(6);
  EXPECT_EQ(arrays_->array(std::move(rows), 3), Value(Array{record(2), record(3), record(6)}));
}

TEST_F(AStoredArray, HasItsSizeAndDepthWithoutAFile) {
  const Value value = array();
  arrays_->close();
  EXPECT_EQ(UnreadValue::sizeOfArray(value), 6U);
  EXPECT_EQ(value.depth(), 4U);
  EXPECT_TRUE(value.isArray());
}

TEST_F(AStoredArray, KnowsItsRowsUntilItIsInMemory) {
  const Value value = array();
  EXPECT_EQ(StoredArrays::rowsOf(value), rowsBetween(2, 7));
  EXPECT_FALSE(StoredArrays::rowsOf(expected()));
  EXPECT_FALSE(StoredArrays::rowsOf(*UnreadValue::of("[1]", nullptr)));
  EXPECT_TRUE(arrays_->hasUnkept());
  EXPECT_EQ(arrays_->keepAll(), 0U);
  EXPECT_FALSE(StoredArrays::rowsOf(value));
  EXPECT_FALSE(arrays_->hasUnkept());
}

TEST_F(AStoredArray, CannotBeReadWhileTheFileIsClosed) {
  const Value value = array();
  arrays_->close();
  EXPECT_THROW(value.array(), StoreError);
  arrays_->open();
  EXPECT_EQ(value, expected());
}

TEST_F(AStoredArray, CannotBeReadWhenARowIsGone) {
  const Value value = array();
  file_->write({RowRange{4, 4}}, {});
  EXPECT_THROW(value.array(), StoreError);
  EXPECT_FALSE(arrays_->hasFoundDamage());
  EXPECT_EQ(array(2, 3), expected(2, 3));
}

TEST_F(AStoredArray, CannotBeReadWhenItsLastRowsAreGone) {
  file_->write({RowRange{6, 7}}, {});
  EXPECT_THROW(array().array(), StoreError);
  EXPECT_EQ(array(2, 5), expected(2, 5));
}

TEST_F(AStoredArray, IsNotGivenWithARowThatWasAltered) {
  alterRow(4);
  EXPECT_FALSE(arrays_->hasFoundDamage());
  EXPECT_THROW(array().array(), StoreError);
  EXPECT_TRUE(arrays_->hasFoundDamage());
  EXPECT_EQ(array(5, 7), expected(5, 7));
  arrays_->close();
  EXPECT_FALSE(arrays_->hasFoundDamage()) << "the next file is another";
}

TEST_F(AStoredArray, HoldsOnToNoLogWhenItCannotBeRead) {
  const Value value = array();
  file_->write({RowRange{4, 4}}, {});
  EXPECT_THROW(value.array(), StoreError);
  EXPECT_TRUE(file_->emptyLog(RowFile::LogRoom::givenBack));
  alterRow(5);
  EXPECT_THROW(value.array(), StoreError);
  file_->write({Row{9, 0, 9, "key", 1}}, {});
  EXPECT_TRUE(file_->emptyLog(RowFile::LogRoom::givenBack));
}

TEST_F(AStoredArray, IsReadNextTimeWhenTheMediumRefusedOnce) {
  file_->emptyLog(RowFile::LogRoom::givenBack);
  const Value value = array();
  for (int number = 0;; ++number) {
    arrays_->close();
    file_.reset();
    {
      const FaultyMedium medium(FaultyMedium::Operation::read, 1000000);  // the files are opened on it
      file_ = std::make_unique<RowFile>(path_, StoreDurability::process);
      arrays_->open();
    }
    const FaultyMedium medium(FaultyMedium::Operation::read, number);
    const auto read = [&] { return value == expected(); };
    try {
      EXPECT_TRUE(read());
      EXPECT_FALSE(medium.hasFailed());
      EXPECT_GT(number, 0);
      return;
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), StoreError::Kind::unavailable) << number;
    }
    EXPECT_TRUE(read()) << number;
    EXPECT_FALSE(arrays_->hasFoundDamage());
    ASSERT_LT(number, 100);
  }
}

TEST_F(AStoredArray, DoesWithoutTheFileOnceItIsInMemory) {
  const Value value = array();
  EXPECT_EQ(arrays_->keepAll(), 0U);
  arrays_->close();
  file_.reset();
  std::filesystem::remove(path_);
  EXPECT_EQ(value, expected());
}

TEST_F(AStoredArray, IsEmptyAndCountedWhenItWasAlteredBeforeItCameIntoMemory) {
  const Value altered = array(2, 4);
  const Value whole = array(5, 7);
  alterRow(3);
  EXPECT_EQ(arrays_->keepAll(), 3U);
  EXPECT_EQ(altered, Value(Array()));
  EXPECT_EQ(whole, expected(5, 7));
}

TEST_F(AStoredArray, IsEmptyAndCountedWhenTheFileCannotBeReadBeforeItGoes) {
  const Value value = array();
  arrays_->close();
  EXPECT_EQ(arrays_->keepAll(), 6U);
  EXPECT_EQ(value, Value(Array()));
}

TEST_F(AStoredArray, IsMadeOfTheRowsThatAreLeftOfADamagedFile) {
  const Value first = array(2, 4);
  const Value second = array(5, 7);
  std::vector<Row> rows = file_->rows();
  std::erase_if(rows, [](const Row& row) { return row.id == 3; });
  const StoredArrays::Account account = arrays_->keepAll(rows);
  EXPECT_EQ(account.waited, 6U);
  EXPECT_EQ(account.lost, 1U);
  arrays_->close();
  EXPECT_EQ(first, Value(Array{record(2), record(4)}));
  EXPECT_EQ(second, expected(5, 7));
  const StoredArrays::Account again = arrays_->keepAll({});
  EXPECT_EQ(again.waited, 0U) << "what is in memory waits in no file";
  EXPECT_EQ(first, Value(Array{record(2), record(4)}));
}

TEST_F(AStoredArray, ComesIntoMemoryBeforeOneOfItsRowsIsErased) {
  const Value first = array(2, 4);
  const Value second = array(5, 7);
  for (const RowRange& range : {RowRange{1, 1}, RowRange{8, 20}, RowRange{-7, -2}})
    arrays_->keepErased(std::vector<RowChange>{range});
  arrays_->keepErased(std::vector<RowChange>{Row{3, 1, 3, "", 1}});
  EXPECT_TRUE(StoredArrays::rowsOf(first));
  EXPECT_TRUE(StoredArrays::rowsOf(second));
  arrays_->keepErased(std::vector<RowChange>{RowRange{8, 9}, RowRange{4, 4}});
  EXPECT_FALSE(StoredArrays::rowsOf(first));
  EXPECT_TRUE(StoredArrays::rowsOf(second));
  arrays_->keepErased(std::vector<RowChange>{RowRange{1, 5}});
  EXPECT_FALSE(StoredArrays::rowsOf(second));
  arrays_->close();
  EXPECT_EQ(first, expected(2, 4));
  EXPECT_EQ(second, expected(5, 7));
}

TEST_F(AStoredArray, DoesNotKeepItsRowsFromBeingErasedWhenItCannotBeRead) {
  const Value value = array();
  arrays_->close();
  EXPECT_NO_THROW(arrays_->keepErased(std::vector<RowChange>{RowRange{2, 7}}));
  arrays_->open();
  EXPECT_EQ(value, expected());
  alterRow(3);
  EXPECT_THROW(arrays_->keepErased(std::vector<RowChange>{RowRange{2, 7}}), StoreError);
  EXPECT_TRUE(arrays_->hasFoundDamage());
}

TEST_F(AStoredArray, IsEmptyInAFileThatLacksOneOfItsRows) {
  const Value first = array(2, 4);
  const Value second = array(5, 7);
  EXPECT_EQ(arrays_->dropMissing(), 0U);
  file_->write({RowRange{7, 7}}, {});
  EXPECT_EQ(arrays_->dropMissing(), 3U);
  EXPECT_EQ(first, expected(2, 4));
  EXPECT_EQ(second, Value(Array()));
  EXPECT_EQ(arrays_->dropMissing(), 0U);
}

TEST_F(AStoredArray, CanBeReadByOneThreadWhileOthersReadItToo) {
  const Value value = array();
  std::vector<std::thread> readers;
  std::atomic<int> same = 0;
  for (int number = 0; number < 3; ++number) {
    readers.emplace_back([&] {
      for (int time = 0; time < 50; ++time) {
        const Value copy = value;
        if (copy == expected()) ++same;
      }
    });
  }
  for (int id = 10; id < 60; ++id) file_->write({Row{id, 0, id, "key" + std::to_string(id), record(id)}}, {});
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(same, 150);
}

TEST_F(AStoredArray, OutlivesWhatItIsReadBy) {
  const Value value = array();
  arrays_->close();
  arrays_.reset();
  EXPECT_THROW(value.array(), StoreError);
}

TEST_F(AStoredArray, ThrowsInAForkedChildRatherThanWait) {
  Value value = array();
  std::atomic<bool> ends = false;
  std::thread reader([&] {
    while (!ends) EXPECT_EQ(value.array().size(), 6U);  // so that some child is born with the lock held
  });
  int failures = 0;
  for (int number = 0; number < 20; ++number) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      try {
        value.array();
        _exit(1);
      } catch (const StoreError&) {
        value = {};
        _exit(0);
      }
    }
    int status = -1;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) ++failures;
  }
  ends = true;
  reader.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(value, expected());
}

}  // namespace
}  // namespace fliprugair
