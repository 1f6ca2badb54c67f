#include "tools/controlhost/RecordText.h"

namespace fliprugair::controlhost {

namespace {

std::string_view withoutBlanks(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(blanks);
  return begin == std::string_view::npos ? "" : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

/// The place of the comma or bracket that ends the value at `at`.
std::size_t endOfValue(std::string_view text, std::size_t at) {
  int depth = 0;
  bool isInString = false;
  for (; at < text.size(); ++at) {
    const char one = text[at];
    if (isInString) {
      if (one == '\\') ++at;
      isInString = one != '"';
    } else if (one == '"') {
      isInString = true;
    } else if (one == '[' || one == '{') {
      ++depth;
    } else if (depth == 0 && (one == ',' || one == ']')) {
      break;
    } else if (one == ']' || one == '}') {
      --depth;
    }
  }
  return at;
}

}  // namespace

std::string_view recordText(std::string_view batch, std::int64_t index) {
  std::size_t before = batch.find('[');
  while (before < batch.size()) {
    const std::size_t end = endOfValue(batch, before + 1);
    if (index-- == 0) return withoutBlanks(batch.substr(before + 1, end - before - 1));
    before = end < batch.size() && batch[end] == ',' ? end : batch.size();
  }
  return "";
}

}  // namespace fliprugair::controlhost
