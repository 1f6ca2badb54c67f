// The files of a store, seen and changed from outside.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "sqlite/StoreTest.h"

namespace fliprugair {

/// The key of the device identifier.
inline constexpr const char* identifier = "com.marlune.MarluneTracker.deviceId";

std::string contentOf(const std::filesystem::path& file);
void overwrite(const std::filesystem::path& file, std::size_t position, const std::string& bytes);
void execute(const std::filesystem::path& file, const char* sql);
std::vector<std::filesystem::path> filesSetAside(const TemporaryFolder& folder);

/// Makes a store of `records` under "queue" and a text under "key".
void fill(const std::filesystem::path& file, int records = 100);

/// The store cannot be locked until `makeLockable`, and so cannot be written; root is no exception.
void makeUnlockable(const std::filesystem::path& file);
void makeLockable(const std::filesystem::path& file);

/// What a process that died a sudden death leaves in `file`: `records` as `fill` makes them in the file, and what was
/// written since then in the log.
void leaveWithLog(const std::filesystem::path& file, const std::function<void(SQLiteUserDefaults&)>& write,
                  int records = 3);

/// The same, but that it is in the journal.
void leaveWithJournal(const std::filesystem::path& file, const std::function<void(SQLiteUserDefaults&)>& write,
                      int records = 3);

std::uintmax_t journalSize(const std::filesystem::path& file);

/// Of the records under "queue".
std::vector<std::int64_t> numbersIn(const SQLiteUserDefaults& store);

/// 0, 1, and so on, without `count`.
std::vector<std::int64_t> upTo(std::int64_t count);

/// What is to hold whatever became of the bytes in a store of sixty records and an identifier, `what` said.
void expectWhatIsLeft(const std::filesystem::path& file, std::size_t least, const std::string& what);

}  // namespace fliprugair
