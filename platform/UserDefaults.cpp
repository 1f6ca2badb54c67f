#include "Fliprugair/platform/UserDefaults.h"

namespace fliprugair {

bool UserDefaults::boolForKey(std::string_view key) const { return objectForKey(key).boolValue(); }

std::int64_t UserDefaults::integerForKey(std::string_view key) const { return objectForKey(key).integerValue(); }

std::optional<Array> UserDefaults::arrayForKey(std::string_view key) const {
  const Value object = objectForKey(key);
  return object.isArray() ? std::optional(object.array()) : std::nullopt;
}

void UserDefaults::setBool(bool truth, std::string_view key) { setObject(truth, key); }

void UserDefaults::setInteger(std::uint64_t number, std::string_view key) {
  setObject(static_cast<std::int64_t>(number), key);
}

void UserDefaults::removeObject(std::string_view key) { setObject(nullptr, key); }

}  // namespace fliprugair
