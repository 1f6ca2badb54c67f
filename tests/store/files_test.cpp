#include <grp.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>

#include "store/StoreTest.h"

namespace fliprugair {
namespace {

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void overwrite(const std::filesystem::path& file, std::size_t position, const std::string& bytes) {
  std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
  stream.seekp(static_cast<std::streamoff>(position));
  stream << bytes;
}

void execute(const std::filesystem::path& file, const char* sql) {
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
  sqlite3_close(database);
}

std::vector<std::filesystem::path> filesSetAside(const TemporaryFolder& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    if (entry.path().filename().string().starts_with("store.damaged-")) files.push_back(entry.path());
  }
  return files;
}

void fill(const std::filesystem::path& file, int records = 100) {
  const auto store = openStore(file);
  Array queue;
  for (int number = 0; number < records; ++number) queue = queue.appending(record(number));
  store->setObject(queue, "queue");
  store->setObject("identity", "key");
}

/// The store cannot be locked until `makeLockable`, and so cannot be written; root is no exception.
void makeUnlockable(const std::filesystem::path& file) {
  std::filesystem::remove(file.string() + ".lock");
  std::filesystem::create_symlink("missing/folder", file.string() + ".lock");
}

void makeLockable(const std::filesystem::path& file) { std::filesystem::remove(file.string() + ".lock"); }

struct Damage {
  const char* name;
  std::function<void(const std::filesystem::path&)> inflict;
};

std::function<void(const std::filesystem::path&)> bySQL(const char* sql) {
  return [sql](const std::filesystem::path& file) { execute(file, sql); };
}

std::vector<Damage> damages() {
  return {
      {"text", [](const auto& file) { std::ofstream(file) << "this is not a database, and never was one"; }},
      {"aFewBytes", [](const auto& file) { std::ofstream(file) << "xyz"; }},
      {"noise", [](const auto& file) { std::ofstream(file) << std::string(100000, '\xA5'); }},
      {"aHeaderOfNoise", [](const auto& file) { overwrite(file, 0, std::string(100, '\xA5')); }},
      {"aPageOfNoise", [](const auto& file) { overwrite(file, 2048 * 9, std::string(2048, '\xA5')); }},
      {"aPageOfZeros", [](const auto& file) { overwrite(file, 2048 * 9, std::string(2048, '\0')); }},
      {"halfAFile",
       [](const auto& file) { std::filesystem::resize_file(file, std::filesystem::file_size(file) / 4096 * 2048); }},
      {"anotherProgramsDatabase", bySQL("DROP TABLE rows; PRAGMA application_id = 0; CREATE TABLE x (y)")},
      {"aVersionThatNeverWas", bySQL("PRAGMA user_version = 0")},
      {"aMissingTable", bySQL("DROP TABLE rows")},
      {"otherColumns", bySQL("ALTER TABLE rows RENAME COLUMN value TO content")},
      {"aRowThatIsNotJSON", bySQL("UPDATE rows SET value = '{\"a\":' WHERE name = 'key'")},
      {"aRowOfOtherBytes", bySQL("UPDATE rows SET value = x'00FF' WHERE name = 'key'")},
      {"aRowWithoutAnOwner", bySQL("INSERT INTO rows VALUES (9999, 9998, 9999, '', '1')")},
      {"anItemOfAText", bySQL("INSERT INTO rows SELECT 9999, id, 9999, '', '1' FROM rows WHERE name = 'key'")},
      {"aKeyThatStandsTwice", bySQL("INSERT INTO rows VALUES (9999, 0, 9999, 'key', '1')")},
  };
}

class ADamagedFile : public testing::TestWithParam<Damage> {};

TEST_P(ADamagedFile, IsSetAsideAndAFreshOneBegun) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  fill(file);
  GetParam().inflict(file);
  const std::string damaged = contentOf(file);

  StoreLog log;
  {
    const auto store = openStore(file, log.sink());
    ASSERT_TRUE(store);
    EXPECT_TRUE(store->objectForKey("key").isNothing());
    EXPECT_TRUE(store->objectForKey("queue").isNothing());
    store->setObject("new", "key");
  }
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("set aside"), std::string::npos) << log.lines().front();
  auto aside = filesSetAside(folder);
  std::erase_if(aside, [](const auto& path) { return path.string().ends_with("-wal"); });
  ASSERT_EQ(aside.size(), 1U);
  EXPECT_EQ(contentOf(aside.front()), damaged);
  EXPECT_NE(log.lines().front().find(aside.front().filename()), std::string::npos) << log.lines().front();
  EXPECT_EQ(openStore(file)->objectForKey("key"), Value("new"));
}

