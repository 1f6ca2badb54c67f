#include "platform/UnreadValue.h"

#include <algorithm>
#include <utility>

namespace fliprugair {

namespace {

bool isEscaped(std::string_view text, std::size_t place) {
  return (place - text.find_last_not_of('\\', place - 1)) % 2 == 0;
}

std::size_t closingQuote(std::string_view text, std::size_t opening) {
  std::size_t place = text.find('"', opening + 1);
  while (place != std::string_view::npos && isEscaped(text, place)) place = text.find('"', place + 1);
  return std::min(place, text.size());
}

std::size_t depthOf(std::string_view text) {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  for (std::size_t place = 0; place < text.size(); ++place) {
    switch (text[place]) {
      case '"':
        place = closingQuote(text, place);  // from quote to quote, for texts are what a record has most of
        break;
      case '{':
      case '[':
        deepest = std::max(deepest, ++depth);
        break;
      case '}':
      case ']':
        --depth;
        break;
      default:
        break;
    }
  }
  return deepest;
}

}  // namespace

std::optional<Value> UnreadValue::of(std::string_view text, Read read) {
  const bool isContainer = text.size() > std::string_view("{}").size() && (text[0] == '{' || text[0] == '[');
  const std::size_t depth = isContainer ? depthOf(text) : 0;
  if (depth == 0 || depth > Value::deepest) return std::nullopt;
  return made(text, read, text[0] == '{' ? Value::Kind::dictionary : Value::Kind::array, depth);
}

Value UnreadValue::of(std::shared_ptr<const Source> source, Read read, std::size_t depth) {
  return made({}, read, Value::Kind::array, depth, std::move(source));
}

Value UnreadValue::ofDictionary(std::string_view text, std::size_t depth, Read read) {
  return made(text, read, Value::Kind::dictionary, depth);
}

Value UnreadValue::made(std::string_view text, Read read, Value::Kind kind, std::size_t depth,
                        std::shared_ptr<const Source> source) {
  return {Value::Form::unread, std::make_shared<const Value::Unread>(text, read, kind, depth, std::move(source))};
}

bool UnreadValue::is(const Value& value) { return value.form_ == Value::Form::unread; }

std::shared_ptr<const std::string> UnreadValue::textOf(const Value& value) {
  if (!is(value)) return nullptr;
  const Value::Unread& unread = value.unread();
  if (unread.source) return std::make_shared<const std::string>(unread.source->text());
  return {value.shared_, &unread.text};
}

const UnreadValue::Source* UnreadValue::sourceOf(const Value& value) {
  return is(value) ? value.unread().source.get() : nullptr;
}

std::size_t UnreadValue::sizeOfArray(const Value& value) {
  const Source* source = sourceOf(value);
  return source != nullptr ? source->size() : value.array().size();
}

}  // namespace fliprugair
