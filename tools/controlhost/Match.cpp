#include "tools/controlhost/Match.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/EmbeddedFiles.h"
#include "tools/controlhost/Finding.h"

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

/// Of the requests of the wire protocol: a schema each, the envelope apart.
std::vector<std::string> actions() {
  std::vector<std::string> names;
  for (const EmbeddedFile& file : wireSchemaFiles()) {
    if (file.name != "envelope.schema.json") names.emplace_back(file.name.substr(0, file.name.find('.')));
  }
  std::sort(names.begin(), names.end());
  return names;
}

template <typename Texts>
std::string listed(const Texts& texts) {
  std::string all;
  for (const auto& text : texts) all += (all.empty() ? "" : ", ") + std::string(text);
  return all;
}

bool isNumber(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char digit) { return std::isdigit(digit) != 0; });
}

}  // namespace

Match::Match(const std::string& text) {
  std::string term;
  std::size_t quote = std::string::npos;  // where the first quotation mark stood in the term
  bool quoted = false;
  for (const char character : text) {
    if (character == '"') {
      quoted = !quoted;
      quote = std::min(quote, term.size());
    } else if (character == ' ' && !quoted) {
      take(std::move(term), std::exchange(quote, std::string::npos));
      term.clear();
    } else {
      term += character;
    }
  }
  if (quoted) problem_ = '"' + term + "\": its quotation mark is not closed.";
  take(std::move(term), quote);
}

void Match::take(std::string text, std::size_t quote) {
  const bool isQuoted = quote != std::string::npos;
  if (text.empty()) return;
  const std::size_t colon = text.find(':');
  const bool isText = colon == std::string::npos || quote <= colon;
  Term term{text, isText ? "" : text.substr(0, colon), isText ? text : text.substr(colon + 1)};
  if (problem_.empty() && !isText && !(term.value.empty() && isQuoted)) problem_ = problemOf(term);
  terms_.push_back(std::move(term));
}

std::string Match::problemOf(const Term& term) {
  const std::string place = '"' + term.text + "\": ";
  const std::string& value = term.value;
  if (!term.key.starts_with('/') && std::find(keys.begin(), keys.end(), term.key) == keys.end()) {
    return place + "there is no term \"" + term.key + "\"; a text that holds a colon stands in quotation marks.";
  }
  if (value.empty()) return place + "it has no value.";
  if (term.key == "status" && !isNumber(value)) return place + "a status is a whole number.";
  if (term.key == "id" && !isNumber(value)) return place + "an id is a whole number.";
  if (term.key == "severity" && nameOf(severityNamed(value)) != value) {
    return place + "a severity is note, warning or error.";
  }
  const std::vector<std::string> known = actions();
  if (term.key == "action" && std::find(known.begin(), known.end(), value) == known.end()) {
    return place + "no request has the action \"" + value + "\"; there are " + listed(known) + '.';
  }
  return "";
}

std::string Match::termsInWords() {
  return "Terms: " + listed(keys) +
         ", each with a colon and its value, as event:level; a JSON pointer, as /data/currency:EUR; any text, which "
         "stands in quotation marks when it holds blanks or a colon.";
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

std::vector<Match::Missed> Match::missed(const ReceivedRequest& request, const Value& record,
                                         std::int64_t index) const {
  std::vector<Missed> result;
  for (const Term& term : terms_) {
    if (!holds(term, request, record, index)) result.push_back(missed(term, request, record));
  }
  return result;
}

Match::Missed Match::missed(const Term& term, const ReceivedRequest& request, const Value& record) {
  if (term.key.empty()) return {term.text, "it holds no such text", true};
  if (term.key == "severity") return {term.text, "it has no such finding", true};
  const std::string has = propertyOf(request, record, term.key);
  const bool isPointer = term.key[0] == '/';
  const bool hasNone = isPointer ? memberAt(record, term.key).isNull() : has.empty();
  if (hasNone) return {term.text, isPointer ? "it has nothing there" : "it has no " + term.key, true};
  return {term.text, isPointer ? "it has \"" + has + "\" there" : "its " + term.key + " is \"" + has + '"', false};
}

}  // namespace fliprugair::controlhost
