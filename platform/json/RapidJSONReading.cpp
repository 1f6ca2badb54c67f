#include <algorithm>
#include <charconv>
#include <locale>
#include <sstream>
#include <system_error>
#include <vector>

#include "Fliprugair/platform/Text.h"
#include "platform/UnreadValue.h"
#include "platform/json/RapidJSON.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {

namespace {

/// An exponent as it stands in a number; `most` for what is longer than any text.
std::int64_t exponentOf(std::string_view digits) {
  constexpr std::int64_t most = 1'000'000'000'000'000;
  const bool isNegative = !digits.empty() && digits.front() == '-';
  std::int64_t exponent = 0;
  for (const char character : digits) {
    if (character >= '0' && character <= '9') exponent = std::min(exponent * 10 + (character - '0'), most);
  }
  return isNegative ? -exponent : exponent;
}

/// The power of ten of a number's first digit other than 0: 2 of 150, -1 of 0.15. Nothing of a zero.
std::optional<std::int64_t> magnitudeOf(std::string_view number) {
  const std::size_t end = std::min(number.find_first_of("eE"), number.size());
  const std::string_view digits = number.substr(0, end);
  const std::size_t first = digits.find_first_of("123456789");
  if (first == std::string_view::npos) return std::nullopt;
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const auto place = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
  return (first < point ? place - 1 : place) + exponentOf(number.substr(std::min(end + 1, number.size())));
}

/// Reads a real as the nearest that there is. False when it is beyond all of them, on either side.
bool readReal(std::string_view text, double& real) {
#ifdef __cpp_lib_to_chars
  return std::from_chars(text.data(), text.data() + text.size(), real).ec == std::errc();
#else
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  return static_cast<bool>(stream >> real);
#endif
}

/// An integer of 64 bits, with a sign or without; none when `text` is no such integer.
std::optional<Value> integerOf(std::string_view text) {
  const auto isReadAs = [&](auto& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
  };
  std::int64_t number = 0;
  if (isReadAs(number)) return number;
  std::uint64_t unsignedNumber = 0;
  if (isReadAs(unsignedNumber)) return unsignedNumber;
  return std::nullopt;
}

/// Null when it is too big. RapidJSON itself makes something else of reals at the ends of their range than they are,
/// and looks beyond its tables for them.
Value numberOf(std::string_view text) {
  if (auto integer = integerOf(text)) return *std::move(integer);
  const std::int64_t magnitude = magnitudeOf(text).value_or(0);
  double real = 0;
  if (readReal(text, real)) return real;
  if (magnitude > 0) return {};
  return text.front() == '-' ? -0.0 : 0.0;
}

/// Receives the reader's events and keeps the containers that are still open.
class ValueBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueBuilder> {
 public:
  explicit ValueBuilder(std::size_t depth) : depth_(depth) {}

  Value result() && { return std::move(result_); }

  bool Null() { return take(Value()); }
  bool Bool(bool truth) { return take(truth); }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
    Value number = numberOf(std::string_view(text, length));
    return !number.isNull() && take(std::move(number));
  }
  bool String(const char* text, rapidjson::SizeType length, bool) { return take(std::string_view(text, length)); }
  bool StartObject() { return open(true); }
  bool StartArray() { return open(false); }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    open_.back().key.assign(text, length);
    return true;
  }
  bool EndObject(rapidjson::SizeType) {
    Dictionary dictionary(std::move(open_.back().pairs));
    open_.pop_back();
    return take(std::move(dictionary));
  }
  bool EndArray(rapidjson::SizeType) {
    Array array(std::move(open_.back().items));
    open_.pop_back();
    return take(std::move(array));
  }

 private:
  struct Open {
    bool isObject;
    std::string key;
    std::vector<std::pair<std::string, Value>> pairs;
    std::vector<Value> items;
  };

  bool open(bool isObject) {
    if (open_.size() == depth_) return false;
    open_.push_back({isObject, {}, {}, {}});
    return true;
  }

  bool take(Value value) {
    if (open_.empty()) {
      result_ = std::move(value);
    } else if (open_.back().isObject) {
      open_.back().pairs.emplace_back(std::move(open_.back().key), std::move(value));
    } else {
      open_.back().items.push_back(std::move(value));
    }
    return true;
  }

  std::size_t depth_;
  std::vector<Open> open_;
  Value result_;
};

}  // namespace

std::optional<Value> RapidJSONSerialization::value(std::string_view text, std::size_t depth) const {
  // The reader takes a NUL for the end; JSON has none outside its escapes.
  if (text.find('\0') != std::string_view::npos) return std::nullopt;
  const std::string valid = validUtf8(std::string(text));
  rapidjson::MemoryStream bytes(valid.data(), valid.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
  rapidjson::Reader reader;
  ValueBuilder builder(std::min(depth, Value::deepest));
  constexpr unsigned flags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
  if (reader.Parse<flags>(stream, builder).IsError()) return std::nullopt;
  return std::move(builder).result();
}

Value RapidJSONSerialization::unread(std::string_view text, std::size_t depth) const {
  return UnreadValue::ofDictionary(
      text, depth, [](std::string_view stored) { return RapidJSONSerialization().value(stored).value_or(Value()); });
}

}  // namespace fliprugair
