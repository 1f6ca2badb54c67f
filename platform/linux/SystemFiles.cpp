#include "platform/linux/SystemFiles.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <system_error>

namespace fliprugair {

namespace {

/// The value of one shell word: without its quotes, and with what a backslash protects.
std::string unquoted(std::string_view word) {
  std::string value;
  char quote = 0;
  for (std::size_t at = 0; at < word.size(); ++at) {
    const char character = word[at];
    if (quote == 0 && (character == '"' || character == '\'')) {
      quote = character;
    } else if (quote != 0 && character == quote) {
      quote = 0;
    } else if (character == '\\' && quote != '\'' && at + 1 < word.size()) {
      value += word[++at];
    } else {
      value += character;
    }
  }
  return value;
}

}  // namespace

std::optional<std::string> contentOfFile(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string content;
  std::array<char, 16384> part{};
  do {
    file.read(part.data(), part.size());
    content.append(part.data(), static_cast<std::size_t>(file.gcount()));
  } while (file);
  if (file.bad()) return std::nullopt;
  return content;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<std::string> SystemFiles::firstLine(const std::filesystem::path& path) const {
  const std::optional<std::string> text = content(path);
  if (!text) return std::nullopt;
  return std::string(trimmed(std::string_view(*text).substr(0, text->find('\n'))));
}

std::set<std::string, std::less<>> SystemFiles::names(const std::filesystem::path& folder) const {
  std::set<std::string, std::less<>> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(root_ / folder, error), end; !error && entry != end;
       entry.increment(error)) {
    names.insert(entry->path().filename().string());
  }
  return names;
}

std::optional<std::string> assignedValue(std::string_view assignments, std::string_view variable) {
  std::string value;
  while (!assignments.empty()) {
    const std::size_t end = std::min(assignments.find('\n'), assignments.size());
    const std::string_view line = trimmed(assignments.substr(0, end));
    assignments.remove_prefix(std::min(end + 1, assignments.size()));
    if (line.size() > variable.size() && line.starts_with(variable) && line[variable.size()] == '=') {
      value = unquoted(line.substr(variable.size() + 1));
    }
  }
  return value.empty() ? std::nullopt : std::optional(std::move(value));
}

}  // namespace fliprugair
