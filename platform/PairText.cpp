#include "platform/PairText.h"

#include <algorithm>

#include "platform/Nesting.h"

namespace fliprugair {

PairText& PairText::add(LiteralKey key, const Value& value) {
  ended_ = ended_ || value.isNull();
  return ended_ ? *this : set(key, value);
}

PairText& PairText::addText(LiteralKey key, std::string_view text) {
  if (!ended_) text_.addPair(key.text(), text);
  return *this;
}

PairText& PairText::set(LiteralKey key, const Value& value) {
  if (value.isText()) {
    text_.addPair(key.text(), value.text());
  } else {
    text_.addKey(key.text());
    if (!text_.addPlain(value)) addOther(value);
    text_.add(',');
  }
  return *this;
}

PairText& PairText::add(LiteralKey key, PairText& pairs) {
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

/// A real, a list, a dictionary.
void PairText::addOther(Value value) {
  depth_ = std::max(depth_, depthAround(value));
  text_.add(json_.textOfAny(value));
}

std::string_view PairText::closed() {
  const bool isEmpty = text_.text().size() == 1;
  if (!isEmpty) text_.removeLast();
  text_.add('}');
  return text_.text();
}

}  // namespace fliprugair
