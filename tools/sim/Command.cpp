#include "tools/sim/Command.h"

#include <algorithm>
#include <cmath>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/sim/Nearest.h"

namespace fliprugair::sim {

std::string shown(const Value& value) {
  constexpr std::size_t longest = 60;
  std::string text = RapidJSONSerialization().text(value).value_or("a value without a JSON form");
  if (text.size() > longest) text = validUtf8(text.substr(0, longest)) + "...";
  return text;
}

Members::Members(std::string where, const Value& object) : where_(std::move(where)), members_(object.dictionary()) {
  if (!object.isDictionary()) throw CommandError(where_ + " wants an object, found " + shown(object));
}

void Members::allowOnly(std::initializer_list<std::string_view> names) const {
  for (const Dictionary::Entry& entry : members_.entries()) {
    if (std::ranges::find(names, entry.key()) != names.end()) continue;
    std::string known;
    for (const std::string_view name : names) {
      known += known.empty() ? "\"" : ", \"";
      known += name;
      known += '"';
    }
    throw CommandError(where_ + " has no member " + shown(entry.key()) + suggestion(entry.key(), names) +
                       "; it takes " + (known.empty() ? "none" : known));
  }
}

void Members::fail(std::string_view name, std::string_view wanted) const {
  const std::string member = where_ + " wants " + shown(name) + " to be " + std::string(wanted);
  throw CommandError(member + (has(name) ? ", found " + shown(any(name)) : "; it is missing"));
}

std::string Members::text(std::string_view name) const {
  if (!any(name).isText()) fail(name, "text");
  return any(name).text();
}

std::optional<std::string> Members::textOrNull(std::string_view name) const {
  if (has(name) && any(name).isNull()) return std::nullopt;
  if (!any(name).isText()) fail(name, "text or null");
  return any(name).text();
}

double Members::number(std::string_view name) const {
  const Value value = any(name);
  if (!value.isNumber() || value.kind() == Value::Kind::boolean) fail(name, "a number");
  return value.realValue();
}

std::int64_t Members::integer(std::string_view name, std::int64_t least, std::int64_t most) const {
  const Value value = any(name);
  const bool isWhole = value.kind() == Value::Kind::integer ||
                       (value.kind() == Value::Kind::real && value.realValue() == std::trunc(value.realValue()));
  if (!isWhole || value.integerValue() < least || value.integerValue() > most) {
    fail(name, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return value.integerValue();
}

bool Members::boolean(std::string_view name) const {
  if (any(name).kind() != Value::Kind::boolean) fail(name, "true or false");
  return any(name).boolValue();
}

Dictionary Members::object(std::string_view name) const {
  if (!any(name).isDictionary()) fail(name, "an object");
  return any(name).dictionary();
}

Value Members::objectOrNull(std::string_view name) const {
  if (!any(name).isNull() && !any(name).isDictionary()) fail(name, "an object or null");
  return any(name);
}

std::vector<std::string> Members::texts(std::string_view name) const {
  if (!any(name).isArray()) fail(name, "a list of texts");
  std::vector<std::string> result;
  for (const Value& item : any(name).array()) {
    if (!item.isText()) fail(name, "a list of texts");
    result.push_back(item.text());
  }
  return result;
}

std::string Members::choice(std::string_view name, std::initializer_list<std::string_view> choices) const {
  const std::string given = text(name);
  if (std::ranges::find(choices, given) != choices.end()) return given;
  std::string wanted;
  for (const std::string_view& one : choices) {
    if (!wanted.empty()) wanted += &one + 1 == choices.end() ? " or " : ", ";
    wanted += one;
  }
  throw CommandError(where_ + " wants " + shown(name) + " to be " + wanted + ", found " + shown(given) +
                     suggestion(given, choices));
}

}  // namespace fliprugair::sim
