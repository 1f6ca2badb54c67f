#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace fliprugair {

/// Why the store's file cannot be used. Stays inside the store.
class StoreError : public std::runtime_error {
 public:
  enum class Kind {
    unavailable,  ///< the medium refuses: folder, rights, descriptors, memory
    full,         ///< the medium refuses: there is no room
    inUse,        ///< somebody else has it; the text says who
    noFile,       ///< what has its name is a folder, a pipe, a device
    damaged,      ///< what is in the file is not a store
    newer,        ///< a later version of this library wrote it
  };

  StoreError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  static StoreError damaged(const std::string& text) { return {Kind::damaged, text}; }

  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

/// A prepared SQLite statement, whose failures are StoreErrors. Used by one thread at a time.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  /// Parameters count from 1. The text must stay valid until the statement has run.
  Statement& bind(int parameter, std::int64_t number);
  Statement& bind(int parameter, std::string_view text);

  /// Runs to the end and makes ready for the next time.
  void run();
  /// Whether there is one more row.
  bool step();

  std::int64_t integer(int column);
  std::string_view text(int column);  ///< valid until the next step

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// One connection to an SQLite file, whose failures are StoreErrors. Used by one thread at a time.
class Database {
 public:
  enum class Mode {
    readWriteCreate,
    readWrite,
    inMemory,  ///< and one and the same for all of this process; `path` begins with a slash
  };

  Database(const std::string& path, Mode mode);

  sqlite3* get() const { return database_.get(); }
  void execute(const char* sql) const;
  std::int64_t integer(const char* sql) const;

  /// Copies the log into the file, in one of SQLite's modes for that. False when another connection is in the way.
  bool checkpoint(int mode) const;

  /// Lets the end of this connection leave all files as they are.
  void leaveFilesAlone() const;

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace fliprugair
