#include "tools/controlhost/Finding.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::controlhost {

std::string shortened(const std::string& text, std::size_t most) {
  if (text.size() <= most) return text;
  std::size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;  // not within a character
  return text.substr(0, end) + "...";
}

std::string_view nameOf(Severity severity) {
  constexpr std::array<std::string_view, 3> names{"note", "warning", "error"};
  return names[static_cast<std::size_t>(severity)];
}

Value Finding::json() const {
  return Value{{"severity", nameOf(severity)},
               {"path", path},
               {"record", record ? Value(*record) : Value()},
               {"code", code},
               {"expected", expected},
               {"got", got},
               {"hint", hint},
               {"text", text}};
}

void addFindings(std::vector<Finding>& findings, std::vector<Finding> more) {
  for (Finding& finding : more) {
    if (findings.size() > mostFindings) return;
    if (findings.size() == mostFindings) {
      finding = {Severity::note, "too-many"};
      finding.expected = "at most " + std::to_string(mostFindings) + " findings";
      finding.got = "more";
      finding.hint = "Mend them first.";
      finding.text = "More is wrong than these " + std::to_string(mostFindings) + " findings say. " + finding.hint;
    }
    findings.push_back(std::move(finding));
  }
}

Value countsOf(const std::vector<Finding>& findings) {
  std::array<std::int64_t, 3> counts{};
  for (const Finding& finding : findings) ++counts[static_cast<std::size_t>(finding.severity)];
  return Value{{"error", counts[2]}, {"warning", counts[1]}, {"note", counts[0]}};
}

std::string inWords(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::null:
      return "null";
    case Value::Kind::boolean:
      return value.boolValue() ? "true" : "false";
    case Value::Kind::integer:
    case Value::Kind::real:
      return "the number " + RapidJSONSerialization().textOfAny(value);
    case Value::Kind::text:
      return "the text \"" + shortened(value.text()) + '"';
    case Value::Kind::array:
      return value.array().empty() ? "an empty list" : "a list";
    case Value::Kind::dictionary:
      return value.dictionary().empty() ? "an empty object" : "an object";
  }
  return "";
}

bool isWhole(const Value& value) {
  const bool isReal = value.kind() == Value::Kind::real;
  return value.kind() == Value::Kind::integer ||
         (isReal && value.realValue() == static_cast<double>(value.integerValue()));
}

std::string notKnown(const std::string& path, const std::vector<std::string_view>& known) {
  std::string names;
  for (const std::string_view name : known) names += (names.empty() ? "" : ", ") + std::string(name);
  return path + " is not known; what can stand there: " + names;
}

std::vector<std::string> unknownMembers(const Dictionary& members, const std::vector<std::string_view>& known,
                                        const std::string& place) {
  std::vector<std::string> problems;
  for (const Dictionary::Entry& entry : members.entries()) {
    if (std::find(known.begin(), known.end(), entry.key()) != known.end()) continue;
    problems.push_back(notKnown(place + shortened(std::string(entry.key())), known));
  }
  return problems;
}

}  // namespace fliprugair::controlhost
