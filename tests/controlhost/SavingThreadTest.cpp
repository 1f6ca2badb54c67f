#include <gtest/gtest.h>
#include <sqlite3.h>

#include <future>

#include "controlhost/TemporaryFile.h"
#include "tools/controlhost/SavingThread.h"

namespace fliprugair::controlhost {

namespace {

class SavingThreadTest : public testing::Test {
 protected:
  static RequestPointer request(std::int64_t id, const std::string& device = "MI1") {
    ReceivedRequest one;
    one.id = id;
    one.device = device;
    return std::make_shared<const ReceivedRequest>(std::move(one));
  }

  /// Whoever looks into the file meanwhile holds nobody up.
  std::vector<std::int64_t> saved() const {
    sqlite3* opened = nullptr;
    EXPECT_EQ(sqlite3_open(path_.c_str(), &opened), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> reader(opened, sqlite3_close);
    std::vector<std::int64_t> ids;
    const auto read = [](void* list, int, char** columns, char**) {
      static_cast<std::vector<std::int64_t>*>(list)->push_back(std::atoll(columns[0]));
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(opened, "SELECT id FROM requests ORDER BY id", read, &ids, nullptr), SQLITE_OK);
    return ids;
  }

  test::TemporaryFile file_{""};
  const std::string path_ = file_.path() + ".sqlite";
};

TEST_F(SavingThreadTest, HasWrittenEverythingInItsOrderWhenItEnds) {
  {
    SavingThread saving(path_, [](const std::string&) {});
    saving.add(request(1));
    saving.clear();
    saving.add(request(2, "MI2"));
    saving.add(request(3));
    saving.forget("MI2");
    for (std::int64_t id = 4; id <= 300; ++id) saving.add(request(id));
  }
  const std::vector<std::int64_t> ids = saved();
  ASSERT_EQ(ids.size(), 298u);
  EXPECT_EQ(ids.front(), 3);
  EXPECT_EQ(ids.back(), 300);
}

TEST_F(SavingThreadTest, WhoWaitsFindsInTheFileWhatWasGiven) {
  SavingThread saving(path_, [](const std::string&) {});
  for (std::int64_t id = 1; id <= 100; ++id) {
    saving.add(request(id));
    saving.waitUntilWritten();
    ASSERT_EQ(saved().size(), std::size_t(id));
  }
}

TEST_F(SavingThreadTest, AFileThatIsBusyHoldsNobodyUpWhoDoesNotWait) {
  sqlite3* opened = nullptr;
  SavingThread saving(path_, [](const std::string&) {});
  ASSERT_EQ(sqlite3_open(path_.c_str(), &opened), SQLITE_OK);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> other(opened, sqlite3_close);
  ASSERT_EQ(sqlite3_exec(opened, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  for (std::int64_t id = 1; id <= 500; ++id) {
    saving.add(request(id));
  }
  std::string count;
  const auto read = [](void* text, int, char** columns, char**) {
    *static_cast<std::string*>(text) = columns[0];
    return 0;
  };
  sqlite3_exec(opened, "SELECT count(*) FROM requests", read, &count, nullptr);
  EXPECT_EQ(count, "0");
  ASSERT_EQ(sqlite3_exec(opened, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
}

TEST_F(SavingThreadTest, SaysOnceThatTheFileRefuses) {
  std::atomic<int> complaints = 0;
  std::promise<std::string> complaint;
  {
    SavingThread saving(path_, [&](const std::string& fault) {
      if (complaints++ == 0) complaint.set_value(fault);
    });
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &opened), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> other(opened, sqlite3_close);
    ASSERT_EQ(sqlite3_exec(opened, "DROP TABLE requests", nullptr, nullptr, nullptr), SQLITE_OK);
    for (std::int64_t id = 1; id <= 3; ++id) saving.add(request(id));
  }
  EXPECT_EQ(complaints, 1);
  EXPECT_NE(complaint.get_future().get().find("requests cannot be saved there (no such table"), std::string::npos);
}

}  // namespace

}  // namespace fliprugair::controlhost
