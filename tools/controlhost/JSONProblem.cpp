#include "tools/controlhost/JSONProblem.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>

#include "Fliprugair/platform/JSONSerialization.h"

namespace fliprugair::controlhost {

std::string jsonProblem(std::string_view text) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
  rapidjson::Reader reader;
  rapidjson::BaseReaderHandler<> ignorant;
  const rapidjson::ParseResult result = reader.Parse<rapidjson::kParseIterativeFlag>(stream, ignorant);
  if (!result.IsError()) {
    return "arrays and objects are nested deeper than " + std::to_string(JSONSerialization::defaultDepth) + '.';
  }
  const std::string_view before = text.substr(0, std::min(result.Offset(), text.size()));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;  // npos + 1 is the beginning
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " +
         rapidjson::GetParseError_En(result.Code());
}

}  // namespace fliprugair::controlhost
