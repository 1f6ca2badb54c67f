#include "platform/json/RapidJSONSerialization.h"

// A host app may have RapidJSON with other settings.
#define RAPIDJSON_NAMESPACE fliprugair::rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN namespace fliprugair::rapidjson {
#define RAPIDJSON_NAMESPACE_END }
#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <locale>
#include <sstream>
#include <system_error>
#include <type_traits>
#include <vector>

#include "Fliprugair/platform/Text.h"
#include "platform/UnreadValue.h"

namespace fliprugair {

namespace {

constexpr std::size_t usualSize = 1024;  // bytes, of a record with room for a few texts

/// Whether no byte of `text` is to be escaped: a control character, a quotation mark, a backslash. Eight bytes are
/// looked at in one step, of the last ones some twice.
bool isPlain(std::string_view text) {
  constexpr std::uint64_t ones = 0x0101010101010101;
  constexpr std::uint64_t tops = 0x8080808080808080;
  const auto hasZero = [](std::uint64_t bytes) { return ((bytes - ones) & ~bytes & tops) != 0; };
  const auto isPlainAt = [&](std::size_t position) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text.data() + position, sizeof bytes);
    const bool hasControl = ((bytes - ones * 0x20) & ~bytes & tops) != 0;
    return !hasControl && !hasZero(bytes ^ (ones * '"')) && !hasZero(bytes ^ (ones * '\\'));
  };
  if (text.size() < sizeof(std::uint64_t)) {
    return std::all_of(text.begin(), text.end(), [](char character) {
      return static_cast<unsigned char>(character) >= 0x20 && character != '"' && character != '\\';
    });
  }
  for (std::size_t position = 0; position + sizeof(std::uint64_t) < text.size(); position += sizeof(std::uint64_t)) {
    if (!isPlainAt(position)) return false;
  }
  return isPlainAt(text.size() - sizeof(std::uint64_t));
}

/// Copies texts that need no escapes, as nearly all do; RapidJSON's own writer looks at each character by itself.
class CompactWriter : public rapidjson::Writer<rapidjson::StringBuffer> {
 public:
  using Writer::Writer;

  bool Key(const char* text, rapidjson::SizeType length) { return String(text, length); }
  bool String(const char* text, rapidjson::SizeType length) {
    if (!isPlain({text, length})) return Writer::String(text, length);
    Prefix(rapidjson::kStringType);
    char* place = os_->Push(length + 2);
    *place++ = '"';
    place = std::copy_n(text, length, place);
    *place = '"';
    return EndValue(true);
  }
  bool Compact(std::string_view text) {
    Prefix(rapidjson::kObjectType);
    std::copy(text.begin(), text.end(), os_->Push(text.size()));
    return EndValue(true);
  }
};

template <class Writer>
bool write(Writer& writer, const Value& value) {
  if constexpr (std::is_same_v<Writer, CompactWriter>) {
    if (const std::string* text = UnreadValue::textOf(value)) return writer.Compact(*text);
  }
  switch (value.kind()) {
    case Value::Kind::null:
      return writer.Null();
    case Value::Kind::boolean:
      return writer.Bool(value.boolValue());
    case Value::Kind::integer:
      return value.isUnsigned() ? writer.Uint64(value.unsignedValue()) : writer.Int64(value.integerValue());
    case Value::Kind::real:
      return writer.Double(value.realValue());
    case Value::Kind::text:
      return writer.String(value.text().data(), static_cast<rapidjson::SizeType>(value.text().size()));
    case Value::Kind::array: {
      bool good = writer.StartArray();
      for (const Value& item : value.array()) good = good && write(writer, item);
      return good && writer.EndArray();
    }
    case Value::Kind::dictionary: {
      bool good = writer.StartObject();
      for (const Dictionary::Entry& entry : value.dictionary().entries()) {
        good = good && writer.Key(entry.name.data(), static_cast<rapidjson::SizeType>(entry.name.size()));
        good = good && write(writer, entry.value);
      }
      return good && writer.EndObject();
    }
  }
  return false;
}

/// What the reader makes of a number that stands alone.
struct NumberHandler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, NumberHandler> {
  bool Int64(std::int64_t read) { return take(read); }
  bool Int(int read) { return take(read); }
  bool Uint(unsigned read) { return take(read); }
  bool Uint64(std::uint64_t read) { return take(read); }
  bool Double(double read) { return take(read); }
  bool take(Value read) {
    number = std::move(read);
    return true;
  }

  Value number;
};

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

/// Null when it is too big. RapidJSON reads integers; of reals at the ends of their range it makes something else than
/// they are, and looks beyond its tables for them.
Value numberOf(std::string_view text) {
  constexpr std::int64_t longestInteger = 19;
  const std::int64_t magnitude = magnitudeOf(text).value_or(0);
  const bool isInteger = text.find_first_of(".eE") == std::string_view::npos && magnitude <= longestInteger;
  if (isInteger) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    rapidjson::Reader reader;
    NumberHandler handler;
    if (reader.Parse(stream, handler).IsError()) return {};
    if (handler.number.kind() == Value::Kind::integer) return std::move(handler.number);
  }
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

std::optional<std::string> RapidJSONSerialization::text(const Value& value, Layout layout) const {
  rapidjson::StringBuffer buffer(nullptr, usualSize);
  bool good = false;
  if (layout == Layout::pretty) {
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    good = write(writer, value);
  } else {
    CompactWriter writer(buffer);
    good = write(writer, value);
  }
  if (!good) return std::nullopt;
  return std::string(buffer.GetString(), buffer.GetSize());
}

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

}  // namespace fliprugair
