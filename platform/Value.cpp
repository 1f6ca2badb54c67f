#include "Fliprugair/platform/Value.h"

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

Value::Value(const Value& other) noexcept : form_(other.form_) {
  if (isShared()) {
    std::construct_at(&shared_, other.shared_);
  } else if (form_ == Form::shortText) {
    std::construct_at(&shortText_, other.shortText_);
  } else if (form_ == Form::real) {
    real_ = other.real_;
  } else {
    integer_ = other.integer_;
  }
}

Value::Value(Value&& other) noexcept : form_(other.form_) {
  if (isShared()) {
    std::construct_at(&shared_, std::move(other.shared_));
  } else if (form_ == Form::shortText) {
    std::construct_at(&shortText_, std::move(other.shortText_));
  } else if (form_ == Form::real) {
    real_ = other.real_;
  } else {
    integer_ = other.integer_;
  }
}

Value& Value::operator=(const Value& other) noexcept { return *this = Value(other); }

Value& Value::operator=(Value&& other) noexcept {
  if (this != &other) {
    std::destroy_at(this);
    std::construct_at(this, std::move(other));
  }
  return *this;
}

Value::~Value() {
  if (isShared()) {
    std::destroy_at(&shared_);
  } else if (form_ == Form::shortText) {
    std::destroy_at(&shortText_);
  }
}

Value::Value(Form form, std::shared_ptr<const void> shared) noexcept : form_(form), shared_(std::move(shared)) {}

Value::Value(const Array& array) noexcept : Value(Form::array, array.node_) {}

Value::Value(Array&& array) noexcept : Value(Form::array, std::move(array.node_)) {}

Value::Value(const Dictionary& dictionary) noexcept : Value(Form::dictionary, dictionary.node_) {}

Value::Value(Dictionary&& dictionary) noexcept : Value(Form::dictionary, std::move(dictionary.node_)) {}

Value::Value(std::string text) { setText(std::move(text)); }

Value::Value(std::string_view text) { setText(text); }

Value::Value(const char* text) {
  if (text != nullptr) setText(std::string_view(text));
}

void Value::setText(std::string_view text) {
  if (!isPlainAscii(text)) return setText(std::string(text));
  if (isShort(text)) {
    std::construct_at(&shortText_, text);
    form_ = Form::shortText;
  } else {
    std::construct_at(&shared_, std::make_shared<const std::string>(text));
    form_ = Form::sharedText;
  }
}

void Value::setText(std::string&& text) {
  if (!isPlainAscii(text)) text = validUtf8(std::move(text));  // asked here, which spares nearly all texts two moves
  if (isShort(text)) {
    std::construct_at(&shortText_, std::string_view(text));
    form_ = Form::shortText;
  } else {
    std::construct_at(&shared_, std::make_shared<const std::string>(std::move(text)));
    form_ = Form::sharedText;
  }
}

const Value::Unread& Value::unread() const noexcept { return *static_cast<const Unread*>(shared_.get()); }

Value::Kind Value::kindOfOther() const noexcept {
  if (isUnsigned()) return Kind::integer;
  return form_ == Form::sharedText ? Kind::text : unread().kind;
}

/// What an unread value stands for; every other one itself.
Value Value::read() const { return form_ == Form::unread ? unread().read(*UnreadValue::textOf(*this)) : *this; }

bool Value::isNumber() const noexcept {
  return kind() == Kind::boolean || kind() == Kind::integer || kind() == Kind::real;
}

bool Value::boolValue() const noexcept {
  switch (kind()) {
    case Kind::boolean:
    case Kind::integer:
      return integer_ != 0;
    case Kind::real:
      return real_ != 0;
    case Kind::text:
      return boolOfText(text());
    default:
      return false;
  }
}

std::int64_t Value::integerValue() const noexcept {
  switch (kind()) {
    case Kind::boolean:
    case Kind::integer:
      return isUnsigned() ? std::numeric_limits<std::int64_t>::max() : integer_;
    case Kind::real:
      return truncated(real_);
    case Kind::text:
      return integerOfText<std::int64_t>(text());
    default:
      return 0;
  }
}

std::uint64_t Value::unsignedValue() const noexcept { return isUnsigned() ? static_cast<std::uint64_t>(integer_) : 0; }

double Value::realValue() const noexcept {
  if (form_ == Form::real) return real_;
  if (isUnsigned()) return static_cast<double>(unsignedValue());
  return isNumber() ? static_cast<double>(integerValue()) : 0.0;
}

const std::string& Value::text() const& noexcept {
  if (form_ == Form::shortText) return shortText_;
  if (form_ == Form::sharedText) return *static_cast<const std::string*>(shared_.get());
  static const std::string none;
  return none;
}

Array Value::array() const {
  if (form_ == Form::unread && kind() == Kind::array) return read().array();
  Array result;
  if (form_ == Form::array) result.node_ = std::static_pointer_cast<const Array::Node>(shared_);
  return result;
}

Dictionary Value::dictionary() const {
  if (form_ == Form::unread && kind() == Kind::dictionary) return read().dictionary();
  Dictionary result;
  if (form_ == Form::dictionary) result.node_ = std::static_pointer_cast<const Dictionary::Node>(shared_);
  return result;
}

std::size_t Value::depth() const {
  switch (form_) {
    case Form::array:
      return array().depth();
    case Form::dictionary:
      return dictionary().depth();
    case Form::unread:
      return unread().depth;
    default:
      return 0;
  }
}

bool Value::isSameObject(const Value& other) const noexcept {
  if (form_ != other.form_) return false;
  return isShared() ? shared_ == other.shared_ : *this == other;
}

}  // namespace fliprugair
