#include "platform/sqlite/RowFile.h"

#include <sqlite3.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/sqlite/TemporaryCopy.h"

namespace fliprugair {

namespace {

// Both stand in the file's header and say whose it is.
constexpr std::int64_t applicationId = 0x466C6970;
constexpr std::int64_t formatVersion = 1;

bool isAbsentOrEmpty(const std::string& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  return error ? error == std::errc::no_such_file_or_directory : size == 0;
}

}  // namespace

RowFile::RowFile(const std::string& path) : database_(path, Database::Mode::readWriteCreate) {
  try {
    database_.execute("PRAGMA synchronous = OFF");
    prepare();
  } catch (const StoreError&) {
    leaveFilesAlone();
    throw;
  }
}

RowFile::~RowFile() {
  // SQLite copies the log and deletes it when the last connection ends.
  sqlite3_exec(database_.get(), "PRAGMA synchronous = NORMAL", nullptr, nullptr, nullptr);
}

void RowFile::prepare() {
  database_.execute("PRAGMA secure_delete = OFF; PRAGMA temp_store = MEMORY");
  // SQLite makes do with reading, and would not look again whether it may write.
  if (sqlite3_db_readonly(database_.get(), nullptr) == 1) {
    throw StoreError(StoreError::Kind::unavailable, "it can only be read");
  }
  sqlite3_wal_hook(database_.get(), noteLogPages, this);
  const bool isNew =
      database_.integer("SELECT count(*) FROM sqlite_schema") == 0 && database_.integer("PRAGMA application_id") == 0;
  if (isNew) create();
  examine(database_);
  Statement journal(database_.get(), "PRAGMA journal_mode = WAL");
  if (!journal.step() || journal.text(0) != "wal") {
    throw StoreError(StoreError::Kind::unavailable, "no write-ahead log can be kept there");
  }
  Statement examination(database_.get(), "PRAGMA quick_check(1)");
  if (!examination.step() || examination.text(0) != "ok") throw StoreError::damaged(std::string(examination.text(0)));
  begin_.emplace(database_.get(), "BEGIN IMMEDIATE");
  commit_.emplace(database_.get(), "COMMIT");
  put_.emplace(database_.get(),
               "INSERT OR REPLACE INTO rows (id, parent, position, name, value) VALUES (?, ?, ?, ?, ?)");
  erase_.emplace(database_.get(), "DELETE FROM rows WHERE id BETWEEN ? AND ?");
}

void RowFile::examine(const Database& database) {
  if (database.integer("PRAGMA application_id") != applicationId) throw StoreError::damaged("not a store");
  const std::int64_t version = database.integer("PRAGMA user_version");
  if (version > formatVersion) {
    throw StoreError(StoreError::Kind::newer,
                     "was written by a newer version of this library (format " + std::to_string(version) + ")");
  }
  constexpr const char* columns =
      "SELECT count(*) FROM pragma_table_info('rows') WHERE name IN ('id', 'parent', 'position', 'name', 'value')";
  if (version != formatVersion || database.integer(columns) != 5) throw StoreError::damaged("no table of a store");
}

void RowFile::create() {
  database_.execute(("PRAGMA page_size = " + std::to_string(pageSize)).c_str());
  database_.execute(
      "PRAGMA journal_mode = WAL; BEGIN;"
      "CREATE TABLE rows (id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, position INTEGER NOT NULL,"
      " name TEXT NOT NULL, value TEXT NOT NULL);");
  database_.execute(("PRAGMA application_id = " + std::to_string(applicationId)).c_str());
  database_.execute(("PRAGMA user_version = " + std::to_string(formatVersion)).c_str());
  database_.execute("COMMIT");
}

std::vector<Row> RowFile::rows(const Database& database) {
  const RapidJSONSerialization json;
  std::vector<Row> rows;
  Statement select(database.get(), "SELECT id, parent, position, name, value FROM rows");
  while (select.step()) {
    // What was written nests as deep as it does.
    std::optional<Value> value = json.value(select.text(4), SIZE_MAX);
    if (!value) throw StoreError::damaged("row " + std::to_string(select.integer(0)) + " is not JSON");
    rows.push_back(
        {select.integer(0), select.integer(1), select.integer(2), std::string(select.text(3)), *std::move(value)});
  }
  return rows;
}

std::vector<Row> RowFile::rowsOfUnwritable(const std::string& path) {
  const auto rowsOf = [](const Database& database) {
    examine(database);
    return rows(database);
  };
  if (isAbsentOrEmpty(path + "-wal")) return rowsOf(Database(path, Database::Mode::readOnlyUnchanging));
  // SQLite would read the file without its log, and so as it was some time ago.
  const TemporaryCopy copy(path);
  const Database database(copy.file().string(), Database::Mode::readWrite);
  database.leaveFilesAlone();
  return rowsOf(database);
}

void RowFile::write(const std::vector<RowChange>& changes) {
  if (changes.size() == 1) return make(changes.front());  // a statement outside a transaction is one
  begin_->run();
  try {
    for (const RowChange& change : changes) make(change);
    commit_->run();
  } catch (...) {
    const bool isOpen = sqlite3_get_autocommit(database_.get()) == 0;
    if (isOpen) sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

void RowFile::make(const RowChange& change) {
  if (const auto* range = std::get_if<RowRange>(&change))
    return erase_->bind(1, range->first).bind(2, range->last).run();
  const Row& row = std::get<Row>(change);
  const std::string text = json_.textOfAny(row.value);
  put_->bind(1, row.id).bind(2, row.parent).bind(3, row.position).bind(4, row.name).bind(5, text).run();
}

void RowFile::touch() { database_.execute(("PRAGMA user_version = " + std::to_string(formatVersion)).c_str()); }

bool RowFile::emptyLog(LogCopy& copy) {
  if (copy.pages() != logPages_) return false;
  copy.letGo();
  logPages_ = 0;  // the next write says how long it is
  const bool isCut =
      sqlite3_wal_checkpoint_v2(database_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr) == SQLITE_OK;
  // If it could not be cut off, the next write begins at its front, and must wait for the disk between the two.
  database_.execute(isCut ? "PRAGMA synchronous = OFF" : "PRAGMA synchronous = NORMAL");
  return isCut;
}

int RowFile::noteLogPages(void* self, sqlite3*, const char*, int pages) {
  static_cast<RowFile*>(self)->logPages_ = pages;
  return SQLITE_OK;
}

}  // namespace fliprugair
