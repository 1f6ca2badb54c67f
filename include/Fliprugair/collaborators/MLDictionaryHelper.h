#pragma once

#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/Text.h"

namespace fliprugair {

/// Dictionaries as JSON text for event values.
class MLDictionaryHelper {
 public:
  /// Null when the dictionary has no JSON form.
  static Text jsonStringWithDictionary(const JSONSerialization& json, const Value& dictionary, bool prettyPrintBool) {
    using Layout = JSONSerialization::Layout;
    return Text(json.text(dictionary, prettyPrintBool ? Layout::pretty : Layout::compact));
  }
};

}  // namespace fliprugair
