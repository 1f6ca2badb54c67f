#include "platform/JSONText.h"
#include "platform/UnreadValue.h"
#include "platform/json/RapidJSON.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {

namespace {

/// Brackets, commas and what JSONText knows; reals are RapidJSON's. Behind each member there is a comma at first.
class Writing {
 public:
  explicit Writing(JSONSerialization::Layout layout) : isPretty_(layout == JSONSerialization::Layout::pretty) {}

  /// False when `value` holds a number that is none of JSON's.
  bool add(const Value& value);

  std::string_view text() const { return text_.text(); }

 private:
  bool addReal(double real);
  bool addArray(const Array& array);
  bool addDictionary(const Dictionary& dictionary);
  bool addUnread(const Value& value);
  void breakLine();
  void open(char bracket);
  void close(char bracket, bool isEmpty);

  JSONText text_;
  const bool isPretty_;
  std::size_t level_ = 0;
};

bool Writing::add(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::real:
      return addReal(value.realValue());
    case Value::Kind::array:
      return addUnread(value) || addArray(value.array());
    case Value::Kind::dictionary:
      return addUnread(value) || addDictionary(value.dictionary());
    default:
      return text_.addPlain(value);
  }
}

bool Writing::addReal(double real) {
  rapidjson::StringBuffer buffer;
  if (!rapidjson::Writer<rapidjson::StringBuffer>(buffer).Double(real)) return false;
  text_.add({buffer.GetString(), buffer.GetSize()});
  return true;
}

bool Writing::addArray(const Array& array) {
  open('[');
  for (const Value& item : array) {
    breakLine();
    if (!add(item)) return false;
    text_.add(',');
  }
  close(']', array.empty());
  return true;
}

bool Writing::addDictionary(const Dictionary& dictionary) {
  open('{');
  for (const Dictionary::Entry& entry : dictionary.entries()) {
    breakLine();
    text_.addText(entry.name);
    text_.add(':');
    if (isPretty_) text_.add(' ');
    if (!add(entry.value)) return false;
    text_.add(',');
  }
  close('}', dictionary.empty());
  return true;
}

bool Writing::addUnread(const Value& value) {
  if (isPretty_ || !UnreadValue::is(value)) return false;
  text_.add(*UnreadValue::textOf(value));
  return true;
}

void Writing::breakLine() {
  if (!isPretty_) return;
  text_.add('\n');
  for (std::size_t blanks = 4 * level_; blanks > 0; --blanks) text_.add(' ');
}

void Writing::open(char bracket) {
  text_.add(bracket);
  ++level_;
}

void Writing::close(char bracket, bool isEmpty) {
  --level_;
  if (!isEmpty) {
    text_.removeLast();  // the last member's comma
    breakLine();
  }
  text_.add(bracket);
}

}  // namespace

std::optional<std::string> RapidJSONSerialization::text(const Value& value, Layout layout) const {
  Writing writing(layout);
  if (!writing.add(value)) return std::nullopt;
  return std::string(writing.text());
}

}  // namespace fliprugair
