#include "platform/sqlite/Database.h"

#include <sqlite3.h>

namespace fliprugair {

namespace {

[[noreturn]] void fail(sqlite3* database, int code) {
  const std::string text = database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(code);
  switch (code & 0xFF) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      throw StoreError(StoreError::Kind::damaged, text);
    case SQLITE_FULL:
      throw StoreError(StoreError::Kind::full, text);
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw StoreError(StoreError::Kind::inUse, "another process");
    default:
      throw StoreError(StoreError::Kind::unavailable, text);
  }
}

void check(sqlite3* database, int code) {
  if (code != SQLITE_OK) fail(database, code);
}

void check(sqlite3_stmt* statement, int code) {
  if (code != SQLITE_OK) fail(sqlite3_db_handle(statement), code);
}

std::string addressInMemory(std::string_view name) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string address = "file:";
  for (const char character : name) {
    if (std::string_view("%?#").find(character) == std::string_view::npos) {
      address += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      address += {'%', digits[byte >> 4], digits[byte & 0xF]};
    }
  }
  return address + "?vfs=memdb";
}

}  // namespace

void Statement::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Statement::Statement(sqlite3* database, std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                                      &statement, nullptr);
  statement_.reset(statement);
  check(database, code);
}

Statement& Statement::bind(int parameter, std::int64_t number) {
  check(statement_.get(), sqlite3_bind_int64(statement_.get(), parameter, number));
  return *this;
}

Statement& Statement::bind(int parameter, std::string_view text) {
  check(statement_.get(),
        sqlite3_bind_text64(statement_.get(), parameter, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8));
  return *this;
}

void Statement::run() {
  const int code = sqlite3_step(statement_.get());
  const int resetCode = sqlite3_reset(statement_.get());
  if (code != SQLITE_DONE && code != SQLITE_ROW) fail(sqlite3_db_handle(statement_.get()), resetCode);
}

bool Statement::step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  const int resetCode = sqlite3_reset(statement_.get());
  if (code != SQLITE_DONE) fail(sqlite3_db_handle(statement_.get()), resetCode);
  return false;
}

std::int64_t Statement::integer(int column) { return sqlite3_column_int64(statement_.get(), column); }

std::string_view Statement::text(int column) {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return bytes == nullptr ? std::string_view() : std::string_view(bytes, static_cast<std::size_t>(size));
}

void Database::Close::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

Database::Database(const std::string& path, Mode mode) {
  sqlite3* database = nullptr;
  int code = SQLITE_OK;
  if (mode == Mode::inMemory) {
    code = sqlite3_open_v2(addressInMemory(path).c_str(), &database,
                           SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
  } else {
    const int create = mode == Mode::readWriteCreate ? SQLITE_OPEN_CREATE : 0;
    // "unix-excl" locks the file once and for this whole process: a commit then makes no lock calls, which would take
    // longer than its writing does.
    code = sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | create, "unix-excl");
  }
  database_.reset(database);
  check(database, code);
  sqlite3_extended_result_codes(database, 1);
}

void Database::execute(const char* sql) const { check(get(), sqlite3_exec(get(), sql, nullptr, nullptr, nullptr)); }

std::int64_t Database::integer(const char* sql) const {
  Statement statement(get(), sql);
  return statement.step() ? statement.integer(0) : 0;
}

bool Database::checkpoint(int mode) const {
  const int code = sqlite3_wal_checkpoint_v2(get(), nullptr, mode, nullptr, nullptr);
  if ((code & 0xFF) == SQLITE_BUSY) return false;
  check(get(), code);
  return true;
}

void Database::leaveFilesAlone() const { sqlite3_db_config(get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr); }

}  // namespace fliprugair
