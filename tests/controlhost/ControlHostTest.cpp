#include <gtest/gtest.h>

#include "tools/controlhost/ControlHost.h"

namespace fliprugair::controlhost {

namespace {

Value request(const char* action, const char* device = "MI1") {
  return Value{{"action", action}, {"marlune_device_id", device}};
}

Value notYet(std::int64_t retry) { return Value{{"success", 1}, {"data", Value{{"retry", retry}}}}; }

Value finally(const Value& answer) {
  return Value{{"success", 1}, {"data", Value{{"retry", -1}, {"attribution", answer}}}};
}

TEST(ControlHost, AnswersInitAndInitialAsTheSettingsSay) {
  HostSettings settings;
  settings.init = Value{{"success", 1}, {"flags", Value{{"mlinit_wait", 90}}}};
  settings.initial = Value{{"success", 0}};
  ControlHost host;
  EXPECT_EQ(host.answer(request("init"), settings).reply, settings.init);
  EXPECT_EQ(host.answer(request("initial"), settings).reply, settings.initial);
}

TEST(ControlHost, AcceptsEverythingElse) {
  ControlHost host;
  for (const Value& sent : {request("update"), request("session"), Value(Array{request("event"), request("init")}),
                            Value(Array()), Value{{"no action", 1}}}) {
    const HostAnswer answer = host.answer(sent, HostSettings());
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.reply, Value({{"success", 1}}));
  }
}

TEST(ControlHost, AnswersAttributionAtOnceUnlessToldOtherwise) {
  HostSettings settings;
  settings.attribution.answer = Value{{"network", "one"}};
  ControlHost host;
  EXPECT_EQ(host.answer(request("get_attribution"), settings).reply, finally(Value{{"network", "one"}}));
}

TEST(ControlHost, CountsTheAttributionPollsOfEachDevice) {
  HostSettings settings;
  settings.attribution = {2, 15, "false"};
  ControlHost host;
  const auto poll = [&](const char* device) { return host.answer(request("get_attribution", device), settings).reply; };
  EXPECT_EQ(poll("MI1"), notYet(15));
  EXPECT_EQ(poll("MI1"), notYet(15));
  EXPECT_EQ(poll("MI2"), notYet(15));
  EXPECT_EQ(poll("MI1"), finally("false"));
  EXPECT_EQ(poll("MI2"), notYet(15));
  EXPECT_EQ(poll("MI2"), finally("false"));
}

TEST(ControlHost, NeverAnswersAttributionWhenThereIsNone) {
  HostSettings settings;
  settings.attribution = {0, 5, nullptr};
  ControlHost host;
  for (int poll = 0; poll < 10; ++poll) EXPECT_EQ(host.answer(request("get_attribution"), settings).reply, notYet(5));
}

TEST(ControlHost, PutsOffTheFirstInitsOfEachDevice) {
  HostSettings settings;
  settings.resonanceCascade = 2;
  const Value later{{"success", 0}, {"msg", Array{"resonance_cascade"}}};
  ControlHost host;
  EXPECT_EQ(host.answer(request("init", "MI1"), settings).reply, later);
  EXPECT_EQ(host.answer(request("init", "MI1"), settings).reply, later);
  EXPECT_EQ(host.answer(request("init", "MI2"), settings).reply, later);
  EXPECT_EQ(host.answer(request("init", "MI1"), settings).reply, settings.init);
}

TEST(ControlHost, PlaysFailuresWhichDoNotCount) {
  HostSettings settings;
  settings.status = {{"get_attribution", 503}, {"batch", 400}};
  settings.attribution = {1, 5, "false"};
  ControlHost host;
  EXPECT_EQ(host.answer(request("get_attribution"), settings).status, 503);
  EXPECT_EQ(host.answer(Array{request("event")}, settings).status, 400);
  EXPECT_EQ(host.answer(request("event"), settings).status, 200);
  settings.status.clear();
  EXPECT_EQ(host.answer(request("get_attribution"), settings).reply, notYet(5));
}

TEST(ControlHost, KnowsABatchByTheDeviceOfItsFirstRecord) {
  EXPECT_EQ(deviceOf(Array{request("event", "MI7"), request("event", "MI8")}), "MI7");
  EXPECT_EQ(deviceOf(request("init", "MI9")), "MI9");
  EXPECT_EQ(deviceOf(Array()), "");
}

}  // namespace

}  // namespace fliprugair::controlhost
