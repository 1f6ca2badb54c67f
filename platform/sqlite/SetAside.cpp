#include "platform/sqlite/SetAside.h"

#include <array>
#include <ctime>
#include <span>
#include <string>

#include "platform/Joined.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/Journal.h"

namespace fliprugair {

namespace {

/// The file first: without its log it would be opened as it was some time ago. A log that stays behind belongs to no
/// file, and SQLite deletes it.
constexpr std::array suffixes = {"", "-wal", "-shm", Journal::suffixes[0], Journal::suffixes[1]};

std::string utcTime() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text;
  return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &parts)};
}

bool isFree(const std::filesystem::path& file) {
  for (const char* suffix : suffixes) {
    if (std::filesystem::exists(std::filesystem::symlink_status(file.native() + suffix))) return false;
  }
  return true;
}

std::filesystem::path setAside(const std::filesystem::path& file, std::span<const char* const> parts) {
  try {
    const std::string name = joined({file.native(), ".damaged-", utcTime()});
    std::filesystem::path free = name;
    for (int number = 2; !isFree(free); ++number) free = joined({name, "-", std::to_string(number)});
    for (const char* suffix : parts) {
      const std::filesystem::path part = file.native() + suffix;
      if (std::filesystem::exists(part)) std::filesystem::rename(part, free.native() + suffix);
    }
    return free;
  } catch (const std::filesystem::filesystem_error& error) {
    throw StoreError(StoreError::Kind::unavailable, "a damaged file cannot be set aside: " + error.code().message());
  }
}

}  // namespace

std::filesystem::path setAside(const std::filesystem::path& file) { return setAside(file, suffixes); }

std::filesystem::path setJournalAside(const std::filesystem::path& file) { return setAside(file, Journal::suffixes); }

}  // namespace fliprugair