INSTANTIATE_TEST_SUITE_P(Damages, ADamagedFile, testing::ValuesIn(damages()),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(DamagedFiles, DoNotIncludeOneWhoseCreationWasCutShort) {
  const TemporaryFolder folder;
  execute(folder / "store", "PRAGMA page_size = 2048; PRAGMA journal_mode = WAL");
  ASSERT_GT(std::filesystem::file_size(folder / "store"), 0U);
  StoreLog log;
  openStore(folder / "store", log.sink())->setObject(1, "key");
  EXPECT_TRUE(log.lines().empty()) << log.lines().front();
  EXPECT_EQ(openStore(folder / "store")->objectForKey("key"), Value(1));
}

TEST(DamagedFiles, NeverReplaceEachOther) {
  const TemporaryFolder folder;
  for (int time = 0; time < 3; ++time) {
    std::ofstream(folder / "store") << "damage " << time;
    openStore(folder / "store");
  }
  std::vector<std::string> contents;
  for (const auto& file : filesSetAside(folder)) contents.push_back(contentOf(file));
  std::ranges::sort(contents);
  EXPECT_EQ(contents, (std::vector<std::string>{"damage 0", "damage 1", "damage 2"}));
}

TEST(DamagedFiles, TakeTheirLogWithThem) {
  const TemporaryFolder folder;
  std::ofstream(folder / "store") << "damage";
  std::ofstream(folder / "store-wal") << "log";
  {
    const auto store = openStore(folder / "store");
    store->setObject(1, "key");
  }
  std::vector<std::string> contents;
  for (const auto& file : filesSetAside(folder)) contents.push_back(contentOf(file));
  std::ranges::sort(contents);
  EXPECT_EQ(contents, (std::vector<std::string>{"damage", "log"}));
}

TEST(DamagedFiles, AreWrittenAfreshFromMemoryWhenTheyAreInUse) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  fill(file, 8000);  // more than SQLite keeps in memory
  StoreLog log;
  auto store = openStore(file, log.sink());
  const Value queue = store->objectForKey("queue");
  overwrite(file, 2048, std::string(std::filesystem::file_size(file) - 2048, '\xA5'));
  store->setObject(queue, "copy");
  store->removeObject("queue");
  store->synchronize();
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("set aside"), std::string::npos) << log.lines().front();
  store.reset();
  store = openStore(file);
  EXPECT_EQ(store->objectForKey("copy"), queue);
  EXPECT_TRUE(store->objectForKey("queue").isNothing());
  EXPECT_EQ(store->objectForKey("key"), Value("identity"));
  EXPECT_FALSE(filesSetAside(folder).empty());
}

std::string refusalOf(const std::filesystem::path& file) {
  auto opened = SQLiteUserDefaults::open(file, {});
  const auto* refusal = std::get_if<SQLiteUserDefaults::Refusal>(&opened);
  return refusal != nullptr ? refusal->reason : std::string();
}

TEST(AStoreOfANewerVersion, IsRefusedAndLeftAsItIs) {
  const TemporaryFolder folder;
  fill(folder / "store");
  execute(folder / "store", "PRAGMA user_version = 2");
  const std::string content = contentOf(folder / "store");
  const std::string reason = refusalOf(folder / "store");
  EXPECT_NE(reason.find("newer version"), std::string::npos) << reason;
  EXPECT_NE(reason.find((folder / "store").string()), std::string::npos) << reason;
  EXPECT_EQ(contentOf(folder / "store"), content);
  EXPECT_TRUE(filesSetAside(folder).empty());
}

TEST(AStoreOfANewerVersion, IsRefusedWhenItCanOnlyBeReadToo) {
  const TemporaryFolder folder;
  fill(folder / "store");
  execute(folder / "store", "PRAGMA user_version = 2");
  makeUnlockable(folder / "store");
  const std::string reason = refusalOf(folder / "store");
  EXPECT_NE(reason.find("newer version"), std::string::npos) << reason;
}

TEST(StoreOwnership, ASecondStoreInThisProcessIsRefused) {
  const TemporaryFolder folder;
  auto store = openStore(folder / "store");
  EXPECT_NE(refusalOf(folder / "store").find("process " + std::to_string(getpid())), std::string::npos);
  store->setObject(1, "key");
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value(1));
  store.reset();
  EXPECT_EQ(refusalOf(folder / "store"), "");
}

