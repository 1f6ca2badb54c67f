#include "sqlite/StoreFiles.h"

#include <sqlite3.h>

#include <fstream>
#include <iterator>

namespace fliprugair {

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

void fill(const std::filesystem::path& file, int records) {
  const auto store = openStore(file);
  Array queue;
  for (int number = 0; number < records; ++number) queue = queue.appending(record(number));
  store->setObject(queue, "queue");
  store->setObject("identity", "key");
}

void makeUnlockable(const std::filesystem::path& file) {
  std::filesystem::remove(file.string() + ".lock");
  std::filesystem::create_symlink("missing/folder", file.string() + ".lock");
}

void makeLockable(const std::filesystem::path& file) { std::filesystem::remove(file.string() + ".lock"); }

namespace {

void leave(const std::filesystem::path& file, const std::function<void(SQLiteUserDefaults&)>& write, int records,
           StoreOptions options) {
  fill(file, records);
  const TemporaryFolder folder;
  {
    const auto store = openStore(file, {}, options);
    write(*store);
    store->synchronize();
    copyStore(file, folder / "copy");
  }
  copyStore(folder / "copy", file);
}

}  // namespace

void leaveWithLog(const std::filesystem::path& file, const std::function<void(SQLiteUserDefaults&)>& write,
                  int records) {
  leave(file, write, records, surviving);
  ASSERT_GT(logSize(file), 0U);
}

void leaveWithJournal(const std::filesystem::path& file, const std::function<void(SQLiteUserDefaults&)>& write,
                      int records) {
  leave(file, write, records, {});
  ASSERT_GT(journalSize(file), 0U);
}

std::uintmax_t journalSize(const std::filesystem::path& file) {
  std::uintmax_t bytes = 0;
  for (const char* suffix : Journal::suffixes) {
    std::error_code none;
    const std::uintmax_t size = std::filesystem::file_size(file.string() + suffix, none);
    if (!none) bytes += size;
  }
  return bytes;
}

std::vector<std::int64_t> numbersIn(const SQLiteUserDefaults& store) {
  std::vector<std::int64_t> numbers;
  for (const Value& item : store.objectForKey("queue").array()) {
    numbers.push_back(item.dictionary()["number"].integerValue());
  }
  return numbers;
}

std::vector<std::int64_t> upTo(std::int64_t count) {
  std::vector<std::int64_t> numbers;
  for (std::int64_t number = 0; number < count; ++number) numbers.push_back(number);
  return numbers;
}

void expectWhatIsLeft(const std::filesystem::path& file, std::size_t least, const std::string& what) {
  StoreLog log;
  const auto store = openStore(file, log.sink());
  ASSERT_TRUE(store) << what;
  EXPECT_EQ(store->objectForKey(identifier), Value("MI1")) << what;
  const Array queue = store->objectForKey("queue").array();
  for (const Value& item : queue) {
    ASSERT_EQ(item, record(static_cast<int>(item.dictionary()["number"].integerValue()))) << what;
  }
  EXPECT_GE(queue.size(), least) << what;
  const bool isWhole = queue.size() == 60 && store->objectForKey("key") == Value("identity");
  EXPECT_TRUE(isWhole || !log.lines().empty()) << what;
}

}  // namespace fliprugair
