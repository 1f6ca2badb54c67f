#include "tools/controlhost/Match.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::array<std::string_view, 9> keys{"action",   "name", "device", "app",  "status",
                                               "severity", "id",   "state",  "event"};

bool contains(std::string_view text, std::string_view part) {
  const auto same = [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); };
  return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

Severity severityNamed(const std::string& name) {
  return name == "error" ? Severity::error : name == "warning" ? Severity::warning : Severity::note;
}

Value memberAt(Value value, const std::string& pointer) {
  std::size_t begin = 1;
  while (begin <= pointer.size()) {
    const std::size_t end = std::min(pointer.find('/', begin), pointer.size());
    const std::string step = pointer.substr(begin, end - begin);
    const auto index = static_cast<std::size_t>(Value(step).integerValue());
    value =
        value.isArray() ? (index < value.array().size() ? value.array()[index] : Value()) : value.dictionary()[step];
    begin = end + 1;
  }
  return value;
}

std::string textOf(const Value& value) {
  return value.isText() ? value.text() : RapidJSONSerialization().textOfAny(value);
}

/// What a record has under a key of a term.
std::string propertyOf(const ReceivedRequest& request, const Value& record, const std::string& key) {
  const Dictionary members = record.dictionary();
  if (key[0] == '/') return textOf(memberAt(record, key));
  if (key == "action") return members["action"].text();
  if (key == "name") return recordName(record);
  if (key == "device") return members["marlune_device_id"].text();
  if (key == "app") return members["marlune_app_id"].text();
  if (key == "status") return std::to_string(request.status);
  if (key == "id") return std::to_string(request.id);
  if (key == "state") return members["data"].dictionary()["state"].text();
  if (key == "event") return members["data"].dictionary()["event_name"].text();
  return "";
}

}  // namespace

Match::Match(const std::string& text) {
  std::string term;
  bool quoted = false;
  for (const char character : text + ' ') {
    if (character == '"') {
      quoted = !quoted;
    } else if (character == ' ' && !quoted) {
      if (!term.empty()) terms_.push_back(termOf(term));
      term.clear();
    } else {
      term += character;
    }
  }
  if (!term.empty()) terms_.push_back(termOf(term));
}

Match::Term Match::termOf(const std::string& text) {
  const std::size_t colon = text.find(':');
  const std::string key = colon == std::string::npos ? "" : text.substr(0, colon);
  const bool known = !key.empty() && (key[0] == '/' || std::find(keys.begin(), keys.end(), key) != keys.end());
  return known ? Term{text, key, text.substr(colon + 1)} : Term{text, "", text};
}

bool Match::holds(const ReceivedRequest& request) const {
  const auto forRequest = [&](const Term& term) { return holdsForRequest(term, request); };
  if (std::all_of(terms_.begin(), terms_.end(), forRequest)) return true;
  std::int64_t index = 0;
  for (const Value& record : request.items()) {
    if (holds(request, record, index++)) return true;
  }
  return false;
}

bool Match::holds(const ReceivedRequest& request, const Value& record, std::int64_t index) const {
  return std::all_of(terms_.begin(), terms_.end(),
                     [&](const Term& term) { return holds(term, request, record, index); });
}

bool Match::holds(const Term& term, const ReceivedRequest& request, const Value& record, std::int64_t index) {
  if (term.key.empty()) return contains(RapidJSONSerialization().textOfAny(record), term.value);
  if (term.key == "severity") {
    return std::any_of(request.findings.begin(), request.findings.end(), [&](const Finding& finding) {
      return finding.severity >= severityNamed(term.value) && finding.record.value_or(index) == index;
    });
  }
  const std::string has = propertyOf(request, record, term.key);
  return term.key == "name" ? contains(has, term.value) : has == term.value;
}

bool Match::holdsForRequest(const Term& term, const ReceivedRequest& request) {
  if (term.key.empty()) return contains(request.bytes, term.value);
  if (term.key == "action") return request.action == term.value;
  if (term.key == "device") return request.device == term.value;
  if (term.key == "app") return request.app == term.value;
  if (term.key == "status") return std::to_string(request.status) == term.value;
  if (term.key == "id") return std::to_string(request.id) == term.value;
  if (term.key == "severity") {
    return std::any_of(request.findings.begin(), request.findings.end(),
                       [&](const Finding& finding) { return finding.severity >= severityNamed(term.value); });
  }
  return false;
}

std::vector<std::string> Match::missed(const ReceivedRequest& request, const Value& record, std::int64_t index) const {
  std::vector<std::string> result;
  for (const Term& term : terms_) {
    if (!holds(term, request, record, index)) result.push_back(term.text);
  }
  return result;
}

std::string Match::instead(const ReceivedRequest& request, const Value& record, const std::string& text) const {
  const Term term = termOf(text);
  if (term.key.empty()) return "it does not hold \"" + term.value + '"';
  if (term.key == "severity") return "it has no finding of that severity (wanted " + term.value + ')';
  return term.key + " is \"" + propertyOf(request, record, term.key) + "\" (wanted \"" + term.value + "\")";
}

}  // namespace fliprugair::controlhost
