#include <gtest/gtest.h>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Answers.h"
#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

namespace {

Value request(const char* action, const char* device = "MI1") {
  return Value{{"action", action}, {"marlune_device_id", device}};
}

/// A host's answers by settings that the test may change.
class AnswersTest : public testing::Test {
 protected:
  HostAnswer answer(const Value& body) {
    ReceivedRequest request;
    describe(request, body);
    return answers_.answer(request);
  }
  Value reply(const Value& body) { return RapidJSONSerialization().value(answer(body).body).value_or(Value()); }

  HostSettings settings_;
  Answers answers_{[this] { return settings_; }};
};

Value notYet(std::int64_t retry) { return Value{{"success", 1}, {"data", Value{{"retry", retry}}}}; }

Value finally(const Value& answer) {
  return Value{{"success", 1}, {"data", Value{{"retry", -1}, {"attribution", answer}}}};
}

TEST_F(AnswersTest, AnswersInitAndInitialAsTheSettingsSay) {
  settings_.init = Value{{"success", 1}, {"flags", Value{{"mlinit_wait", 90}}}};
  settings_.initial = Value{{"success", 0}};
  EXPECT_EQ(reply(request("init")), settings_.init);
  EXPECT_EQ(reply(request("initial")), settings_.initial);
}

TEST_F(AnswersTest, AcceptsEverythingElse) {
  for (const Value& sent : {request("update"), request("session"), Value(Array{request("event"), request("init")}),
                            Value(Array()), Value{{"no action", 1}}}) {
    const HostAnswer answered = answer(sent);
    EXPECT_EQ(answered.status, 200);
    EXPECT_EQ(answered.body, R"({"success":1})");
  }
}

TEST_F(AnswersTest, AnswersAttributionAtOnceUnlessToldOtherwise) {
  settings_.attribution.answer = Value{{"network", "one"}};
  EXPECT_EQ(reply(request("get_attribution")), finally(Value{{"network", "one"}}));
}

TEST_F(AnswersTest, CountsTheAttributionPollsOfEachDevice) {
  settings_.attribution = {2, 15, "false"};
  const auto poll = [&](const char* device) { return reply(request("get_attribution", device)); };
  EXPECT_EQ(poll("MI1"), notYet(15));
  EXPECT_EQ(poll("MI1"), notYet(15));
  EXPECT_EQ(poll("MI2"), notYet(15));
  EXPECT_EQ(poll("MI1"), finally("false"));
  EXPECT_EQ(poll("MI2"), notYet(15));
  EXPECT_EQ(poll("MI2"), finally("false"));
}

TEST_F(AnswersTest, NeverAnswersAttributionWhenThereIsNone) {
  settings_.attribution = {0, 5, nullptr};
  for (int poll = 0; poll < 10; ++poll) EXPECT_EQ(reply(request("get_attribution")), notYet(5));
}

TEST_F(AnswersTest, PutsOffTheFirstInitsOfEachDevice) {
  settings_.resonanceCascade = 2;
  const Value later{{"success", 0}, {"msg", Array{"resonance_cascade"}}};
  EXPECT_EQ(reply(request("init", "MI1")), later);
  EXPECT_EQ(reply(request("init", "MI1")), later);
  EXPECT_EQ(reply(request("init", "MI2")), later);
  EXPECT_EQ(reply(request("init", "MI1")), settings_.init);
}

TEST_F(AnswersTest, PlaysFailuresWhichDoNotCount) {
  settings_.status = {{"get_attribution", 503}, {"batch", 400}};
  settings_.attribution = {1, 5, "false"};
  EXPECT_EQ(answer(request("get_attribution")).status, 503);
  EXPECT_EQ(answer(Array{request("event")}).status, 400);
  EXPECT_EQ(answer(request("event")).status, 200);
  settings_.status.clear();
  EXPECT_EQ(reply(request("get_attribution")), notYet(5));
}

TEST_F(AnswersTest, TheFirstRuleThatMatchesAnswers) {
  HostSettings forDevice;
  forDevice.initial = Value{{"success", 2}};
  HostSettings forApp;
  forApp.initial = Value{{"success", 3}};
  answers_.setRules({{"one", "MI1", "", forDevice}, {"two", "", "app", forApp}});
  const Value both{{"action", "initial"}, {"marlune_device_id", "MI1"}, {"marlune_app_id", "app"}};
  EXPECT_EQ(reply(both), forDevice.initial);
  EXPECT_EQ(answer(both).rule, 0);
  const Value app{{"action", "initial"}, {"marlune_device_id", "MI2"}, {"marlune_app_id", "app"}};
  EXPECT_EQ(reply(app), forApp.initial);
  EXPECT_EQ(answer(app).rule, 1);
  EXPECT_EQ(reply(request("initial", "MI2")), settings_.initial);
  EXPECT_EQ(answer(request("initial", "MI2")).rule, -1);
}

TEST_F(AnswersTest, RawTextGoesOutAsItStands) {
  settings_.raw["init"] = "{ broken";
  EXPECT_EQ(answer(request("init")).body, "{ broken");
  EXPECT_EQ(answer(request("initial")).body, R"({"success":1})");
}

TEST_F(AnswersTest, WhatTheyGiveAsJSONTheyTakeAgain) {
  const Value rule{{"device", "MI1"}, {"settings", Value{{"delay_ms", 20}}}};
  EXPECT_TRUE(answers_.setJSON(Value{{"rules", Array{rule}}, {"default", Value{{"resonance_cascade", 1}}}}).empty());
  const Value first = answers_.json();
  EXPECT_TRUE(answers_.setJSON(first).empty());
  EXPECT_EQ(answers_.json(), first);
  EXPECT_EQ(answer(request("initial", "MI1")).delay, std::chrono::milliseconds(20));
  EXPECT_EQ(answer(request("initial", "MI2")).delay, std::chrono::milliseconds(0));
}

TEST_F(AnswersTest, FaultyJSONChangesNothingAndSaysWhere) {
  const Value before = answers_.json();
  const Value faulty{{"rules", Array{Value{{"settings", Value{{"delay_ms", -1}}}}}}, {"default", 7}};
  EXPECT_EQ(answers_.setJSON(faulty),
            (std::vector<std::string>{
                "rules[0].settings: delay_ms is the number -1, and should be a whole number from 0 to 600000",
                "default: the file is the number 7, and should be an object, as {\"init\": {\"success\": 1}}"}));
  EXPECT_EQ(answers_.json(), before);
}

TEST_F(AnswersTest, AMisspeltMemberIsRefusedWithThoseThatThereAre) {
  EXPECT_EQ(answers_.setJSON(Value{{"defualt", Dictionary()}}),
            std::vector<std::string>{"defualt is not known; what can stand there: rules, default"});
  EXPECT_EQ(
      answers_.setJSON(Value{{"rules", Array{Value{{"devcie", "MI1"}}}}}),
      std::vector<std::string>{"rules[0].devcie is not known; what can stand there: name, device, app, settings"});
}

TEST_F(AnswersTest, ResettingGoesBackToTheSettingsOfTheStart) {
  answers_.setInitReply(Value{{"success", 0}});
  EXPECT_EQ(reply(request("init")), Value({{"success", 0}}));
  answers_.reset();
  EXPECT_EQ(reply(request("init")), settings_.init);
}

}  // namespace

}  // namespace fliprugair::controlhost
