#include <algorithm>
#include <cstring>
#include <type_traits>

#include "platform/UnreadValue.h"
#include "platform/json/RapidJSON.h"
#include "platform/json/RapidJSONSerialization.h"

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

}  // namespace fliprugair
