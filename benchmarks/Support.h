#pragma once

#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::bench {

/// A folder of the benchmark's own, gone with it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string file(const char* name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

/// An event record as a tracker makes it, about 500 bytes.
Value record(int number);

/// As JSON.
std::string textOf(const Value& value);

/// Kibibytes of this process that are in memory now.
long residentKibibytes();

/// Of these, what is in no file: heap, stacks and tables. The rest is mostly code, which processes share.
long anonymousKibibytes();

/// Ends the run with `what` on standard error unless `good`.
void require(bool good, const char* what);

/// The floor: one prepared single-row commit of a record's bytes in SQLite's WAL mode with synchronous=NORMAL.
class Floor {
 public:
  explicit Floor(const std::string& file, std::string text = textOf(record(0)));
  ~Floor();
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;

  void commit();

 private:
  const std::string text_;
  sqlite3* database_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
};

/// Times of single operations, in microseconds.
class Times {
 public:
  void add(double seconds) { times_.push_back(seconds * 1e6); }

  /// Times `operation`, and answers with its seconds.
  template <class Operation>
  double time(Operation operation) {
    const auto begin = std::chrono::steady_clock::now();
    operation();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
    add(duration.count());
    return duration.count();
  }

  double percentile(double percent);

 private:
  std::vector<double> times_;
};

}  // namespace fliprugair::bench
