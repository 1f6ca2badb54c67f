#include "tools/controlhost/SettingsFile.h"

#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

#include "tools/controlhost/InitSettings.h"
#include "tools/controlhost/JSONProblem.h"

namespace fliprugair::controlhost {

namespace {

std::optional<std::string> contentOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return std::nullopt;
  std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (stream.bad()) return std::nullopt;
  return text;
}

}  // namespace

SettingsFile::SettingsFile(std::string path, const JSONSerialization& json,
                           std::function<void(const std::string&)> complain)
    : path_(std::move(path)), json_(json), complain_(std::move(complain)) {
  const std::optional<std::string> text = contentOf(path_);
  if (!text)
    throw std::runtime_error(path_ + ": cannot be read. Give --settings a file that is there and that you may read.");
  Value file;
  const std::string fault = faultOf(*text, file);
  if (!fault.empty()) throw std::runtime_error(fault);
  text_ = *text;
  settings_ = settingsOf(file);
  warn(settings_);
}

void SettingsFile::warn(const HostSettings& settings) const {
  for (const Value& effect : effectsOf(settings.init)) {
    const Dictionary members = effect.dictionary();
    if (members["severity"].text() == "warning") complain_(path_ + ": init: " + members["text"].text());
  }
}

HostSettings SettingsFile::current() {
  std::string fault;
  bool isNew = false;
  HostSettings settings;
  {
    const std::lock_guard lock(mutex_);
    std::optional<std::string> text = contentOf(path_);
    if (!text && !isGone_) fault = path_ + ": cannot be read any more. Put it back, or start the host without it.";
    isGone_ = !text;
    if (text && *text != text_) {
      text_ = std::move(*text);
      Value file;
      fault = faultOf(text_, file);
      isNew = fault.empty();
      if (isNew) settings_ = settingsOf(file);
    }
    settings = settings_;
  }
  if (isNew) warn(settings);
  if (!fault.empty()) complain_(fault + "\nThe settings it had before hold on.");
  return settings;
}

/// "" when there is none; then `file` is what the text holds.
std::string SettingsFile::faultOf(const std::string& text, Value& file) const {
  const std::optional<Value> value = json_.value(text);
  if (!value) return path_ + ": not JSON: " + jsonProblem(text) + " Mend it there; an example is in --help.";
  std::string fault;
  for (const std::string& problem : settingsProblems(*value)) {
    fault += (fault.empty() ? "" : "\n") + path_ + ": " + problem;
  }
  file = *value;
  return fault;
}

}  // namespace fliprugair::controlhost
