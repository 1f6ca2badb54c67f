#include "platform/curl/Gzip.h"

#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace fliprugair {

namespace {

struct End {
  void operator()(z_stream* stream) const { deflateEnd(stream); }
};

bool isSame(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); });
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// The text before `separator`, which is taken off `rest` with it.
std::string_view cutOff(std::string_view& rest, char separator) {
  const std::size_t end = std::min(rest.find(separator), rest.size());
  const std::string_view piece = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return trimmed(piece);
}

/// Whether "q=0" stands among the parameters of a coding, with as many zeros behind it as its author liked.
bool isRefused(std::string_view parameters) {
  while (!parameters.empty()) {
    std::string_view weight = cutOff(parameters, ';');
    if (!isSame(cutOff(weight, '='), "q")) continue;
    return !weight.empty() && weight.find_first_not_of("0.") == std::string_view::npos;
  }
  return false;
}

}  // namespace

std::optional<std::string> gzipped(std::string_view text) {
  constexpr int windowOfGzip = 15 + 16;
  constexpr int standardMemory = 8;
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, windowOfGzip, standardMemory, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    return std::nullopt;
  }
  const std::unique_ptr<z_stream, End> end(&stream);
  std::string result(text.size(), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) return std::nullopt;
  result.resize(result.size() - stream.avail_out);
  return result;
}

std::optional<bool> takesGzip(std::string_view headerLine) {
  if (!isSame(cutOff(headerLine, ':'), "Accept-Encoding")) return std::nullopt;
  while (!headerLine.empty()) {
    std::string_view coding = cutOff(headerLine, ',');
    if (isSame(cutOff(coding, ';'), "gzip")) return !isRefused(coding);
  }
  return false;
}

}  // namespace fliprugair
