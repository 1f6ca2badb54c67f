#include "tools/controlhost/SchemaTree.h"

#include <algorithm>
#include <stdexcept>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/EmbeddedFiles.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::string_view ending = ".schema.json";

/// The first of `nodes` that has something under `key`.
Value firstOf(const std::vector<Value>& nodes, std::string_view key) {
  for (const Value& node : nodes) {
    if (const Value value = node.dictionary()[key]; !value.isNull()) return value;
  }
  return {};
}

Severity severityOf(const std::vector<Value>& nodes, Severity usual) {
  const std::string& text = firstOf(nodes, "x-severity").text();
  return text == "warning" ? Severity::warning : text == "note" ? Severity::note : usual;
}

/// What to do about a value of the wrong kind; "" when it has the right one.
std::string hintAboutKind(const std::string& type, const Value& value) {
  if (value.isNull()) return "Leave out what has no value.";
  if (type == "string" && value.isNumber()) return "Send it as text, in quotes.";
  if (type == "string" && !value.isText()) return "Send one text, in quotes; of an object or a list its JSON as text.";
  if (type == "number" && value.isText()) return "Send it as a number, without quotes.";
  if (type == "number" && !value.isNumber()) return "Send a number, without quotes.";
  if (type == "object" && !value.isDictionary()) return "Send its members between { and }.";
  if (type == "array" && !value.isArray()) return "Send its items between [ and ], also when there is but one.";
  return "";
}

/// What to do about a value that is not as its schema asks for.
std::string usualHint(const std::vector<Value>& nodes, const Value& value) {
  const std::string aboutKind = hintAboutKind(firstOf(nodes, "type").text(), value);
  if (!aboutKind.empty()) return aboutKind;
  if (!firstOf(nodes, "const").isNull()) return "There is one value alone that can stand there.";
  if (!firstOf(nodes, "enum").isNull()) return "Send one of these; capitals and blanks count.";
  if (!firstOf(nodes, "pattern").isNull()) return "Write it in that form, with nothing before and behind it.";
  if (!firstOf(nodes, "minLength").isNull()) return "Give it its value: it cannot be empty.";
  if (!firstOf(nodes, "minimum").isNull()) return "Look at its unit, and whether two values are exchanged.";
  return "Send a value that fits, or leave the member out.";
}

std::string placeOf(const std::string& pointer) { return pointer.empty() ? "The record" : pointer; }

Finding finding(Severity severity, std::string code, std::string path, std::string expected, std::string got,
                std::string hint, const std::string& sentence) {
  std::string text = sentence + ' ' + hint;
  return {severity,       std::move(code), std::move(path), std::move(expected),
          std::move(got), std::move(hint), std::move(text), std::nullopt};
}

}  // namespace

std::string jsonPointer(const std::vector<std::string>& path) {
  constexpr std::size_t longestName = 200;  // hundreds of findings may name it
  std::string text;
  for (const std::string& step : path) {
    text += '/';
    for (const char character : shortened(step, longestName))
      text += character == '~' ? "~0" : character == '/' ? "~1" : std::string(1, character);
  }
  return text;
}

SchemaTree::SchemaTree() {
  for (const EmbeddedFile& file : wireSchemaFiles()) {
    const auto schema = RapidJSONSerialization().value(file.content);
    if (!schema) throw std::logic_error("The schema " + std::string(file.name) + " is not JSON.");
    schemas_[std::string(file.name.substr(0, file.name.size() - ending.size()))] = *schema;
  }
}

const Value* SchemaTree::schema(const std::string& name) const {
  const auto found = schemas_.find(name);
  return found == schemas_.end() ? nullptr : &found->second;
}

/// The part that a "$ref" names, as "envelope.schema.json#/definitions/text".
Value SchemaTree::resolved(const std::string& reference) const {
  const std::size_t hash = reference.find('#');
  const std::string file = reference.substr(0, hash);
  const Value* document = file.size() > ending.size() ? schema(file.substr(0, file.size() - ending.size())) : nullptr;
  Value node = document == nullptr ? Value() : *document;
  std::size_t begin = hash == std::string::npos ? std::string::npos : reference.find('/', hash);
  while (begin != std::string::npos) {
    const std::size_t end = reference.find('/', begin + 1);
    node = node.dictionary()[reference.substr(begin + 1, end == std::string::npos ? end : end - begin - 1)];
    begin = end;
  }
  return node;
}

