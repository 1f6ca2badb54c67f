#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "Fliprugair/platform/UserDefaults.h"

namespace fliprugair {

class StoreDisk;
class StoreMemory;

/// The store in one SQLite file. Reads come from memory; `synchronize` writes what changed since the last one as one
/// transaction, so that it survives kill -9 from then on. A power cut can cost the newest writes, never the file.
///
/// The values stand in the file as JSON text, for a person to read with the sqlite3 shell when no process uses the
/// store (it is locked meanwhile). JSON has no infinite numbers and no NaN: those become null in the file.
///
/// Ownership: the host's. Destruction makes pending writes durable, cleans up the file and stops the store's one
/// background thread.
/// Threads: as UserDefaults. Reads never wait for the disk. A `synchronize` waits for those of other threads; neither
/// it nor what it waits for awaits the disk's confirmation (fsync). That is the background thread's: when nothing was
/// written for a second or two, and SQLite's log is longer than two megabytes, it copies the log into the file beside
/// any writes, and empties it when nothing was written meanwhile. From 32 megabytes on it does not wait for the pause.
/// The exceptions: a write may wait for a confirmation while a damaged file is replaced, after a log that the system
/// would not cut off, and when the log has grown to 128 megabytes because writes follow each other faster than a quick
/// disk confirms.
class SQLiteUserDefaults final : public UserDefaults {
 public:
  /// Receives diagnostic lines, with no lock held; what it throws is dropped.
  using Log = std::function<void(std::string_view)>;

  /// Why there is no store, in words: another process, or another object of this one, has it, or a newer version of
  /// this library wrote it. Then nothing was touched.
  struct Refusal {
    std::string reason;
  };

  /// Opens the store in `file`, creating it and its folders when they are missing. Beside it stand SQLite's own files
  /// and a ".lock". A damaged file is set aside in the same folder, under a name with ".damaged-" and the time, and a
  /// fresh one begun. When the file cannot be read or written the store says so in the log, goes on from memory, and
  /// tries again with each `synchronize`. Throws nothing.
  static std::variant<std::unique_ptr<SQLiteUserDefaults>, Refusal> open(const std::filesystem::path& file, Log log);

  ~SQLiteUserDefaults() override;
  SQLiteUserDefaults(const SQLiteUserDefaults&) = delete;
  SQLiteUserDefaults& operator=(const SQLiteUserDefaults&) = delete;

  Value objectForKey(std::string_view key) const override;
  void setObject(Value value, std::string_view key) override;
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override;
  void synchronize() override;
  void beginGroup() override;
  void endGroup() override;
  void whenDurable(std::function<void()> action) override;

 private:
  SQLiteUserDefaults(std::unique_ptr<StoreMemory> memory, std::unique_ptr<StoreDisk> disk);

  std::unique_ptr<StoreMemory> memory_;
  std::unique_ptr<StoreDisk> disk_;
};

}  // namespace fliprugair
