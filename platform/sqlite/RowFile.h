#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/StoreOptions.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/JournalMark.h"
#include "platform/sqlite/Row.h"

namespace fliprugair {

/// The store's SQLite file: rows in, rows out. Failures are StoreErrors.
///
/// Writes go to SQLite's write-ahead log and, with StoreDurability::process, do not wait for the disk. The log is
/// copied into the file by a LogCopier, beside the writes, and `emptyLog` copies the rest and begins it anew.
///
/// Owned by StoreDisk. Used by one thread at a time.
class RowFile {
 public:
  /// Bytes. Pages of this size take three records: smaller ones would make every record a page split, larger ones more
  /// to write.
  static constexpr int pageSize = 2048;
  static constexpr std::int64_t applicationId = 0x466C6970;  ///< says whose file it is
  static constexpr std::int64_t formatVersion = 4;
  static constexpr std::int64_t formatWithLeftovers = 3;  ///< the first in which rows may have lost their owners
  static constexpr std::int64_t firstFormat = 1;          ///< had neither checksums nor twins
  static constexpr int logTarget = 1000;                  ///< pages; from here on the log is to be emptied in a pause
  static constexpr int logLimit = 2000;                   ///< pages; from here on without one
  static constexpr int logBound = 3000;                   ///< pages; from here on who writes waits until it is empty

  /// How SQLite is told of one of the two tables, "rows" and "twins".
  static std::string definition(std::string_view table);

  enum class Structure { isUnknown, isSound };

  /// Opens the file, or begins one. SQLite is spared the examination of a file that is known to be sound.
  RowFile(const std::string& path, StoreDurability durability, Structure structure = Structure::isUnknown);
  RowFile(const RowFile&) = delete;
  RowFile& operator=(const RowFile&) = delete;

  /// Throws StoreError::damaged when one of them is not what was written.
  std::vector<Row> rows() const;

  /// Whether there may be items whose array is gone; in older formats that was damage.
  bool mayHaveLeftovers() const { return mayHaveLeftovers_; }

  /// Up to where it has the journal; none when it does not say so.
  std::optional<JournalMark> mark() const;

  /// Makes the changes, in their order, in one transaction, in which it also notes `mark` unless it has that.
  void write(const std::vector<RowChange>& changes, const JournalMark& mark);

  /// A write that changes nothing; it begins a log that was cut off. Throws while the medium refuses.
  void touch();

  int logPages() const { return logPages_; }
  bool logIsLong() const { return logPages_ >= logTarget || hasOlderLog_; }
  bool logIsAtItsLimit() const { return logPages_ >= logLimit; }
  bool logIsAtItsBound() const { return logPages_ >= logBound; }

  /// Whether it is worth the while to give unused pages back to the file system, and doing so with a few of them.
  bool hasMuchRoom() const;
  void giveBackRoom();

  enum class LogRoom { givenBack, kept };

  /// Copies what is not in the file yet, which waits for the disk if there is any. The next write waits for the
  /// beginning of a new log, over the old one whose room is kept: to give it back takes milliseconds, and so does
  /// having it again. False when a LogCopier is in the way.
  bool emptyLog(LogRoom room);

  /// Lets the end of this object leave the file and the log as they are.
  void leaveFilesAlone() const { database_.leaveFilesAlone(); }

 private:
  void prepare(Structure structure);
  void create();
  void examine();
  void keepALog();
  void checkStructure();
  void upgrade();
  void learnToGiveBackRoom();
  void make(const RowChange& change);
  static int noteLogPages(void* self, sqlite3*, const char*, int pages);

  Database database_;
  JournalMark mark_;  ///< that was noted last
  int logPages_ = 0;
  bool mayHaveLeftovers_ = true;
  bool hasOlderLog_ = false;  ///< whether the log stands over one that was longer
  std::optional<Statement> begin_;
  std::optional<Statement> commit_;
  /// For one of the two tables.
  struct Table {
    Table(const Database& database, const std::string& name);
    Statement put;
    Statement erase;
  };
  std::optional<Table> rows_;
  std::optional<Table> twins_;
};

}  // namespace fliprugair
