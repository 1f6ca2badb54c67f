#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/LogCopy.h"
#include "platform/sqlite/Row.h"

namespace fliprugair {

/// The store's SQLite file: rows in, rows out. Failures are StoreErrors.
///
/// Writes go to SQLite's write-ahead log and never wait for the disk. A LogCopy brings the log into the file, beside
/// the writes, and `emptyLog` then cuts the log off: it is never written over, because a power cut could leave parts of
/// an older log among those of the newer one. That the cut comes before what follows it is left to the file system,
/// which keeps the order of the two as journaling ones do.
///
/// Owned by StoreDisk. Used by one thread at a time.
class RowFile {
 public:
  /// Bytes. Pages of this size take three records: smaller ones would make every record a page split, larger ones more
  /// to write.
  static constexpr int pageSize = 2048;
  static constexpr int logTarget = 1000;      ///< pages; from here on the log is to be emptied in a pause
  static constexpr int logLimit = 16 * 1024;  ///< pages; from here on as soon as a moment without writes is met
  static constexpr int hugeLog = 64 * 1024;   ///< pages; from here on even if writes wait a moment for it

  /// Opens the file, or begins one.
  explicit RowFile(const std::string& path);
  ~RowFile();
  RowFile(const RowFile&) = delete;
  RowFile& operator=(const RowFile&) = delete;

  std::vector<Row> rows() const { return rows(database_); }

  /// The rows of a file that can be read only, with those in its log.
  static std::vector<Row> rowsOfUnwritable(const std::string& path);

  /// Makes the changes, in their order, in one transaction.
  void write(const std::vector<RowChange>& changes);

  /// A write that changes nothing. Throws while the medium refuses.
  void touch();

  int logPages() const { return logPages_; }
  bool logIsLong() const { return logPages_ >= logTarget; }
  bool logIsAtItsLimit() const { return logPages_ >= logLimit; }
  bool logIsHuge() const { return logPages_ >= hugeLog; }

  /// Empties the log if all of it is in the file. Does not wait for the disk.
  bool emptyLog(LogCopy& copy);

  /// Lets the end of this object leave the file and the log as they are.
  void leaveFilesAlone() const { database_.leaveFilesAlone(); }

 private:
  static std::vector<Row> rows(const Database& database);
  static void examine(const Database& database);
  void prepare();
  void create();
  void make(const RowChange& change);
  static int noteLogPages(void* self, sqlite3*, const char*, int pages);

  Database database_;
  RapidJSONSerialization json_;
  int logPages_ = 0;
  std::optional<Statement> begin_;
  std::optional<Statement> commit_;
  std::optional<Statement> put_;
  std::optional<Statement> erase_;
};

}  // namespace fliprugair
