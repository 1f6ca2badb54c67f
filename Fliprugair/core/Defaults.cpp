#include "Fliprugair/core/Defaults.h"

namespace fliprugair {

void storeIfAbsent(UserDefaults& store, std::string_view key, const Value& value) {
  if (store.objectForKey(key).isNull()) store.setObject(value, key);
}

void storeNumberIfAbsent(UserDefaults& store, std::string_view key, std::int64_t number) {
  storeIfAbsent(store, key, number);
}

void storeBoolIfAbsent(UserDefaults& store, std::string_view key, bool truth) { storeIfAbsent(store, key, truth); }

void storeIfEmpty(UserDefaults& store, std::string_view key, const Value& text) {
  const Value stored = store.objectForKey(key);
  if (stored.isNull() || stored == Value("")) store.setObject(text, key);
}

}  // namespace fliprugair
