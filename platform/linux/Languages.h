#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/UserFolders.h"

namespace fliprugair {

/// The language tag of a locale's name: "de-DE" of "de_DE.UTF-8", "sr-Latn-RS" of "sr_RS@latin", "en" of "C".
/// "" when it is no locale's name.
std::string languageTag(std::string_view locale);

/// The user's languages as the C library finds them, the most preferred first: the list LANGUAGE, unless the locale is
/// "C", then the locale that LC_ALL, else LC_MESSAGES, else LANG names. Never empty.
std::vector<std::string> preferredLanguages(const Variables& variables);

}  // namespace fliprugair
