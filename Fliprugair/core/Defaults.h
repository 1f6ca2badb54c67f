#pragma once

#include <string_view>

#include "Fliprugair/platform/UserDefaults.h"

/// What start-up writes for a key that a new store lacks.
namespace fliprugair {

inline void storeIfAbsent(UserDefaults& store, std::string_view key, const Value& value) {
  if (store.objectForKey(key).isNull()) store.setObject(value, key);
}

/// For text, "" counts as absent too.
inline void storeIfEmpty(UserDefaults& store, std::string_view key, const Value& text) {
  const Value stored = store.objectForKey(key);
  if (stored.isNull() || stored == Value("")) store.setObject(text, key);
}

}  // namespace fliprugair