TEST(StoreOwnership, ASecondProcessIsRefusedUntilTheFirstDies) {
  const TemporaryFolder folder;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t first = fork();
  ASSERT_GE(first, 0);
  if (first == 0) {
    const auto store = openStore(folder / "store");
    store->setObject("first", "key");
    store->synchronize();
    if (write(ready[1], "x", 1) != 1) _exit(1);
    while (true) pause();
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  const std::string reason = refusalOf(folder / "store");
  EXPECT_NE(reason.find("in use by process " + std::to_string(first)), std::string::npos) << reason;
  EXPECT_NE(reason.find((folder / "store").string()), std::string::npos) << reason;

  kill(first, SIGKILL);
  waitpid(first, nullptr, 0);
  EXPECT_EQ(openStore(folder / "store")->objectForKey("key"), Value("first"));
}

TEST(StoreOwnership, ASecondStoreIsRefusedWhenTheLockFileWasDeletedToo) {
  const TemporaryFolder folder;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t first = fork();
  ASSERT_GE(first, 0);
  if (first == 0) {
    const auto store = openStore(folder / "store");
    if (write(ready[1], "x", 1) != 1) _exit(1);
    while (true) pause();
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  std::filesystem::remove(folder / "store.lock");
  EXPECT_NE(refusalOf(folder / "store").find("in use"), std::string::npos);
  kill(first, SIGKILL);
  waitpid(first, nullptr, 0);
}

TEST(AMediumThatRefuses, IsReportedOnceAndWrittenWhenItCan) {
  const TemporaryFolder folder;
  std::ofstream(folder / "blocker") << "a file where a folder should be";
  StoreLog log;
  const auto store = openStore(folder / "blocker/store", log.sink());
  for (int number = 0; number < 3; ++number) {
    store->setObject(number, "key");
    store->synchronize();
  }
  EXPECT_EQ(store->objectForKey("key"), Value(2));
  EXPECT_EQ(log.lines().size(), 1U);

  std::filesystem::remove(folder / "blocker");
  store->synchronize();
  EXPECT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(AfterSuddenDeath(folder / "blocker/store")->objectForKey("key"), Value(2));
}

TEST(AMediumThatRefuses, GivesUpItsValuesOnceItCanBeRead) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "there");
  {
    const auto store = openStore(folder / "there/store");
    store->setObject("old", "kept");
    store->setObject("old", "replaced");
    store->setObject("old", "removed");
  }
  std::filesystem::rename(folder / "there", folder / "elsewhere");
  std::ofstream(folder / "there") << "a file where a folder should be";
  const auto store = openStore(folder / "there/store");
  store->setObject("new", "replaced");
  store->removeObject("removed");

  std::filesystem::remove(folder / "there");
  std::filesystem::rename(folder / "elsewhere", folder / "there");
  store->synchronize();
  EXPECT_EQ(store->objectForKey("kept"), Value("old"));
  AfterSuddenDeath after(folder / "there/store");
  EXPECT_EQ(after->objectForKey("kept"), Value("old"));
  EXPECT_EQ(after->objectForKey("replaced"), Value("new"));
  EXPECT_TRUE(after->objectForKey("removed").isNothing());
}

/// What a process that died a sudden death leaves in `file`, most of it in the log.
void leaveWithLog(const std::filesystem::path& file, const std::function<void(SQLiteUserDefaults&)>& write) {
  fill(file, 3);
  const TemporaryFolder folder;
  {
    const auto store = openStore(file);
    write(*store);
    store->synchronize();
    for (const char* suffix : {"", "-wal"}) {
      std::filesystem::copy_file(file.string() + suffix, (folder / "copy").string() + suffix);
    }
  }
  for (const char* suffix : {"", "-wal"}) {
    std::filesystem::copy_file((folder / "copy").string() + suffix, file.string() + suffix,
                               std::filesystem::copy_options::overwrite_existing);
  }
  ASSERT_GT(logSize(file), 0U);
}

