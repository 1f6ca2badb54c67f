#pragma once

#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/Text.h"

namespace fliprugair {

/// Dictionaries as JSON text for event values.
class MLDictionaryHelper {
 public:
  /// Null stands for the numbers that JSON has no form for: infinite ones, and what is none.
  static Text jsonStringWithDictionary(const JSONSerialization& json, const Value& dictionary, bool prettyPrintBool) {
    using Layout = JSONSerialization::Layout;
    return json.textOfAny(dictionary, prettyPrintBool ? Layout::pretty : Layout::compact);
  }
};

}  // namespace fliprugair
