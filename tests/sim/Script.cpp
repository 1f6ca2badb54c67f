#include "Script.h"

#include <gtest/gtest.h>

#include "platform/json/RapidJSONSerialization.h"
#include "support/WireFormat.h"

namespace fliprugair::sim {

namespace {

std::string jsonText(const Value& value) {
  auto text = RapidJSONSerialization().text(value);
  return text ? std::move(*text) : std::string(1, '?');
}

std::string fullKey(std::string_view name) {
  const bool isOfThePipeline = name == "networkQueue" || name == "eventsSending" || name == "batchEventQueue";
  return (isOfThePipeline ? "com.marlune.marluneTracker." : "com.marlune.MarluneTracker.") + std::string(name);
}

}  // namespace

Script::Script(std::uint64_t seed) : simulator_([this](const std::string& line) { lines_.push_back(line); }, seed) {}

std::vector<Dictionary> Script::run(std::string_view command) {
  lines_.clear();
  given_.note(RapidJSONSerialization().value(command).value_or(Value()).dictionary());
  note_ = simulator_.run(command, ++number_);
  EXPECT_EQ(lines_.empty() ? "" : lines_.back(), "{\"event\":\"done\",\"line\":" + std::to_string(number_) + "}");
  std::vector<Dictionary> events;
  for (std::size_t index = 0; index + 1 < lines_.size(); ++index) {
    const auto event = RapidJSONSerialization().value(lines_[index]);
    EXPECT_TRUE(event && event->isDictionary()) << lines_[index];
    events.push_back(event.value_or(Value()).dictionary());
    EXPECT_FALSE(events.back()["event"] == Value("done")) << "a second done";
    check(events.back());
  }
  return events;
}

void Script::check(const Dictionary& event) const {
  if (sendsOddities_ || event["event"] != Value("send")) return;
  const Value payload = given_.without(event["payload"]);
  EXPECT_EQ(payload.isNull() ? "" : test::wireFaults(payload), "");
}

std::vector<Dictionary> Script::call(std::string_view selector, const Array& arguments) {
  return run(jsonText({{"do", "call"}, {"method", selector}, {"args", arguments}}));
}

Value Script::result(std::string_view selector, const Array& arguments) {
  const auto returned = named(call(selector, arguments), "returned");
  EXPECT_EQ(returned.size(), 1U);
  return returned.empty() ? Value() : returned[0]["value"];
}

std::vector<Dictionary> Script::construct(const Value& options, bool keep) {
  return run(jsonText({{"do", "construct"}, {"options", options}, {"keep", keep}}));
}

std::vector<Dictionary> Script::reply(std::int64_t request, const Value& body) {
  return run(jsonText({{"do", "reply"}, {"request", request}, {"body", body}}));
}

std::vector<Dictionary> Script::advance(double seconds) {
  return run(jsonText({{"do", "advance"}, {"seconds", seconds}}));
}

Value Script::stored(std::string_view name) {
  const auto events = run(jsonText({{"do", "store"}, {"get", Array({fullKey(name)})}}));
  return events.at(0)["values"].dictionary()[fullKey(name)];
}

void Script::store(std::string_view name, const Value& value) {
  run(jsonText({{"do", "store"}, {"set", Value{{fullKey(name), value}}}}));
}

Value Script::state(std::string_view name) { return run(R"({"do":"state"})").at(0)["values"].dictionary()[name]; }

std::vector<std::string> Script::timers() {
  std::vector<std::string> result;
  for (const Value& timer : state("timers").array()) {
    result.push_back(timer.dictionary()["selector"].text() + " in " + jsonText(timer.dictionary()["due_in"]));
  }
  return result;
}

std::vector<std::string> inShort(const std::vector<Dictionary>& events) {
  std::vector<std::string> lines;
  for (const Dictionary& event : events) {
    std::string line = event["event"].text();
    for (const std::string_view member : {"selector", "seconds", "request", "method", "task", "ok"}) {
      const Value value = event[member];
      if (value.isNull()) continue;
      line += " " + (value.isText() ? value.text() : jsonText(value));
    }
    lines.push_back(line);
  }
  return lines;
}

std::vector<Dictionary> named(const std::vector<Dictionary>& events, std::string_view name) {
  std::vector<Dictionary> found;
  for (const Dictionary& event : events) {
    if (event["event"] == Value(name)) found.push_back(event);
  }
  return found;
}

Value quietReply() { return {{"success", 1}, {"flags", Value{{"resend_initial", false}}}}; }

}  // namespace fliprugair::sim