TEST(AMediumThatRefuses, IsReadWithItsLogAndLosesNothingOfIt) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) {
    store.setObject(Array{"a1", "a2", "a3"}, "records");
    store.removeObject("key");
  });
  makeUnlockable(file);
  StoreLog log;
  const auto store = openStore(file, log.sink());
  EXPECT_EQ(store->objectForKey("records"), Value(Array{"a1", "a2", "a3"}));
  EXPECT_TRUE(store->objectForKey("key").isNothing());
  store->setObject(store->objectForKey("records").array().appending("b1"), "records");
  store->synchronize();
  EXPECT_EQ(log.lines().size(), 1U);

  makeLockable(file);
  store->synchronize();
  EXPECT_EQ(log.lines().size(), 2U);
  AfterSuddenDeath after(file);
  EXPECT_EQ(after->objectForKey("records"), Value(Array{"a1", "a2", "a3", "b1"}));
  EXPECT_EQ(after->arrayForKey("queue")->size(), 3U);
  EXPECT_TRUE(after->objectForKey("key").isNothing());
}

TEST(AMediumThatRefuses, IsJoinedWithWhatWasWrittenBeforeItCouldBeRead) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) {
    store.setObject(Array{"a1", "a2"}, "records");
    store.setObject(Array{"c1"}, "moved");
    store.setObject(Value{{"x", 1}, {"y", 1}}, "requests");
    store.setObject("old", "text");
    store.setObject("old", "untouched");
  });
  const auto elsewhere = folder / "elsewhere";
  std::filesystem::rename(file, elsewhere);
  makeUnlockable(file);
  const auto store = openStore(file);
  EXPECT_TRUE(store->objectForKey("records").isNothing());
  store->setObject(Array{"b1"}, "records");
  store->setObject(Array{"d1"}, "moved");
  store->removeObject("moved");
  store->setObject(Value{{"y", 2}, {"z", 2}}, "requests");
  store->setObject("new", "text");
  store->synchronize();

  std::filesystem::rename(elsewhere, file);
  makeLockable(file);
  store->synchronize();
  AfterSuddenDeath after(file);
  for (SQLiteUserDefaults* each : {store.get(), after.operator->()}) {
    EXPECT_EQ(each->objectForKey("records"), Value(Array{"a1", "a2", "b1"}));
    EXPECT_EQ(each->objectForKey("moved"), Value(Array{"c1"}));
    EXPECT_EQ(each->objectForKey("requests"), (Value{{"x", 1}, {"y", 2}, {"z", 2}}));
    EXPECT_EQ(each->objectForKey("text"), Value("new"));
    EXPECT_EQ(each->objectForKey("untouched"), Value("old"));
  }
}

/// No file of this process can grow beyond `bytes`, as if the disk were full.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int);
};

TEST(AFullDisk, CostsNothingThatWasWrittenMeanwhile) {
  const TemporaryFolder folder;
  StoreLog log;
  const auto store = openStore(folder / "store", log.sink());
  const auto append = [&](int first, int count) {
    for (int number = first; number < first + count; ++number) {
      store->update("queue", [&](const Value& queue) { return Value(queue.array().appending(record(number))); });
      store->setObject(number, "last");
      store->synchronize();
    }
  };
  append(0, 10);
  std::optional<AfterSuddenDeath> during;
  {
    const FullDisk full(logSize(folder / "store") + 10000);
    append(10, 50);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(log.lines().front().find("cannot be written"), std::string::npos) << log.lines().front();
    EXPECT_EQ(store->arrayForKey("queue")->size(), 60U);
    during.emplace(folder / "store");
  }
  EXPECT_LT((*during)->integerForKey("last"), 59);
  EXPECT_EQ((*during)->arrayForKey("queue")->size(), static_cast<std::size_t>((*during)->integerForKey("last")) + 1);
  append(60, 1);
  EXPECT_EQ(log.lines().size(), 2U);
  AfterSuddenDeath after(folder / "store");
  EXPECT_EQ(after->objectForKey("queue"), store->objectForKey("queue"));
  EXPECT_EQ(after->arrayForKey("queue")->size(), 61U);
}

TEST(AFullDisk, WhileAStoreIsBegunIsNotTakenForDamage) {
  for (const rlim_t room : {100, 600, 2047, 2048, 3000, 5000, 7000}) {
    const TemporaryFolder folder;
    StoreLog log;
    std::unique_ptr<SQLiteUserDefaults> store;
    {
      const FullDisk full(room);
      store = openStore(folder / "store", log.sink());
      for (int number = 0; number < 3; ++number) {
        store->setObject(number, "key");
        store->synchronize();
      }
    }
    EXPECT_EQ(log.lines().size(), 1U) << room;
    store->synchronize();
    EXPECT_EQ(log.lines().size(), 2U) << room;
    EXPECT_TRUE(filesSetAside(folder).empty()) << room;
    EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value(2)) << room;
  }
}

