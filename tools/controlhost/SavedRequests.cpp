#include "tools/controlhost/SavedRequests.h"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/HttpHeaders.h"

namespace fliprugair::controlhost {

namespace {

// What the file says that it is, in its own header.
constexpr std::int64_t application = 0x466C6970;
constexpr std::int64_t formatVersion = 2;

constexpr const char* makeTable =
    "BEGIN IMMEDIATE; CREATE TABLE requests (id INTEGER PRIMARY KEY, received REAL, method TEXT, path TEXT, remote "
    "TEXT, "
    "headers TEXT, body BLOB, status INTEGER, reply BLOB, rule INTEGER, delay_ms INTEGER, whole INTEGER, fault TEXT, "
    "device TEXT, compressed BLOB, problem TEXT, reply_headers TEXT, arrival_us INTEGER, answering_us INTEGER); "
    "PRAGMA application_id=0x466C6970; PRAGMA user_version=2; COMMIT";

/// From the first version, which did not say whose file it is.
constexpr const char* extendTable =
    "BEGIN IMMEDIATE; ALTER TABLE requests ADD COLUMN compressed BLOB; ALTER TABLE requests ADD COLUMN problem TEXT; "
    "ALTER TABLE requests ADD COLUMN reply_headers TEXT; ALTER TABLE requests ADD COLUMN arrival_us INTEGER; "
    "ALTER TABLE requests ADD COLUMN answering_us INTEGER; "
    "PRAGMA application_id=0x466C6970; PRAGMA user_version=2; COMMIT";
constexpr const char* columnsOfTheFirst =
    "SELECT group_concat(name) = "
    "'id,received,method,path,remote,headers,body,status,reply,rule,delay_ms,whole,fault,device' "
    "FROM pragma_table_info('requests')";

std::string textOf(const HttpHeaders& headers) { return RapidJSONSerialization().textOfAny(jsonOf(headers)); }

HttpHeaders readHeaders(const std::string& text) {
  return headersIn(RapidJSONSerialization().value(text).value_or(Value()).array());
}

std::string textOf(const HttpProblem& problem) {
  if (problem.status == 0) return "";
  return RapidJSONSerialization().textOfAny(Array{problem.status, problem.text, problem.hint});
}

HttpProblem problemIn(const std::string& text) {
  const Array parts = RapidJSONSerialization().value(text).value_or(Value()).array();
  if (parts.size() != 3) return {};
  return {static_cast<int>(parts[0].integerValue()), parts[1].text(), parts[2].text()};
}

/// So that SQLite reads the file as it is, and makes none beside it that the file does not have.
std::string nameForReading(const std::string& path) {
  std::string name = "file:";
  for (const char character : path) {
    if (character == '%') {
      name += "%25";
    } else if (character == '?') {
      name += "%3f";
    } else if (character == '#') {
      name += "%23";
    } else {
      name += character;
    }
  }
  return name + (std::filesystem::exists(path + "-wal") ? "?mode=ro" : "?immutable=1");
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
  request.headers = readHeaders(bytesAt(row, 5));
  request.bytes = bytesAt(row, 6);
  request.status = sqlite3_column_int(row, 7);
  request.reply = bytesAt(row, 8);
  request.rule = sqlite3_column_int64(row, 9);
  request.delay = std::chrono::milliseconds(sqlite3_column_int64(row, 10));
  request.isWhole = sqlite3_column_int(row, 11) != 0;
  request.fault = bytesAt(row, 12);
  request.compressed = bytesAt(row, 14);
  request.problem = problemIn(bytesAt(row, 15));
  request.replyHeaders = readHeaders(bytesAt(row, 16));
  request.arrival = std::chrono::microseconds(sqlite3_column_int64(row, 17));
  request.answering = std::chrono::microseconds(sqlite3_column_int64(row, 18));
  return request;
}

}  // namespace

void SavedRequests::Close::operator()(sqlite3* database) const { sqlite3_close(database); }
void SavedRequests::Close::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

SavedRequests::SavedRequests(const std::string& path) : path_(path) {
  try {
    lock_.emplace(std::filesystem::weakly_canonical(path).string() + ".lock");
  } catch (const std::exception& error) {
    fail(error.what());
  }
  if (!lock_->isHeld()) {
    throw std::runtime_error(path + ": another control host (" + lock_->owner() +
                             ") saves its requests there. End that one, or give --save another file.");
  }
  const Kind found = kind();
  if (found == Kind::foreign) {
    throw std::runtime_error(path + ": no file of this program's; it stays as it is. Give --save a file of its own.");
  }
  if (found == Kind::later) {
    throw std::runtime_error(path +
                             ": saved by a later version of this program. Use that one, or give --save another file.");
  }
  open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  sqlite3_busy_timeout(database_.get(), 2000);
  // Before the log of what is written: the file itself is to say whose it is.
  if (found == Kind::unused) execute(makeTable);
  if (found == Kind::earlier) execute(extendTable);
  // A crash of this program costs nothing of what was written, a power cut the latest of it.
  execute("PRAGMA journal_mode=WAL");
  execute("PRAGMA synchronous=NORMAL");
  insert_ = prepared("INSERT OR REPLACE INTO requests VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
}

SavedRequests::~SavedRequests() = default;

SavedRequests::Kind SavedRequests::kind() {
  std::error_code none;
  const auto size = std::filesystem::file_size(path_, none);
  if (none || size == 0) return Kind::unused;
  open(nameForReading(path_), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v2(database_.get(), "SELECT * FROM sqlite_master", -1, &statement, nullptr);
  const bool isDatabase = Statement(statement) && result == SQLITE_OK;
  if (!isDatabase && result == SQLITE_NOTADB) return Kind::foreign;
  const std::int64_t owner = number("PRAGMA application_id");
  const std::int64_t found = number("PRAGMA user_version");
  if (owner == application) return found > formatVersion ? Kind::later : Kind::ours;
  if (owner != 0) return Kind::foreign;
  if (found == 0 && number("SELECT count(*) FROM sqlite_master") == 0) return Kind::unused;
  return found == 1 && number(columnsOfTheFirst) == 1 ? Kind::earlier : Kind::foreign;
}

void SavedRequests::open(const std::string& name, int flags) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &opened, flags, nullptr);
  database_.reset(opened);
  if (result != SQLITE_OK) fail();
}

void SavedRequests::fail() const { fail(database_ ? sqlite3_errmsg(database_.get()) : "no memory"); }

void SavedRequests::fail(const std::string& reason) const {
  throw std::runtime_error(path_ + ": requests cannot be saved there (" + reason +
                           "). Give --save a file that can be written.");
}

void SavedRequests::execute(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

std::int64_t SavedRequests::number(const char* sql) {
  const Statement statement = prepared(sql);
  if (sqlite3_step(statement.get()) != SQLITE_ROW) fail();
  return sqlite3_column_int64(statement.get(), 0);
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
  bindText(row, 6, textOf(request.headers));
  bindBytes(row, 7, request.bytes);
  sqlite3_bind_int(row, 8, request.status);
  bindBytes(row, 9, request.reply);
  sqlite3_bind_int64(row, 10, request.rule);
  sqlite3_bind_int64(row, 11, request.delay.count());
  sqlite3_bind_int(row, 12, request.isWhole ? 1 : 0);
  bindText(row, 13, request.fault);
  bindText(row, 14, request.device);
  bindBytes(row, 15, request.compressed);
  bindText(row, 16, textOf(request.problem));
  bindText(row, 17, textOf(request.replyHeaders));
  sqlite3_bind_int64(row, 18, request.arrival.count());
  sqlite3_bind_int64(row, 19, request.answering.count());
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
