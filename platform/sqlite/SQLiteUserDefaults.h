#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "Fliprugair/platform/StoreOptions.h"
#include "Fliprugair/platform/UserDefaults.h"
#include "platform/posix/ProcessMark.h"

namespace fliprugair {

class StoreDisk;
class StoreMemory;

/// The store in one SQLite file. Reads come from memory; `synchronize` writes what changed since the last one, all or
/// none of it, so that it survives what StoreDurability says. With StoreDurability::process that goes to a journal
/// beside the file, from which a background thread brings it into the file, some three hundred records at a time; with
/// StoreDurability::powerCut, and where no journal can be had, each is a transaction of SQLite's.
///
/// The values stand in the file as JSON text, for a person to read with the sqlite3 shell when no process uses the
/// store (it is locked meanwhile). JSON has no infinite numbers and no NaN: those become null in the file.
///
/// In a child that is forked off, an object of this class does nothing: it holds no values, drops what is written and
/// the actions it is given, says so once in the log, and leaves the files and the lock to the parent.
///
/// Ownership: the host's. Destruction makes pending writes durable, cleans up the file and stops the store's one
/// background thread.
/// Threads: as UserDefaults. Reads never wait for the disk. A `synchronize` waits for those of other threads, and with
/// StoreDurability::powerCut for the disk. Otherwise the waiting for the disk is the background thread's: it copies
/// SQLite's log into the file when nothing was written for a second or two and the log is longer than two megabytes,
/// and from four megabytes on without that pause. A `synchronize` waits for it only where so much is written so fast
/// that the journal has four megabytes.
class SQLiteUserDefaults final : public UserDefaults {
 public:
  /// Receives diagnostic lines, with no lock held; what it throws is dropped.
  using Log = std::function<void(std::string_view)>;

  /// Why there is no store, in words: another process, or another object of this one, has it; a newer version of this
  /// library wrote it; something else has its name; or it may be there and cannot be read for the moment. Then nothing
  /// was touched.
  struct Refusal {
    std::string reason;
  };

  /// Opens the store in `file`, creating it and its folders when they are missing, for their owner alone. Beside it
  /// stand SQLite's own files, the two of the journal, a ".lock", and an ".identity", which has a copy of what makes
  /// the installation one and the same. When there is damage, what can still be read and checks is kept, a line of the
  /// log says how much, and the old files are set aside in the same folder under a name with ".damaged-" and the time;
  /// they are never deleted. A store that can be read and not written, or that has no place yet on a full disk, says so
  /// in the log, goes on from memory, and tries again with each `synchronize`. So does one whose file refuses later, or
  /// is taken away. Throws nothing.
  static std::variant<std::unique_ptr<SQLiteUserDefaults>, Refusal> open(const std::filesystem::path& file, Log log,
                                                                         StoreOptions options = {});

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

  bool isInert() const { return !mark_.isOwnProcess() && isSaidToBeInert(); }
  bool isSaidToBeInert() const;

  const ProcessMark mark_;
  mutable std::atomic<bool> hasSaidThatItIsInert_ = false;
  std::unique_ptr<StoreMemory> memory_;
  std::unique_ptr<StoreDisk> disk_;
};

}  // namespace fliprugair
