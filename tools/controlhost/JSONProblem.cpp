#include "tools/controlhost/JSONProblem.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "Fliprugair/platform/JSONSerialization.h"

namespace fliprugair::controlhost {

namespace {

/// What `text` has at `offset`, with the place: "line 3, column 7: Invalid value."
std::string at(std::size_t offset, std::string_view text, const std::string& what) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;  // npos + 1 is the beginning
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what;
}

struct Ignored {
  static void Put(char) {}
};

}  // namespace

std::string jsonProblem(std::string_view text) {
  // The reader takes it for the end, and would speak of what is not there.
  if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) {
    return at(zero, text, "a byte 0 stands here.");
  }
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
  rapidjson::Reader reader;
  rapidjson::BaseReaderHandler<> ignorant;
  const rapidjson::ParseResult result = reader.Parse<rapidjson::kParseIterativeFlag>(stream, ignorant);
  if (!result.IsError()) {
    return "arrays and objects are nested deeper than " + std::to_string(JSONSerialization::defaultDepth) + '.';
  }
  return at(result.Offset(), text, rapidjson::GetParseError_En(result.Code()));
}

std::optional<std::string> utf8Problem(std::string_view text) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  Ignored ignored;
  while (bytes.Tell() < text.size()) {
    const std::size_t begin = bytes.Tell();
    if (rapidjson::UTF8<>::Validate(bytes, ignored)) continue;
    std::array<char, 8> byte{};
    std::snprintf(byte.data(), byte.size(), "0x%02X", static_cast<unsigned>(static_cast<unsigned char>(text[begin])));
    return at(begin, text, "byte " + std::to_string(begin + 1) + " is " + byte.data() + '.');
  }
  return std::nullopt;
}

}  // namespace fliprugair::controlhost
