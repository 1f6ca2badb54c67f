#pragma once

#include <cstdint>
#include <optional>

#include "platform/sqlite/Row.h"

namespace fliprugair {

/// Up to where the store's file has what stands in the journal. It is a row of its own in the file, under a number that
/// no other has, and is written together with what it says.
struct JournalMark {
  static constexpr std::int64_t rowNumber = 0;

  std::int64_t life = 0;  ///< of the store; a number of chance, so that no other file's journal is taken for this one's
  std::int64_t number = 0;  ///< of the newest frame that the file has; the first is 1

  friend bool operator==(const JournalMark&, const JournalMark&) = default;

  Row row() const { return {rowNumber, 0, 0, "journal", Array{life, number}}; }

  /// None when a value is no mark.
  static std::optional<JournalMark> of(const Value& value) {
    if (!value.isArray()) return std::nullopt;
    const Array array = value.array();
    const bool isMark =
        array.size() == 2 && array[0].kind() == Value::Kind::integer && array[1].kind() == Value::Kind::integer;
    return isMark ? std::optional(JournalMark{array[0].integerValue(), array[1].integerValue()}) : std::nullopt;
  }
};

}  // namespace fliprugair
