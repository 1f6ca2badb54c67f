// Apart from what is compiled to be quick: whole values are hardly ever compared.

#include "Fliprugair/platform/Value.h"
#include "platform/UnreadValue.h"

namespace fliprugair {

bool operator==(const Value& left, const Value& right) {
  if (left.kind() != right.kind()) return false;
  if (UnreadValue::is(left) || UnreadValue::is(right)) return left.isSameObject(right) || left.read() == right.read();
  switch (left.kind()) {
    case Value::Kind::null:
      return true;
    case Value::Kind::boolean:
      return left.boolValue() == right.boolValue();
    case Value::Kind::integer:
      return left.integerValue() == right.integerValue() && left.unsignedValue() == right.unsignedValue();
    case Value::Kind::real:
      return left.realValue() == right.realValue();
    case Value::Kind::text:
      return left.text() == right.text();
    case Value::Kind::array:
      return left.array() == right.array();
    case Value::Kind::dictionary:
      return left.dictionary() == right.dictionary();
  }
  return false;
}

bool operator==(const Array& left, const Array& right) {
  if (left.node_ == right.node_) return true;
  if (left.size() != right.size()) return false;
  for (std::size_t index = 0; index < left.size(); ++index) {
    if (!(left[index] == right[index])) return false;
  }
  return true;
}

bool operator==(const Dictionary& left, const Dictionary& right) {
  if (left.node_ == right.node_) return true;
  if (left.size() != right.size()) return false;
  const auto leftEntries = left.entries();
  const auto rightEntries = right.entries();
  auto other = rightEntries.begin();
  for (const Dictionary::Entry& entry : leftEntries) {
    if (entry.name != other->name || !(entry.value == other->value)) return false;
    ++other;
  }
  return true;
}

}  // namespace fliprugair
