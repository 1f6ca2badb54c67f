#pragma once

#include <cstdint>
#include <string_view>

#include "Fliprugair/platform/UserDefaults.h"

/// What start-up writes for a key that a new store lacks.
namespace fliprugair {

void storeIfAbsent(UserDefaults& store, std::string_view key, const Value& value);
void storeNumberIfAbsent(UserDefaults& store, std::string_view key, std::int64_t number);
void storeBoolIfAbsent(UserDefaults& store, std::string_view key, bool truth);

/// For text, "" counts as absent too.
void storeIfEmpty(UserDefaults& store, std::string_view key, const Value& text);

}  // namespace fliprugair
