#include "tools/controlhost/SavedRequests.h"

#include <sqlite3.h>

#include <algorithm>
#include <stdexcept>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::controlhost {

namespace {

constexpr int version = 1;

std::string headersText(const ReceivedRequest& request) {
  std::vector<Value> headers;
  for (const auto& [name, value] : request.headers) headers.push_back(Array{name, value});
  return RapidJSONSerialization().textOfAny(Array(std::move(headers)));
}

void bindText(sqlite3_stmt* statement, int place, const std::string& text) {
  sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

void bindBytes(sqlite3_stmt* statement, int place, const std::string& bytes) {
  sqlite3_bind_blob64(statement, place, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
}

std::string bytesAt(sqlite3_stmt* statement, int column) {
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
  return bytes == nullptr ? std::string() : std::string(bytes, size);
}

ReceivedRequest requestAt(sqlite3_stmt* row) {
  ReceivedRequest request;
  request.id = sqlite3_column_int64(row, 0);
  request.received = sqlite3_column_double(row, 1);
  request.method = bytesAt(row, 2);
  request.path = bytesAt(row, 3);
  request.remote = bytesAt(row, 4);
  for (const Value& header : RapidJSONSerialization().value(bytesAt(row, 5)).value_or(Value()).array()) {
    const Array pair = header.array();
    if (pair.size() == 2) request.headers.emplace_back(pair[0].text(), pair[1].text());
  }
  request.bytes = bytesAt(row, 6);
  request.status = sqlite3_column_int(row, 7);
  request.reply = bytesAt(row, 8);
  request.rule = sqlite3_column_int64(row, 9);
  request.delay = std::chrono::milliseconds(sqlite3_column_int64(row, 10));
  request.isWhole = sqlite3_column_int(row, 11) != 0;
  request.fault = bytesAt(row, 12);
  return request;
}

}  // namespace

void SavedRequests::Close::operator()(sqlite3* database) const { sqlite3_close(database); }
void SavedRequests::Close::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

SavedRequests::SavedRequests(const std::string& path) : path_(path) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  database_.reset(opened);
  if (result != SQLITE_OK) fail();
  sqlite3_busy_timeout(opened, 2000);
  // A crash of this program costs nothing of what was written, a power cut the latest of it.
  execute("PRAGMA journal_mode=WAL");
  execute("PRAGMA synchronous=NORMAL");
  const Statement found = prepared("PRAGMA user_version");
  sqlite3_step(found.get());
  if (const int one = sqlite3_column_int(found.get(), 0); one != 0 && one != version) {
    throw std::runtime_error(path + ": saved by another version of this program; give --save another file.");
  }
  execute(
      "CREATE TABLE IF NOT EXISTS requests (id INTEGER PRIMARY KEY, received REAL, method TEXT, path TEXT, remote "
      "TEXT, "
      "headers TEXT, body BLOB, status INTEGER, reply BLOB, rule INTEGER, delay_ms INTEGER, whole INTEGER, fault TEXT, "
      "device TEXT); PRAGMA user_version=1");
  insert_ = prepared("INSERT OR REPLACE INTO requests VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
}

SavedRequests::~SavedRequests() = default;

void SavedRequests::fail() const {
  const std::string reason = database_ ? sqlite3_errmsg(database_.get()) : "no memory";
  throw std::runtime_error(path_ + ": requests cannot be saved there (" + reason +
                           "). Give --save a file that can be written.");
}

void SavedRequests::execute(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

SavedRequests::Statement SavedRequests::prepared(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr) != SQLITE_OK) fail();
  return Statement(statement);
}

void SavedRequests::run(sqlite3_stmt* statement) {
  const int result = sqlite3_step(statement);
  sqlite3_reset(statement);
  if (result != SQLITE_DONE) fail();
}

void SavedRequests::add(const ReceivedRequest& request) {
  sqlite3_stmt* row = insert_.get();
  sqlite3_bind_int64(row, 1, request.id);
  sqlite3_bind_double(row, 2, request.received);
  bindText(row, 3, request.method);
  bindText(row, 4, request.path);
  bindText(row, 5, request.remote);
  bindText(row, 6, headersText(request));
  bindBytes(row, 7, request.bytes);
  sqlite3_bind_int(row, 8, request.status);
  bindBytes(row, 9, request.reply);
  sqlite3_bind_int64(row, 10, request.rule);
  sqlite3_bind_int64(row, 11, request.delay.count());
  sqlite3_bind_int(row, 12, request.isWhole ? 1 : 0);
  bindText(row, 13, request.fault);
  bindText(row, 14, request.device);
  run(row);
}

void SavedRequests::clear() { execute("DELETE FROM requests"); }

void SavedRequests::forget(const std::string& device) {
  const Statement statement = prepared("DELETE FROM requests WHERE device = ?");
  bindText(statement.get(), 1, device);
  run(statement.get());
}

std::vector<ReceivedRequest> SavedRequests::latest(std::size_t most) {
  const Statement statement = prepared("SELECT * FROM requests ORDER BY id DESC LIMIT ?");
  sqlite3_bind_int64(statement.get(), 1, static_cast<std::int64_t>(most));
  std::vector<ReceivedRequest> requests;
  int result = 0;
  while ((result = sqlite3_step(statement.get())) == SQLITE_ROW) requests.push_back(requestAt(statement.get()));
  if (result != SQLITE_DONE) fail();
  std::reverse(requests.begin(), requests.end());
  return requests;
}

}  // namespace fliprugair::controlhost
