#include "support/Scenario.h"

#include <optional>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/sim/Simulator.h"

namespace fliprugair::sim {

namespace {

constexpr std::string_view more = "...";

std::string jsonText(const Value& value) { return RapidJSONSerialization().text(value).value_or("no JSON"); }

/// The line as JSON: each "..." outside of a text, which means that there may be more members, becomes a member.
/// None when there is none.
std::optional<std::string> withMarkersAsMembers(const std::string& line) {
  std::string json;
  bool isInText = false;
  bool any = false;
  for (std::size_t index = 0; index < line.size(); ++index) {
    if (!isInText && line.compare(index, more.size(), more) == 0) {
      json += R"("...":null)";
      index += more.size() - 1;
      any = true;
      continue;
    }
    if (line[index] == '"') isInText = !isInText;
    json += line[index];
    if (isInText && line[index] == '\\') json += line[++index];
  }
  return any ? std::optional(json) : std::nullopt;
}

struct Member {
  std::string key;
  Value value;
};

std::vector<Member> membersOf(const Dictionary& dictionary) {
  std::vector<Member> members;
  const auto entries = dictionary.entries();
  for (const Dictionary::Entry& entry : entries) members.push_back({std::string(entry.key()), entry.value});
  return members;
}

std::string differenceOf(const Value& expected, const Value& found, const std::string& place);

/// Members stand in the order that is shown. Others may be between them only where there is a marker.
std::string differenceOf(const Dictionary& expected, const Dictionary& found, const std::string& place) {
  const bool isOpen = expected.holds(more);
  const std::vector<Member> given = membersOf(found);
  auto next = given.begin();
  for (const auto& [key, value] : membersOf(expected)) {
    if (key == more) continue;
    while (isOpen && next != given.end() && next->key != key) ++next;
    const std::string path = place.empty() ? key : place + "." + key;
    if (next == given.end() || next->key != key) {
      return path + (found.holds(key) ? " stands elsewhere" : " is missing") +
             (next == given.end() ? "" : ", in its place is " + next->key);
    }
    if (std::string difference = differenceOf(value, next->value, path); !difference.empty()) return difference;
    ++next;
  }
  if (isOpen || next == given.end()) return "";
  return (place.empty() ? "the event" : place) + " has another member, " + next->key;
}

std::string differenceOf(const Value& expected, const Value& found, const std::string& place) {
  if (expected.isDictionary() && found.isDictionary()) {
    return differenceOf(expected.dictionary(), found.dictionary(), place);
  }
  if (expected.isArray() && found.isArray()) {
    if (expected.array().size() != found.array().size()) {
      return place + " has " + std::to_string(found.array().size()) + " items instead of " +
             std::to_string(expected.array().size());
    }
    for (std::size_t index = 0; index < expected.array().size(); ++index) {
      std::string difference =
          differenceOf(expected.array()[index], found.array()[index], place + "[" + std::to_string(index) + "]");
      if (!difference.empty()) return difference;
    }
    return "";
  }
  if (jsonText(expected) == jsonText(found)) return "";
  return place + " is " + jsonText(found) + " instead of " + jsonText(expected);
}

/// Without a marker every byte counts.
std::string differenceOf(const std::string& expected, const std::string& found) {
  if (expected == found) return "";
  const RapidJSONSerialization json;
  const auto markers = withMarkersAsMembers(expected);
  const auto wanted = json.value(markers.value_or(expected));
  if (!wanted) return "what is expected is no JSON object";
  std::string difference = differenceOf(*wanted, json.value(found).value_or(Value()), "");
  if (difference.empty() && !markers) return "the text differs, though it says the same";
  return difference;
}

std::string atLine(std::size_t index) { return "line " + std::to_string(index + 1) + ": "; }

}  // namespace

std::string mismatchIn(const std::vector<std::string>& scenario) {
  std::vector<std::string> events;
  std::size_t next = 0;
  std::size_t command = 0;
  bool mayBeOthers = false;  // a line of the marker alone stands before
  Simulator simulator([&](const std::string& event) { events.push_back(event); }, 1);
  const auto unexpected = [&] {
    return next == events.size() || mayBeOthers ? std::string()
                                                : atLine(command) + scenario[command] +
                                                      "\ngave one more event than stands there\n  got  " + events[next];
  };
  for (std::size_t index = 0; index < scenario.size(); ++index) {
    const std::string& line = scenario[index];
    if (line.empty() || line[0] == '#') continue;
    if (line == more) {
      mayBeOthers = true;
      continue;
    }
    if (line.starts_with(R"({"event":)")) {
      while (mayBeOthers && next != events.size() && !differenceOf(line, events[next]).empty()) ++next;
      mayBeOthers = false;
      if (next == events.size()) {
        return atLine(index) + "\n  expected  " + line +
               "\n  got       no such event behind what stands before, after line " + std::to_string(command + 1);
      }
      const std::string difference = differenceOf(line, events[next]);
      if (!difference.empty()) {
        return atLine(index) + difference + "\n  expected  " + line + "\n  got       " + events[next];
      }
      ++next;
      continue;
    }
    if (std::string text = unexpected(); !text.empty()) return text;
    events.clear();
    next = 0;
    mayBeOthers = false;
    command = index;
    try {
      simulator.run(line, index + 1);
    } catch (const CommandError& error) {
      return atLine(index) + error.what();
    }
    const std::string done = R"({"event":"done","line":)" + std::to_string(index + 1) + "}";
    if (events.empty() || events.back() != done) return atLine(index) + "the last event is not " + done;
    events.pop_back();
  }
  return unexpected();
}

}  // namespace fliprugair::sim
