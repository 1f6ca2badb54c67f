#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/sqlite/Journal.h"
#include "platform/sqlite/SQLiteUserDefaults.h"
#include "support/TemporaryFolder.h"

namespace fliprugair {

/// There is no need for the disk to see what a test writes there.
inline std::filesystem::path memory() {
  return std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
}

/// Keeps what the store says. Any thread.
class StoreLog {
 public:
  SQLiteUserDefaults::Log sink() {
    return [this](std::string_view line) {
      const std::lock_guard lock(mutex_);
      lines_.emplace_back(line);
    };
  }

  void clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }

  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

/// The store in `file`, or a null pointer and a failed test when it is refused.
inline std::unique_ptr<SQLiteUserDefaults> openStore(const std::filesystem::path& file,
                                                     SQLiteUserDefaults::Log log = {}, StoreOptions options = {}) {
  auto opened = SQLiteUserDefaults::open(file, std::move(log), options);
  if (const auto* refusal = std::get_if<SQLiteUserDefaults::Refusal>(&opened)) {
    ADD_FAILURE() << refusal->reason;
    return nullptr;
  }
  return std::get<std::unique_ptr<SQLiteUserDefaults>>(std::move(opened));
}

constexpr StoreOptions surviving{.durability = StoreDurability::powerCut};
constexpr StoreOptions joining{.unreadable = UnreadableStore::isJoined};

/// The same without a journal: its names are taken by links to nowhere.
inline std::unique_ptr<SQLiteUserDefaults> openStoreWithoutJournal(const std::filesystem::path& file,
                                                                   SQLiteUserDefaults::Log log = {}) {
  for (const char* suffix : Journal::suffixes) {
    std::filesystem::remove(file.string() + suffix);
    std::filesystem::create_symlink("missing/folder", file.string() + suffix);
  }
  return openStore(file, std::move(log));
}

/// Why the store in `file` is refused; "" when it is not.
inline std::string refusalOf(const std::filesystem::path& file) {
  auto opened = SQLiteUserDefaults::open(file, {});
  const auto* refusal = std::get_if<SQLiteUserDefaults::Refusal>(&opened);
  return refusal != nullptr ? refusal->reason : std::string();
}

/// Copies the files of a store: what they hold when they are copied one after the other.
inline void copyStore(const std::filesystem::path& file, const std::filesystem::path& copy) {
  for (const char* suffix : {"", "-wal", Journal::suffixes[0], Journal::suffixes[1], ".identity"}) {
    std::filesystem::remove(copy.string() + suffix);
    if (std::filesystem::exists(file.string() + suffix)) {
      // Not by copy_file, which fails where a file becomes shorter meanwhile.
      std::ofstream(copy.string() + suffix, std::ios::binary)
          << std::ifstream(file.string() + suffix, std::ios::binary).rdbuf();
    }
  }
}

/// What a process would find in `file` if the one that has it open died at this moment. Only for stores that have
/// written less than would wake their background thread: the copy is not made in one instant.
class AfterSuddenDeath {
 public:
  explicit AfterSuddenDeath(const std::filesystem::path& file) { copyStore(file, folder_ / "store"); }

  SQLiteUserDefaults* operator->() {
    if (!store_) store_ = openStore(folder_ / "store", log_.sink());
    EXPECT_TRUE(log_.lines().empty()) << log_.lines().front();
    return store_.get();
  }

 private:
  TemporaryFolder folder_{memory()};
  StoreLog log_;
  std::unique_ptr<SQLiteUserDefaults> store_;
};

inline Value record(int number) {
  return Value{{"action", "event"},
               {"number", number},
               {"data", Value{{"event_name", "level finished"}, {"event_data", std::string(400, 'x')}}}};
}

inline std::uintmax_t logSize(const std::filesystem::path& file) {
  return std::filesystem::file_size(file.string() + "-wal");
}

}  // namespace fliprugair
