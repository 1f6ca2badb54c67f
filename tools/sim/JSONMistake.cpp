#include "tools/sim/JSONMistake.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>

#include "Fliprugair/platform/Text.h"

namespace fliprugair::sim {

namespace {

std::string atColumn(std::string_view before) {
  const auto begins = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; };
  return " at column " + std::to_string(std::ranges::count_if(before, begins) + 1);
}

}  // namespace

std::string jsonMistake(std::string_view line) {
  if (const std::size_t place = line.find('\0'); place != std::string_view::npos) {
    return "there is a NUL" + atColumn(line.substr(0, place));
  }
  const std::string text = validUtf8(std::string(line));
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::Reader reader;
  rapidjson::BaseReaderHandler<> ignored;
  reader.Parse<rapidjson::kParseIterativeFlag>(bytes, ignored);
  if (!reader.HasParseError()) return "it is nested too deeply";
  std::string reason = rapidjson::GetParseError_En(reader.GetParseErrorCode());
  if (reason.ends_with('.')) reason.pop_back();
  return reason + atColumn(std::string_view(text).substr(0, reader.GetErrorOffset()));
}

}  // namespace fliprugair::sim
