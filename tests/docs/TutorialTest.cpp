// Runs the scripts of docs/simulator.md and looks for the events that stand under each.

#include <gtest/gtest.h>

#include <fstream>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/sim/Simulator.h"

namespace fliprugair::sim {
namespace {

struct Lesson {
  std::string title;
  std::vector<std::string> script;
  std::vector<std::string> events;
};

std::vector<Lesson> lessons() {
  std::ifstream file(FLIPRUGAIR_TUTORIAL);
  std::vector<Lesson> result;
  std::vector<std::string>* block = nullptr;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("## ")) result.push_back({line.substr(3), {}, {}});
    if (line == "```script") {
      block = &result.back().script;
    } else if (line == "```events") {
      block = &result.back().events;
    } else if (line == "```") {
      block = nullptr;
    } else if (block != nullptr) {
      block->push_back(line);
    }
  }
  return result;
}

/// Whether `event` has at least what `wanted` shows: members may be left out, items of a list may not.
bool shows(const Value& event, const Value& wanted) {
  if (wanted.isDictionary() && event.isDictionary()) {
    if (wanted.dictionary().empty()) return event.dictionary().empty();
    for (const Dictionary::Entry& entry : wanted.dictionary().entries()) {
      if (!event.dictionary().holds(entry.key()) || !shows(event.dictionary()[entry.key()], entry.value)) return false;
    }
    return true;
  }
  if (wanted.isArray() && event.isArray()) {
    if (wanted.array().size() != event.array().size()) return false;
    for (std::size_t index = 0; index < wanted.array().size(); ++index) {
      if (!shows(event.array()[index], wanted.array()[index])) return false;
    }
    return true;
  }
  return event == wanted;
}

TEST(Tutorial, HasTenScripts) { EXPECT_EQ(lessons().size(), 10U); }

TEST(Tutorial, EveryScriptGivesTheEventsThatStandUnderIt) {
  const RapidJSONSerialization json;
  for (const Lesson& lesson : lessons()) {
    SCOPED_TRACE(lesson.title);
    ASSERT_FALSE(lesson.script.empty());
    ASSERT_FALSE(lesson.events.empty());
    std::vector<std::string> events;
    Simulator simulator([&](const std::string& event) { events.push_back(event); }, 1);
    for (std::size_t index = 0; index < lesson.script.size(); ++index) {
      simulator.run(lesson.script[index], index + 1);
    }
    auto next = events.begin();
    for (const std::string& line : lesson.events) {
      const auto wanted = json.value(line);
      ASSERT_TRUE(wanted) << line;
      next = std::find_if(next, events.end(),
                          [&](const std::string& event) { return shows(json.value(event).value(), *wanted); });
      ASSERT_NE(next, events.end()) << "no event from there on shows " << line;
      ++next;
    }
  }
}

}  // namespace
}  // namespace fliprugair::sim
