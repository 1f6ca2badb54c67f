#include "linux/EnvironmentVariables.h"
#include "platform/linux/Languages.h"

namespace fliprugair {
namespace {

TEST(Languages, ALocaleBecomesALanguageTag) {
  const std::map<std::string, std::string> cases = {
      {"de_DE.UTF-8", "de-DE"},
      {"de", "de"},
      {"en_US", "en-US"},
      {"C", "en"},
      {"POSIX", "en"},
      {"C.UTF-8", "en"},
      {"de_DE@euro", "de-DE"},
      {"sr_RS@latin", "sr-Latn-RS"},
      {"uz_UZ@cyrillic", "uz-Cyrl-UZ"},
      {"sr@latin", "sr-Latn"},
      {"ca_ES.UTF-8@valencia", "ca-ES"},
      {"es_419", "es-419"},
      {"DE_de", "de-DE"},
      {"fil_PH", "fil-PH"},
      {"", ""},
      {"/usr/share/locale", ""},
      {"de_", ""},
      {"x", ""},
      {"de DE", ""},
  };
  for (const auto& [locale, tag] : cases) EXPECT_EQ(languageTag(locale), tag) << locale;
}

TEST(Languages, TheVariablesCountInTheirOrder) {
  using List = std::vector<std::string>;
  struct Case {
    std::map<std::string, std::string> values;
    List languages;
  };
  const std::vector<Case> cases = {
      {{}, {"en"}},
      {{{"LANG", "de_DE.UTF-8"}}, {"de-DE"}},
      {{{"LANG", "de_DE.UTF-8"}, {"LC_MESSAGES", "fr_FR"}}, {"fr-FR"}},
      {{{"LANG", "de_DE.UTF-8"}, {"LC_MESSAGES", "fr_FR"}, {"LC_ALL", "it_IT"}}, {"it-IT"}},
      {{{"LANGUAGE", "de_AT:de:en_GB"}, {"LANG", "de_DE.UTF-8"}}, {"de-AT", "de", "en-GB", "de-DE"}},
      {{{"LANGUAGE", "de:en"}, {"LANG", "de"}}, {"de", "en"}},
      {{{"LANGUAGE", "de"}, {"LANG", "C.UTF-8"}}, {"en"}},
      {{{"LANGUAGE", "de"}, {"LC_ALL", "POSIX"}, {"LANG", "fr_FR"}}, {"en"}},
      {{{"LANGUAGE", "de"}}, {"en"}},
      {{{"LANGUAGE", "::de:"}, {"LANG", "fr"}}, {"de", "fr"}},
      {{{"LANG", "???"}}, {"en"}},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(preferredLanguages(variables(each.values)), each.languages) << testing::PrintToString(each.values);
  }
}

}  // namespace
}  // namespace fliprugair
