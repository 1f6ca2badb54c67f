#include "platform/sqlite/RowFile.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "platform/Joined.h"
#include "platform/sqlite/SelectedRow.h"
#include "platform/sqlite/StoredValue.h"

namespace fliprugair {

namespace {

/// What quick_check says of a page that could not be read, which is no damage.
bool saysThatTheMediumRefuses(std::string_view text) {
  constexpr std::string_view phrase = "error code";  // and a blank or an equals sign
  const std::size_t place = text.find(phrase);
  if (place == std::string_view::npos) return false;
  const int code = std::atoi(std::string(text.substr(std::min(place + phrase.size() + 1, text.size()))).c_str()) & 0xFF;
  return code != SQLITE_CORRUPT && code != SQLITE_NOTADB;
}

bool isLongLog(const std::string& path) {
  std::error_code isAbsent;
  const std::uintmax_t size = std::filesystem::file_size(path, isAbsent);
  return !isAbsent && size > std::uintmax_t{RowFile::logTarget} * RowFile::pageSize;
}

}  // namespace

RowFile::RowFile(const std::string& path, StoreDurability durability, Structure structure)
    : database_(path, Database::Mode::readWriteCreate), hasOlderLog_(isLongLog(path + "-wal")) {
  try {
    const bool waits = durability == StoreDurability::powerCut;
    database_.execute(waits ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    prepare(structure);
  } catch (const StoreError&) {
    leaveFilesAlone();
    throw;
  }
}

void RowFile::prepare(Structure structure) {
  // What was deleted must not stand in the file any more, where reading a damaged one would find it.
  database_.execute("PRAGMA secure_delete = ON; PRAGMA temp_store = MEMORY");
  // SQLite makes do with reading, and would not look again whether it may write.
  if (sqlite3_db_readonly(database_.get(), nullptr) == 1) {
    throw StoreError(StoreError::Kind::unavailable, "it can only be read");
  }
  sqlite3_wal_hook(database_.get(), noteLogPages, this);  // in the place of checkpoints by whoever writes
  const bool isNew =
      database_.integer("SELECT count(*) FROM sqlite_schema") == 0 && database_.integer("PRAGMA application_id") == 0;
  if (isNew) create();
  examine();
  keepALog();
  if (structure == Structure::isUnknown) checkStructure();
  if (database_.integer("PRAGMA user_version") < formatVersion) upgrade();
  learnToGiveBackRoom();
  begin_.emplace(database_.get(), "BEGIN IMMEDIATE");
  commit_.emplace(database_.get(), "COMMIT");
  rows_.emplace(database_, "rows");
  twins_.emplace(database_, "twins");
}

RowFile::Table::Table(const Database& database, const std::string& name)
    : put(database.get(), joined({"INSERT OR REPLACE INTO ", name,
                                  " (id, parent, position, name, value, checksum) VALUES (?, ?, ?, ?, ?, ?)"})),
      erase(database.get(), joined({"DELETE FROM ", name, " WHERE id BETWEEN ? AND ?"})) {}

void RowFile::examine() {
  if (database_.integer("PRAGMA application_id") != applicationId) throw StoreError::damaged("not a store");
  const std::int64_t version = database_.integer("PRAGMA user_version");
  if (version > formatVersion) {
    throw StoreError(StoreError::Kind::newer,
                     joined({"was written by a newer version of this library (format ", std::to_string(version), ")"}));
  }
  const auto columnsOf = [this](const std::string& table) {
    return database_.integer(joined({"SELECT count(*) FROM pragma_table_info('", table,
                                     "') WHERE name IN ('id', 'parent', 'position', 'name', 'value', 'checksum')"})
                                 .c_str());
  };
  const bool isFirst = version == firstFormat;
  if (version < 1 || columnsOf("rows") != (isFirst ? 5 : 6) || columnsOf("twins") != (isFirst ? 0 : 6))
    throw StoreError::damaged("no table of a store");
}

void RowFile::keepALog() {
  Statement journal(database_.get(), "PRAGMA journal_mode = WAL");
  if (!journal.step() || journal.text(0) != "wal") {
    throw StoreError(StoreError::Kind::unavailable, "no write-ahead log can be kept there");
  }
}

void RowFile::checkStructure() {
  Statement examination(database_.get(), "PRAGMA quick_check(1)");
  const std::string found(examination.step() ? examination.text(0) : std::string_view());
  if (found == "ok") return;
  if (saysThatTheMediumRefuses(found)) throw StoreError(StoreError::Kind::unavailable, found);
  throw StoreError::damaged(found);
}

void RowFile::create() {
  database_.execute(("PRAGMA page_size = " + std::to_string(pageSize)).c_str());
  database_.execute("PRAGMA auto_vacuum = INCREMENTAL; PRAGMA journal_mode = WAL; BEGIN");
  for (const char* table : {"rows", "twins"}) database_.execute(definition(table).c_str());
  database_.execute(("PRAGMA application_id = " + std::to_string(applicationId)).c_str());
  database_.execute(("PRAGMA user_version = " + std::to_string(formatVersion)).c_str());
  database_.execute("COMMIT");
}

std::string RowFile::definition(std::string_view table) {
  return joined({"CREATE TABLE ", table,
                 " (id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, position INTEGER NOT NULL,"
                 " name TEXT NOT NULL, value TEXT NOT NULL, checksum INTEGER NOT NULL)"});
}

/// What the second format has in it is in all that followed.
void RowFile::upgrade() {
  const std::int64_t version = database_.integer("PRAGMA user_version");
  mayHaveLeftovers_ = version >= formatWithLeftovers;
  if (version > firstFormat) return;  // the next touch says that it is of this one
  database_.execute("BEGIN IMMEDIATE; ALTER TABLE rows ADD COLUMN checksum INTEGER NOT NULL DEFAULT 0");
  database_.execute(definition("twins").c_str());
  {
    Statement select(database_.get(), "SELECT id, parent, position, name, value FROM rows");
    Statement set(database_.get(), "UPDATE rows SET checksum = ? WHERE id = ?");
    while (select.step()) {
      const Row row{select.integer(0), select.integer(1), select.integer(2), std::string(select.text(3)), {}};
      set.bind(1, row.checksum(select.text(4))).bind(2, row.id).run();
    }
  }
  touch();
  database_.execute("COMMIT");
}

/// A file of the first format can only once it has been written anew, for which there must be room: it goes on without,
/// and is tried again by the next start.
void RowFile::learnToGiveBackRoom() {
  if (database_.integer("PRAGMA auto_vacuum") != 0) return;
  try {
    database_.execute("PRAGMA auto_vacuum = INCREMENTAL; VACUUM");
  } catch (const StoreError& error) {
    if (error.kind() == StoreError::Kind::damaged) throw;
  }
}

std::vector<Row> RowFile::rows() const {
  std::vector<Row> rows;
  Statement select(database_.get(),
                   joined({"SELECT ", rowColumns, " FROM rows UNION ALL SELECT ", rowColumns, " FROM twins"}));
  while (select.step()) {
    auto [row, text] = selectedRow(select);
    auto value = storedValue(text);
    if (!value) throw StoreError::damaged(joined({"row ", std::to_string(row.id), " cannot be read"}));
    row.value = *std::move(value);
    rows.push_back(std::move(row));
  }
  return rows;
}

std::optional<JournalMark> RowFile::mark() const {
  Statement select(database_.get(), joined({"SELECT ", rowColumns, " FROM rows WHERE id = ?"}));
  select.bind(1, JournalMark::rowNumber);
  if (!select.step()) return std::nullopt;
  const auto value = storedValue(selectedRow(select).text);
  select.step();  // to the end, which lets go of the log
  return value ? JournalMark::of(*value) : std::nullopt;
}

void RowFile::write(const std::vector<RowChange>& changes, const JournalMark& mark) {
  const bool isNoted = mark == mark_;
  if (isNoted && changes.empty()) return;
  if (isNoted && changes.size() == 1) return make(changes.front());  // a statement outside a transaction is one
  begin_->run();
  try {
    for (const RowChange& change : changes) make(change);
    if (!isNoted) make(mark.row());
    commit_->run();
    mark_ = mark;
  } catch (...) {
    const bool isOpen = sqlite3_get_autocommit(database_.get()) == 0;
    if (isOpen) sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

void RowFile::make(const RowChange& change) {
  if (const auto* range = std::get_if<RowRange>(&change)) {
    return (range->first < 0 ? twins_ : rows_)->erase.bind(1, range->first).bind(2, range->last).run();
  }
  const Row& row = std::get<Row>(change);
  const StoredText text(row.value);
  Statement& put = (row.id < 0 ? twins_ : rows_)->put;
  put.bind(1, row.id).bind(2, row.parent).bind(3, row.position).bind(4, row.name).bind(5, text.view());
  put.bind(6, row.checksum(text.view())).run();
}

void RowFile::touch() { database_.execute(("PRAGMA user_version = " + std::to_string(formatVersion)).c_str()); }

bool RowFile::hasMuchRoom() const {
  constexpr std::int64_t much = 1024 * 1024 / pageSize;
  return database_.integer("PRAGMA auto_vacuum") != 0 && database_.integer("PRAGMA freelist_count") > much;
}

void RowFile::giveBackRoom() { database_.execute("PRAGMA incremental_vacuum(256)"); }

bool RowFile::emptyLog(LogRoom room) {
  const bool keepsRoom = room == LogRoom::kept;
  if (!database_.checkpoint(keepsRoom ? SQLITE_CHECKPOINT_RESTART : SQLITE_CHECKPOINT_TRUNCATE)) return false;
  hasOlderLog_ = keepsRoom;
  logPages_ = 0;
  return true;
}

int RowFile::noteLogPages(void* self, sqlite3*, const char*, int pages) {
  static_cast<RowFile*>(self)->logPages_ = pages;
  return SQLITE_OK;
}

}  // namespace fliprugair