/// The node and all that it includes.
void SchemaTree::collect(const Value& node, std::vector<Value>& nodes) const {
  if (!node.isDictionary()) return;
  const Value reference = node.dictionary()["$ref"];
  if (reference.isText()) return collect(resolved(reference.text()), nodes);
  nodes.push_back(node);
  for (const Value& part : node.dictionary()["allOf"].array()) collect(part, nodes);
}

std::vector<Value> SchemaTree::nodesAt(const std::string& action, const std::vector<std::string>& path) const {
  std::vector<Value> nodes;
  if (const Value* root = schema(action)) collect(*root, nodes);
  for (const std::string& step : path) {
    std::vector<Value> below;
    for (const Value& node : nodes) {
      collect(node.dictionary()["properties"].dictionary()[step], below);
      if (node.dictionary()["type"].text() == "array") collect(node.dictionary()["items"], below);
    }
    nodes = std::move(below);
  }
  return nodes;
}

std::string SchemaTree::expectedAt(const std::string& action, const std::vector<std::string>& path) const {
  const std::string& description = firstOf(nodesAt(action, path), "description").text();
  return description.empty() ? "there" : description;
}

std::vector<Finding> SchemaTree::findingsAt(const std::string& action, const std::vector<std::string>& path,
                                            const Value& value) const {
  const std::vector<Value> nodes = nodesAt(action, path);
  const std::string pointer = jsonPointer(path);
  const auto below = [&](const std::string& key) {
    std::vector<std::string> result = path;
    result.push_back(key);
    return result;
  };
  std::vector<Finding> findings;
  const bool mayBeObject = firstOf(nodes, "type").text() == "object";
  const bool mayBeList = firstOf(nodes, "type").text() == "array";
  const Dictionary members = value.dictionary();
  std::vector<std::string> missing;
  for (const Value& node : nodes) {
    for (const Value& key : node.dictionary()["required"].array()) {
      const bool again = std::find(missing.begin(), missing.end(), key.text()) != missing.end();
      if (value.isDictionary() && !members.holds(key.text()) && !again) missing.push_back(key.text());
    }
  }
  for (const std::string& key : missing) {
    const std::string expected = expectedAt(action, below(key));
    findings.push_back(finding(severityOf(nodesAt(action, below(key)), Severity::error), "missing", pointer, expected,
                               "nothing", "Add it.",
                               placeOf(pointer) + " has no \"" + key + "\", which should be " + expected + '.'));
  }
  for (const Value& node : nodes) {
    for (const Dictionary::Entry& entry : node.dictionary()["dependencies"].dictionary().entries()) {
      for (const Value& needed : entry.value.array()) {
        if (!members.holds(entry.key()) || members.holds(needed.text())) continue;
        findings.push_back(
            finding(Severity::error, "order", pointer, '"' + needed.text() + "\" beside it", "nothing",
                    "What stands behind a missing value is not sent either.",
                    placeOf(pointer) + " has \"" + entry.key() + "\" without \"" + needed.text() + "\"."));
      }
    }
    if (node.dictionary()["additionalProperties"] != Value(false)) continue;
    const Dictionary known = node.dictionary()["properties"].dictionary();
    for (const Dictionary::Entry& entry : members.entries()) {
      if (known.holds(entry.key())) continue;
      std::string names;
      for (const Dictionary::Entry& one : known.entries()) names += (names.empty() ? "" : ", ") + one.key();
      findings.push_back(finding(Severity::warning, "unknown-member", jsonPointer(below(entry.key())),
                                 names.empty() ? "nothing" : "one of " + names, inWords(entry.value),
                                 "Leave it out, or look at its spelling.",
                                 jsonPointer(below(entry.key())) + " is not known there" +
                                     (names.empty() ? "." : "; known are " + names + '.')));
    }
  }
  const bool holdsTheFault = (value.isDictionary() && mayBeObject && !members.empty()) ||
                             (value.isArray() && mayBeList && !value.array().empty());
  if (findings.empty() && !holdsTheFault) {
    const std::string expected = expectedAt(action, path);
    const Value given = firstOf(nodes, "x-hint");
    findings.push_back(finding(severityOf(nodes, Severity::error), "schema", pointer, expected, inWords(value),
                               given.isText() ? given.text() : usualHint(nodes, value),
                               placeOf(pointer) + " is " + inWords(value) + ", and should be " + expected + '.'));
  }
  return findings;
}

}  // namespace fliprugair::controlhost
