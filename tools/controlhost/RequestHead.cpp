#include "tools/controlhost/RequestHead.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <set>
#include <utility>

namespace fliprugair::controlhost {

namespace {

bool isToken(std::string_view text) {
  constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char one) {
    return std::isalnum(static_cast<unsigned char>(one)) != 0 || marks.find(one) != std::string_view::npos;
  });
}

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  return begin == std::string_view::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

bool isDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Takes a line, without its end, off `bytes`. None when there is none that could stand in a head.
std::optional<std::string_view> takenLine(std::string_view& bytes) {
  const std::size_t end = bytes.find("\r\n");
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view line = bytes.substr(0, end);
  bytes.remove_prefix(end + 2);
  if (line.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos) return std::nullopt;
  return line;
}

HttpProblem lengthProblem(const std::vector<std::string>& lengths, std::size_t longest) {
  if (!std::all_of(lengths.begin(), lengths.end(), isDigits)) {
    return {400, "The header Content-Length is \"" + listed(lengths) + "\", and should be a number of bytes.",
            "Say in digits how long the body is."};
  }
  if (std::set<std::string>(lengths.begin(), lengths.end()).size() > 1) {
    return {400, "The header Content-Length came with different values: " + listed(lengths) + '.', "Send it once."};
  }
  const std::string& length = lengths.front();
  std::size_t number = 0;
  const auto error = std::from_chars(length.data(), length.data() + length.size(), number).ec;
  return error == std::errc() && number <= longest ? HttpProblem() : httpProblem(413);
}

}  // namespace

bool RequestHead::hasBody() const {
  const std::string length = headerOf(headers, "Content-Length");
  return !headerOf(headers, "Transfer-Encoding").empty() || length.find_first_not_of('0') != std::string::npos;
}

std::optional<RequestHead> requestHeadOf(std::string_view bytes) {
  const auto first = takenLine(bytes);
  const std::size_t one = first ? first->find(' ') : std::string_view::npos;
  const std::size_t two = first ? first->rfind(' ') : std::string_view::npos;
  if (one == two) return std::nullopt;
  RequestHead head{std::string(first->substr(0, one)), std::string(first->substr(one + 1, two - one - 1)), {}};
  const std::string_view version = first->substr(two + 1);
  const bool isOne = version == "HTTP/1.1" || version == "HTTP/1.0";
  if (!isOne || !isToken(head.method) || head.target.empty() || head.target.find(' ') != std::string::npos) {
    return std::nullopt;
  }
  for (auto line = takenLine(bytes); line; line = takenLine(bytes)) {
    if (line->empty()) return bytes.empty() ? std::optional(std::move(head)) : std::nullopt;
    const std::size_t colon = line->find(':');
    if (colon == std::string_view::npos || !isToken(line->substr(0, colon))) return std::nullopt;
    head.headers.emplace_back(line->substr(0, colon), trimmed(line->substr(colon + 1)));
  }
  return std::nullopt;
}

HttpProblem framingProblem(const RequestHead& head, std::size_t longest) {
  const std::vector<std::string> lengths = headersOf(head.headers, "Content-Length");
  const std::vector<std::string> codings = headersOf(head.headers, "Transfer-Encoding");
  if (!lengths.empty() && !codings.empty()) {
    return {400, "The headers Content-Length and Transfer-Encoding came both.", "Send one of them."};
  }
  if (!codings.empty() && !(codings.size() == 1 && sameName(codings.front(), "chunked"))) return httpProblem(501);
  return lengths.empty() ? HttpProblem() : lengthProblem(lengths, longest);
}

}  // namespace fliprugair::controlhost
