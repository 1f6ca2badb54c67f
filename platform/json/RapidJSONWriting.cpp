#include <cstring>

#include "platform/UnreadValue.h"
#include "platform/json/RapidJSON.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {

namespace {

using rapidjson::StringBuffer;
using Scalar = rapidjson::Writer<StringBuffer>;

constexpr std::size_t usualSize = 1024;  // bytes, of a record with room for a few texts

/// Not 0 when one of these bytes is to be escaped: a control character, a quotation mark, a backslash.
template <class Bytes>
Bytes escapedIn(Bytes bytes) {
  constexpr auto ones = static_cast<Bytes>(0x0101010101010101);
  constexpr auto tops = static_cast<Bytes>(0x8080808080808080);
  const auto below = [&](Bytes all, unsigned limit) { return all - ones * limit; };  // says so in their top bits
  return (below(bytes, ' ') | below(bytes ^ (ones * '"'), 1) | below(bytes ^ (ones * '\\'), 1)) & ~bytes & tops;
}

/// Word by word, the last one together with bytes that came before it.
template <class Word>
bool copyPlain(std::string_view text, char* to) {
  Word escaped = 0;
  const auto copyAt = [&](std::size_t place) {
    Word word = 0;
    std::memcpy(&word, text.data() + place, sizeof word);
    std::memcpy(to + place, &word, sizeof word);
    escaped |= escapedIn(word);
  };
  for (std::size_t place = 0; place + sizeof(Word) < text.size(); place += sizeof(Word)) copyAt(place);
  copyAt(text.size() - sizeof(Word));
  return escaped == 0;
}

/// False when the copy is of no use, because something in it is to be escaped.
bool copyPlain(std::string_view text, char* to) {
  if (text.size() >= sizeof(std::uint64_t)) return copyPlain<std::uint64_t>(text, to);
  if (text.size() >= sizeof(std::uint32_t)) return copyPlain<std::uint32_t>(text, to);
  return text.empty() || copyPlain<std::uint8_t>(text, to);
}

/// Writes brackets, commas and what needs no escapes, as nearly all texts do, itself; numbers and the other texts are
/// RapidJSON's. Behind each member there is a comma at first.
class Writing {
 public:
  explicit Writing(JSONSerialization::Layout layout) : isPretty_(layout == JSONSerialization::Layout::pretty) {}

  /// False when `value` holds a number that is none of JSON's.
  bool add(const Value& value);

  std::string taken() { return {buffer_.GetString(), buffer_.GetSize()}; }

 private:
  bool addArray(const Array& array);
  bool addDictionary(const Dictionary& dictionary);
  void addText(std::string_view text);
  [[gnu::cold]] void addEscaped(std::string_view text);
  bool addUnread(const Value& value);
  void add(char character) { *buffer_.Push(1) = character; }
  void breakLine();
  void open(char bracket);
  void close(char bracket, bool isEmpty);

  StringBuffer buffer_{nullptr, usualSize};
  const bool isPretty_;
  std::size_t level_ = 0;
};

bool Writing::add(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::null:
      return Scalar(buffer_).Null();
    case Value::Kind::boolean:
      return Scalar(buffer_).Bool(value.boolValue());
    case Value::Kind::integer:
      return value.isUnsigned() ? Scalar(buffer_).Uint64(value.unsignedValue())
                                : Scalar(buffer_).Int64(value.integerValue());
    case Value::Kind::real:
      return Scalar(buffer_).Double(value.realValue());
    case Value::Kind::text:
      addText(value.text());
      return true;
    case Value::Kind::array:
      return addUnread(value) || addArray(value.array());
    case Value::Kind::dictionary:
      return addUnread(value) || addDictionary(value.dictionary());
  }
  return false;
}

bool Writing::addArray(const Array& array) {
  open('[');
  for (const Value& item : array) {
    breakLine();
    if (!add(item)) return false;
    add(',');
  }
  close(']', array.empty());
  return true;
}

bool Writing::addDictionary(const Dictionary& dictionary) {
  open('{');
  for (const Dictionary::Entry& entry : dictionary.entries()) {
    breakLine();
    addText(entry.name);
    add(':');
    if (isPretty_) add(' ');
    if (!add(entry.value)) return false;
    add(',');
  }
  close('}', dictionary.empty());
  return true;
}

void Writing::addText(std::string_view text) {
  char* place = buffer_.Push(text.size() + 2);
  *place = '"';
  if (copyPlain(text, place + 1)) {
    place[text.size() + 1] = '"';
  } else {
    buffer_.Pop(text.size() + 2);
    addEscaped(text);
  }
}

void Writing::addEscaped(std::string_view text) {
  Scalar(buffer_).String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

bool Writing::addUnread(const Value& value) {
  if (isPretty_ || !UnreadValue::is(value)) return false;
  const auto text = UnreadValue::textOf(value);
  std::memcpy(buffer_.Push(text->size()), text->data(), text->size());
  return true;
}

void Writing::breakLine() {
  if (!isPretty_) return;
  add('\n');
  rapidjson::PutN(buffer_, ' ', 4 * level_);
}

void Writing::open(char bracket) {
  add(bracket);
  ++level_;
}

void Writing::close(char bracket, bool isEmpty) {
  --level_;
  if (!isEmpty) {
    buffer_.Pop(1);  // the last member's comma
    breakLine();
  }
  add(bracket);
}

}  // namespace

std::optional<std::string> RapidJSONSerialization::text(const Value& value, Layout layout) const {
  Writing writing(layout);
  if (!writing.add(value)) return std::nullopt;
  return writing.taken();
}

}  // namespace fliprugair
