#include "tools/controlhost/HttpHeaders.h"

#include <algorithm>
#include <cctype>

namespace fliprugair::controlhost {

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

std::string listed(const std::vector<std::string>& values) {
  std::string text;
  for (const std::string& value : values) text += (text.empty() ? "" : ", ") + value;
  return text;
}

}  // namespace fliprugair::controlhost
