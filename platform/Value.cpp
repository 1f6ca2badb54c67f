#include "Fliprugair/platform/Value.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "Fliprugair/platform/Text.h"
#include "platform/PlainAscii.h"
#include "platform/UnreadValue.h"

namespace fliprugair {

namespace {

std::int64_t truncated(double number) {
  constexpr double bound = 9223372036854775808.0;  // 2 to the 63rd, exactly representable
  if (std::isnan(number)) return 0;
  if (number >= bound) return std::numeric_limits<std::int64_t>::max();
  if (number < -bound) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

/// Whether a string has room for `text` in place; to share it would cost more than to copy it.
bool isShort(std::string_view text) { return text.size() <= std::string().capacity(); }

}  // namespace

Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;

Value& Value::operator=(const Value& other) { return *this = Value(other); }

// By hand, for the standard library's has code for each pair of kinds.
Value& Value::operator=(Value&& other) noexcept {
  if (this != &other) {
    std::destroy_at(&content_);
    std::construct_at(&content_, std::move(other.content_));
  }
  return *this;
}

Value::~Value() = default;

Value::Value(Array array) : content_(std::move(array)) {}

Value::Value(Dictionary dictionary) : content_(std::move(dictionary)) {}

Value::Value(std::string text) : content_(contentOf(std::move(text))) {}

Value::Value(std::string_view text) : content_(contentOf(text)) {}

Value::Value(const char* text) : content_(text == nullptr ? Content() : contentOf(std::string_view(text))) {}

Value::Content Value::contentOf(std::string_view text) {
  if (isShort(text) && isPlainAscii(text)) return Content(std::in_place_type<ShortText>, text);
  return contentOf(std::string(text));
}

Value::Content Value::contentOf(std::string&& text) {
  if (!isPlainAscii(text)) text = validUtf8(std::move(text));  // asked here, which spares nearly all texts two moves
  if (isShort(text)) return Content(std::in_place_type<ShortText>, std::string_view(text));
  return Content(std::in_place_type<SharedText>, std::make_shared<const std::string>(std::move(text)));
}

Value::Kind Value::kindOfOther() const {
  if (isUnsigned()) return Kind::integer;
  return std::holds_alternative<SharedText>(content_) ? Kind::text : std::get<SharedUnread>(content_)->kind;
}

/// What an unread value stands for; every other one itself.
Value Value::read() const {
  const auto* unread = std::get_if<SharedUnread>(&content_);
  return unread == nullptr ? *this : (*unread)->read(*UnreadValue::textOf(*this));
}

bool Value::isNumber() const { return kind() == Kind::boolean || kind() == Kind::integer || kind() == Kind::real; }

bool Value::boolValue() const {
  switch (kind()) {
    case Kind::boolean:
      return std::get<bool>(content_);
    case Kind::integer:
      return isUnsigned() || std::get<std::int64_t>(content_) != 0;
    case Kind::real:
      return std::get<double>(content_) != 0;
    case Kind::text:
      return boolOfText(text());
    default:
      return false;
  }
}

std::int64_t Value::integerValue() const {
  switch (kind()) {
    case Kind::boolean:
      return std::get<bool>(content_) ? 1 : 0;
    case Kind::integer:
      return isUnsigned() ? std::numeric_limits<std::int64_t>::max() : std::get<std::int64_t>(content_);
    case Kind::real:
      return truncated(std::get<double>(content_));
    case Kind::text:
      return integerOfText<std::int64_t>(text());
    default:
      return 0;
  }
}

std::uint64_t Value::unsignedValue() const { return isUnsigned() ? std::get<std::uint64_t>(content_) : 0; }

double Value::realValue() const {
  if (const auto* real = std::get_if<double>(&content_)) return *real;
  if (isUnsigned()) return static_cast<double>(unsignedValue());
  return isNumber() ? static_cast<double>(integerValue()) : 0.0;
}

const std::string& Value::text() const& {
  static const std::string none;
  if (const auto* text = std::get_if<ShortText>(&content_)) return *text;
  const auto* shared = std::get_if<SharedText>(&content_);
  return shared != nullptr ? **shared : none;
}

Array Value::array() const {
  if (const auto* array = std::get_if<Array>(&content_)) return *array;
  return kind() == Kind::array ? read().array() : Array();
}

Dictionary Value::dictionary() const {
  if (const auto* dictionary = std::get_if<Dictionary>(&content_)) return *dictionary;
  return kind() == Kind::dictionary ? read().dictionary() : Dictionary();
}

std::size_t Value::depth() const {
  if (const auto* array = std::get_if<Array>(&content_)) return array->depth();
  if (const auto* dictionary = std::get_if<Dictionary>(&content_)) return dictionary->depth();
  if (const auto* unread = std::get_if<SharedUnread>(&content_)) return (*unread)->depth;
  return 0;
}

bool Value::isSameObject(const Value& other) const {
  if (content_.index() != other.content_.index()) return false;
  if (const auto* array = std::get_if<Array>(&content_)) return array->node_ == std::get<Array>(other.content_).node_;
  if (const auto* dictionary = std::get_if<Dictionary>(&content_)) {
    return dictionary->node_ == std::get<Dictionary>(other.content_).node_;
  }
  if (const auto* text = std::get_if<SharedText>(&content_)) return *text == std::get<SharedText>(other.content_);
  if (const auto* unread = std::get_if<SharedUnread>(&content_)) {
    return *unread == std::get<SharedUnread>(other.content_);
  }
  return *this == other;
}

}  // namespace fliprugair