TEST(AFullDisk, DoesNotKeepTheStoreFromBeingRead) {
  const TemporaryFolder folder;
  fill(folder / "store");
  StoreLog log;
  const FullDisk full(1);
  const auto store = openStore(folder / "store", log.sink());
  EXPECT_EQ(store->objectForKey("key"), Value("identity"));
  EXPECT_EQ(store->arrayForKey("queue")->size(), 100U);
  store->setObject(1, "new");
  store->synchronize();
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST(AReadOnlyFolder, IsStillRead) {
  const TemporaryFolder folder;
  fill(folder / "store");
  std::filesystem::remove(folder / "store.lock");
  std::filesystem::permissions(folder / "store", std::filesystem::perms{0444});
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0555});
  const pid_t reader = fork();
  ASSERT_GE(reader, 0);
  if (reader == 0) {
    constexpr uid_t nobody = 65534;  // rights are nothing to root
    if (getuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(2);
    StoreLog log;
    const auto store = openStore(folder / "store", log.sink());
    if (!store || store->objectForKey("key") != Value("identity")) _exit(3);
    store->setObject("new", "key");
    store->synchronize();
    _exit(log.lines().size() == 1 && store->objectForKey("key") == Value("new") ? 0 : 4);
  }
  int status = -1;
  waitpid(reader, &status, 0);
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
  EXPECT_EQ(status, 0);
}

TEST(AReadOnlyFolder, IsWrittenOnceItCanBe) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) { store.setObject(Array{"a1"}, "records"); });
  const auto permit = [&](unsigned all, unsigned files) {
    for (const char* suffix : {"", "-wal", ".lock"}) {
      std::filesystem::permissions(file.string() + suffix, std::filesystem::perms{files});
    }
    std::filesystem::permissions(folder.path(), std::filesystem::perms{all});
  };
  permit(0555, 0444);
  int failed[2];
  int permitted[2];
  ASSERT_EQ(pipe(failed), 0);
  ASSERT_EQ(pipe(permitted), 0);
  const pid_t writer = fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    constexpr uid_t nobody = 65534;  // rights are nothing to root
    if (getuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(2);
    StoreLog log;
    const auto store = openStore(file, log.sink());
    if (!store || store->objectForKey("records") != Value(Array{"a1"})) _exit(3);
    store->setObject(store->objectForKey("records").array().appending("b1"), "records");
    store->synchronize();
    char byte = 'x';
    if (log.lines().size() != 1 || write(failed[1], &byte, 1) != 1 || read(permitted[0], &byte, 1) != 1) _exit(4);
    store->synchronize();
    _exit(log.lines().size() == 2 ? 0 : 5);
  }
  close(failed[1]);
  char byte = 'x';
  EXPECT_EQ(read(failed[0], &byte, 1), 1);
  permit(0777, 0666);
  EXPECT_EQ(write(permitted[1], &byte, 1), 1);
  int status = -1;
  waitpid(writer, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(openStore(file)->objectForKey("records"), Value(Array{"a1", "b1"}));
}

TEST(StoreDiagnostics, AreGivenWithNoLockHeld) {
  const TemporaryFolder folder;
  std::ofstream(folder / "blocker") << "a file where a folder should be";
  std::unique_ptr<SQLiteUserDefaults> store;
  int lines = 0;
  store = openStore(folder / "blocker/store", [&](std::string_view) {
    ++lines;
    if (!store) return;
    store->synchronize();
    store->setObject(store->objectForKey("key"), "copy");
  });
  std::filesystem::remove(folder / "blocker");
  store->setObject(1, "key");
  store->synchronize();
  EXPECT_EQ(lines, 2);
  EXPECT_EQ(store->objectForKey("copy"), Value(1));
}

TEST(StoreDiagnostics, AreDroppedWhenTheLogThrows) {
  const TemporaryFolder folder;
  std::ofstream(folder / "store") << "damage";
  const auto store = openStore(folder / "store", [](std::string_view) { throw std::runtime_error("no log"); });
  store->setObject(1, "key");
  EXPECT_EQ(store->objectForKey("key"), Value(1));
}

}  // namespace
}  // namespace fliprugair
