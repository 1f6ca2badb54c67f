#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/Value.h"
#include "platform/JSONText.h"
#include "platform/Literal.h"

namespace fliprugair {

/// As PairList, with the same end at the first absent value, for a dictionary that is made to be sent: it stands as the
/// text that it travels as from the beginning, for hardly anybody looks into it. Null stands for numbers that are none
/// of JSON's.
class PairText {
 public:
  explicit PairText(const JSONSerialization& json) : json_(json) { text_.add('{'); }

  PairText& add(Literal key, const Value& value);
  /// Nothing can be added to `pairs` any more.
  PairText& add(Literal key, PairText& pairs);
  PairText& addLiteral(Literal key, Literal text);
  /// The text that signedText makes of `number`.
  PairText& addSigned(Literal key, std::uint64_t number);

  /// Adds a pair behind the list, whether that has ended or not.
  PairText& set(Literal key, const Value& value);

  /// Whether whatever is added now is left out.
  bool hasEnded() const { return ended_; }

  /// A dictionary. Nothing can be added any more.
  Value value();

 private:
  std::string textOfOther(Value value);
  std::string_view closed();

  const JSONSerialization& json_;
  JSONText text_;  ///< with a comma behind each pair
  std::size_t depth_ = 1;
  bool ended_ = false;
};

}  // namespace fliprugair
