#include "platform/sqlite/IdentityCopy.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <system_error>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/sqlite/Checksum.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/FileBytes.h"

namespace fliprugair {

namespace {

constexpr std::string_view prefix = "com.marlune.MarluneTracker.";

/// No key that changes with each event: this file is written anew with every change.
constexpr std::array<std::string_view, 26> names = {
    "deviceId",
    "origDeviceId",
    "sendInitial",
    "firstInitReceived",
    "appId",
    "currency",
    "attribution",
    "requestAttribution",
    "attributionWait",
    "initialIdentityLink",
    "sessionTracking",
    "mlinitWait",
    "mltrackerWait",
    "lastMLInitSent",
    "iAdAttributionAttempts",
    "iAdAttributionWait",
    "iAdRetryWait",
    "sendIdUpdates",
    "idfa",
    "idfaBlacklisted",
    "idfvBlacklisted",
    "blacklistedEventNames",
    "watchProperties",
    "pairedAppleWatches",
    "app_limit_tracking",
    "device_limit_tracking",
};

std::string lineOf(const std::string& text) { return std::to_string(Checksum().add(text).value()) + "\n"; }

}  // namespace

bool IdentityCopy::holds(std::string_view key) {
  return key.starts_with(prefix) && std::find(names.begin(), names.end(), key.substr(prefix.size())) != names.end();
}

std::string_view IdentityCopy::identifier() { return "com.marlune.MarluneTracker.deviceId"; }

Dictionary IdentityCopy::read() const {
  try {
    const std::string bytes = bytesOfFile(path_.string());
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    const std::string text = bytes.substr(std::min(end + 1, bytes.size()));
    if (bytes.substr(0, end) + "\n" != lineOf(text)) return {};
    return RapidJSONSerialization().value(text).value_or(Value()).dictionary();
  } catch (const StoreError&) {
    return {};
  }
}

void IdentityCopy::write(const Dictionary& values) const {
  const std::string text = RapidJSONSerialization().textOfAny(values);
  const std::string bytes = lineOf(text) + text;
  const std::string fresh = path_.string() + ".new";
  const FileDescriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
  const bool isWritten = file && ::write(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  // Otherwise a power cut could leave the new name with nothing under it.
  const bool isSafe = isWritten && (durability_ == StoreDurability::process || ::fsync(file.get()) == 0);
  if (!isSafe || std::rename(fresh.c_str(), path_.c_str()) != 0) {
    throw StoreError(StoreError::Kind::unavailable,
                     path_.filename().string() + ": " + std::system_category().message(errno));
  }
}

}  // namespace fliprugair
