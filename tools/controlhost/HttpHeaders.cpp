#include "tools/controlhost/HttpHeaders.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace fliprugair::controlhost {

namespace {

std::string bytesOfLatin1(std::string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto code = static_cast<unsigned char>(text[at]);
    const bool isPair = code >= 0x80U && at + 1 < text.size();
    bytes +=
        isPair ? static_cast<char>((code & 3U) << 6U | (static_cast<unsigned char>(text[++at]) & 0x3FU)) : text[at];
  }
  return bytes;
}

}  // namespace

bool sameName(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); });
}

std::string headerOf(const HttpHeaders& headers, std::string_view name) {
  const auto found =
      std::find_if(headers.begin(), headers.end(), [&](const auto& header) { return sameName(header.first, name); });
  return found == headers.end() ? "" : found->second;
}

std::vector<std::string> headersOf(const HttpHeaders& headers, std::string_view name) {
  std::vector<std::string> values;
  for (const auto& [one, value] : headers) {
    if (sameName(one, name)) values.push_back(value);
  }
  return values;
}

Array jsonOf(const HttpHeaders& headers) {
  std::vector<Value> list;
  for (const auto& [name, value] : headers) {
    list.push_back(isUTF8(value) ? Array{name, value} : Array{name, latin1(value), "latin-1"});
  }
  return Array(std::move(list));
}

HttpHeaders headersIn(const Array& json) {
  HttpHeaders headers;
  for (const Value& header : json) {
    const Array parts = header.array();
    if (parts.size() < 2) continue;
    headers.emplace_back(parts[0].text(), parts.size() == 2 ? parts[1].text() : bytesOfLatin1(parts[1].text()));
  }
  return headers;
}

bool isUTF8(const std::string& bytes) { return Value(bytes).text() == bytes; }

std::string latin1(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    if (code < 0x80U) {
      text += byte;
    } else {
      text += static_cast<char>(0xC0U | code >> 6U);
      text += static_cast<char>(0x80U | (code & 0x3FU));
    }
  }
  return text;
}

std::string listed(const std::vector<std::string>& values) {
  std::string text;
  for (const std::string& value : values) text += (text.empty() ? "" : ", ") + value;
  return text;
}

}  // namespace fliprugair::controlhost
