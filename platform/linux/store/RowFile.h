#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/linux/store/Database.h"
#include "platform/linux/store/Row.h"

namespace fliprugair {

/// The store's SQLite file: rows in, rows out. Failures are StoreErrors.
///
/// Writes go to SQLite's write-ahead log and are not confirmed by the disk. The log is copied into the file by
/// `checkpoint`, over a connection of its own and beside the writes; `restartLog` then begins the log anew, which is
/// the one moment when the order of writes on the disk matters, and so the one that waits for it.
///
/// Owned by StoreDisk. Used by one thread at a time, except `checkpoint`.
class RowFile {
 public:
  /// Bytes. Pages of this size take three records: smaller ones would make every record a page split, larger ones more
  /// to write.
  static constexpr int pageSize = 2048;
  static constexpr int logTarget = 1000;      ///< pages; from here on the log is to be begun anew in a pause
  static constexpr int logLimit = 32 * 1024;  ///< pages; from here on even if the writes do not pause

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

  /// A write that changes nothing. Throws while the medium refuses; begins the log if it is empty or can be begun anew.
  /// To be called once before the first `write`.
  void touch();

  int logPages() const { return logPages_; }
  bool logIsLong() const { return logPages_ >= logTarget; }
  bool logIsAtItsLimit() const { return logPages_ >= logLimit; }

  /// Copies the log into the file at `path` as far as it goes, and waits for the disk. Answers with the log's length if
  /// that was all of it. Any thread; the RowFile must exist meanwhile.
  static std::optional<int> checkpoint(const std::string& path);

  /// Lets the end of this object leave the file and the log as they are.
  void leaveFilesAlone() const { database_.leaveFilesAlone(); }

  /// Begins the log anew if it has not grown since the checkpoint that answered `checkpointed`.
  bool restartLog(int checkpointed);

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
