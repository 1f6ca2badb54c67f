#include "platform/PairText.h"

#include <algorithm>
#include <array>

#include "platform/Digits.h"
#include "platform/Nesting.h"

namespace fliprugair {

PairText& PairText::add(Literal key, const Value& value) {
  ended_ = ended_ || value.isNull();
  return ended_ ? *this : set(key, value);
}

PairText& PairText::addLiteral(Literal key, Literal text) {
  if (!ended_) text_.addPlainPair(key.text(), text.text());
  return *this;
}

PairText& PairText::addSigned(Literal key, std::uint64_t number) {
  std::array<char, 20> digits;
  char* const end = digits.data() + digits.size();
  if (!ended_) text_.addPlainPair(key.text(), {signedDigitsBefore(end, number), end});
  return *this;
}

PairText& PairText::set(Literal key, const Value& value) {
  if (value.isText()) {
    text_.addPair(key.text(), value.text());
  } else {
    const bool isOther = value.kind() == Value::Kind::real || value.isArray() || value.isDictionary();
    const std::string other = isOther ? textOfOther(value) : std::string();  // before the key, for it may throw
    text_.addKey(key.text());
    if (!text_.addPlain(value)) text_.add(other);
    text_.add(',');
  }
  return *this;
}

PairText& PairText::add(Literal key, PairText& pairs) {
  if (ended_) return *this;
  if (pairs.depth_ >= Value::deepest) return set(key, pairs.value());
  depth_ = std::max(depth_, pairs.depth_ + 1);
  text_.addKey(key.text());
  text_.add(pairs.closed());
  text_.add(',');
  return *this;
}

Value PairText::value() {
  const std::string_view text = closed();
  return text == "{}" ? Value(Dictionary()) : json_.unread(text, depth_);
}

/// Of a real, a list, a dictionary.
std::string PairText::textOfOther(Value value) {
  depth_ = std::max(depth_, depthAround(value));
  return json_.textOfAny(value);
}

std::string_view PairText::closed() {
  const bool isEmpty = text_.text().size() == 1;
  if (!isEmpty) text_.removeLast();
  text_.add('}');
  return text_.text();
}

}  // namespace fliprugair
