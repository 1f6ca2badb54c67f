#include "platform/linux/Languages.h"

#include <algorithm>
#include <utility>

#include "platform/linux/Letters.h"

namespace fliprugair {

namespace {

bool isPlain(std::string_view locale) {
  const std::string_view name = locale.substr(0, locale.find_first_of(".@"));
  return name == "C" || name == "POSIX";
}

constexpr bool isDigit(char each) { return each >= '0' && each <= '9'; }

bool isLetters(std::string_view text, std::size_t least, std::size_t most) {
  return text.size() >= least && text.size() <= most &&
         std::all_of(text.begin(), text.end(), [](char each) { return isLower(each) || isUpper(each); });
}

bool isRegion(std::string_view text) {
  return isLetters(text, 2, 2) || (text.size() == 3 && std::all_of(text.begin(), text.end(), isDigit));
}

/// A locale tells its script by a modifier; the other modifiers mean no language.
std::string_view script(std::string_view modifier) {
  if (modifier == "latin") return "-Latn";
  if (modifier == "cyrillic") return "-Cyrl";
  if (modifier == "devanagari") return "-Deva";
  return "";
}

}  // namespace

std::string languageTag(std::string_view locale) {
  if (isPlain(locale)) return "en";
  const std::size_t at = locale.find('@');
  const std::string_view modifier = at == std::string_view::npos ? "" : locale.substr(at + 1);
  const std::string_view name = locale.substr(0, locale.find_first_of(".@"));
  const std::size_t separator = name.find('_');
  const std::string_view language = name.substr(0, separator);
  if (!isLetters(language, 2, 8)) return "";
  std::string tag = mapped(language, lower).append(script(modifier));
  if (separator == std::string_view::npos) return tag;
  const std::string_view region = name.substr(separator + 1);
  if (!isRegion(region)) return "";
  return tag + '-' + mapped(region, upper);
}

std::vector<std::string> preferredLanguages(const Variables& variables) {
  std::string locale = "C";
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (const std::optional<std::string> value = variables(name)) {
      locale = *value;
      break;
    }
  }

  std::vector<std::string> tags;
  const auto add = [&tags](std::string_view name) {
    std::string tag = languageTag(name);
    if (!tag.empty() && std::find(tags.begin(), tags.end(), tag) == tags.end()) tags.push_back(std::move(tag));
  };
  if (!isPlain(locale)) {
    const std::string names = variables("LANGUAGE").value_or("");
    for (std::string_view left = names; !left.empty();) {
      const std::size_t end = std::min(left.find(':'), left.size());
      add(left.substr(0, end));
      left.remove_prefix(std::min(end + 1, left.size()));
    }
  }
  add(locale);
  if (tags.empty()) tags.push_back("en");
  return tags;
}

}  // namespace fliprugair
