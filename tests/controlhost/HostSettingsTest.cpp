#include <gtest/gtest.h>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/HostSettings.h"

namespace fliprugair::controlhost {

namespace {

std::vector<std::string> problemsOf(const std::string& text) {
  const std::optional<Value> value = RapidJSONSerialization().value(text);
  EXPECT_TRUE(value) << text;
  return settingsProblems(value ? *value : Value());
}

TEST(HostSettings, WhatAHostMayAnswerIsNoProblem) {
  EXPECT_EQ(problemsOf(R"({
    "init": {"success": "1", "msg": ["maintenance"],
             "flags": {"marlune_app_id": "a", "marlune_device_id": "d", "mlinit_wait": 60, "mltracker_wait": "-5",
                       "iad_attribution_attempts": 1, "iad_attribution_wait": 2.5, "iad_retry_wait": "10",
                       "send_id_updates": "1", "resend_initial": false, "location_accuracy": 50,
                       "location_timeout": 15, "location_staleness": 15, "currency": "eur",
                       "session_tracking": "none", "getattribution_wait": 7},
             "blacklist": ["idfa"], "eventname_blacklist": [], "whitelist": ["location"],
             "outside_services": {"ios_nsud": {"service": ["key"]}, "ios_docs": {}}},
    "initial": {"anything": 1},
    "attribution": {"polls": 3, "retry": 0, "answer": null},
    "resonance_cascade": 2,
    "raw": {"init": "{ broken", "batch": ""},
    "status": {"init": 200, "initial": 500, "update": 404, "get_attribution": 599, "batch": 503},
    "delay_ms": 600000})"),
            std::vector<std::string>{});
  EXPECT_TRUE(problemsOf("{}").empty());
  EXPECT_TRUE(problemsOf(R"({"attribution": {"answer": "false"}})").empty());
  EXPECT_TRUE(problemsOf(R"({"init": {"msg": "text"}})").empty());
}

TEST(HostSettings, EveryProblemSaysWhereAndWhatWouldBeRight) {
  struct Row {
    const char* file;
    const char* problem;
  };
  const Row rows[] = {
      {R"([])", "the file is an empty list, and should be an object, as {\"init\": {\"success\": 1}}"},
      {R"({"initt": {}})",
       "initt is not known; what can stand there: init, initial, attribution, resonance_cascade, raw, status, "
       "delay_ms"},
      {R"({"init": []})", "init is an empty list, and should be an object, as {}"},
      {R"({"init": {"succes": 1}})",
       "init.succes is not known; what can stand there: success, msg, flags, blacklist, eventname_blacklist, "
       "whitelist, outside_services"},
      {R"({"init": {"success": []}})",
       "init.success is an empty list, and should be true or false, as a boolean, a number or a text, as false, 0 or "
       "\"0\""},
      {R"({"init": {"msg": [1]}})",
       "init.msg is a list, and should be a text or a list of texts, as [\"resonance_cascade\"]"},
      {R"({"init": {"flags": {"mlinit_wait": "soon"}}})",
       "init.flags.mlinit_wait is the text \"soon\", and should be a number, or its text, as 60 or \"60\""},
      {R"({"init": {"flags": {"mlinit_wait": true}}})",
       "init.flags.mlinit_wait is true, and should be a number, or its text, as 60 or \"60\""},
      {R"({"init": {"flags": {"mlinit_wait": ""}}})",
       "init.flags.mlinit_wait is the text \"\", and should be a number, or its text, as 60 or \"60\""},
      {R"({"init": {"flags": {"mlinit_wait": "-"}}})",
       "init.flags.mlinit_wait is the text \"-\", and should be a number, or its text, as 60 or \"60\""},
      {R"({"init": {"flags": {"currency": ""}}})",
       "init.flags.currency is the text \"\", and should be a text that is not empty"},
      {R"({"init": {"flags": {"session_tracking": "some"}}})",
       "init.flags.session_tracking is the text \"some\", and should be \"full\" or \"none\""},
      {R"({"init": {"blacklist": "idfa"}})",
       "init.blacklist is the text \"idfa\", and should be a list of texts, as [\"idfa\", \"idfv\"]"},
      {R"({"init": {"outside_services": {"ios_docs": {"service": "name"}}}})",
       "init.outside_services.ios_docs is an object, and should be an object of lists of texts by service, as "
       "{\"service\": [\"name\"]}"},
      {R"({"attribution": {"polls": 1.5}})",
       "attribution.polls is the number 1.5, and should be a whole number from 0 to 1000000"},
      {R"({"attribution": {"answer": "true"}})",
       "attribution.answer is the text \"true\", and should be an object (the attribution), \"false\" (there is none) "
       "or null (never an answer)"},
      {R"({"status": {"init": 99}})", "status.init is the number 99, and should be a whole number from 200 to 599"},
      {R"({"status": {"event": 500}})",
       "status.event is not known; what can stand there: init, initial, update, get_attribution, batch"},
      {R"({"delay_ms": null})", "delay_ms is null, and should be a whole number from 0 to 600000"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(problemsOf(row.file), std::vector<std::string>{row.problem}) << row.file;
  }
}

TEST(HostSettings, AllProblemsAreNamedAtOnce) {
  EXPECT_EQ(problemsOf(R"({"delay_ms": -1, "init": {"flags": 1, "msg": 2}, "x": 1})").size(), 4u);
}

TEST(HostSettings, WhatTheFileLeavesOutKeepsItsDefault) {
  const HostSettings defaults;
  const HostSettings settings = settingsOf(Value{{"attribution", Value{{"polls", 4}}}, {"delay_ms", 20}});
  EXPECT_EQ(settings.init, defaults.init);
  EXPECT_EQ(settings.initial, defaults.initial);
  EXPECT_EQ(settings.attribution.polls, 4);
  EXPECT_EQ(settings.attribution.retry, defaults.attribution.retry);
  EXPECT_EQ(settings.attribution.answer, defaults.attribution.answer);
  EXPECT_EQ(settings.resonanceCascade, 0);
  EXPECT_EQ(settings.delay, std::chrono::milliseconds(20));
}

TEST(HostSettings, AreWrittenAsAFileSaysThem) {
  HostSettings settings;
  settings.raw["init"] = "{ broken";
  settings.status["batch"] = 503;
  settings.attribution = {2, 7, nullptr};
  settings.delay = std::chrono::milliseconds(30);
  const Value file = fileOf(settings);
  EXPECT_EQ(settingsProblems(file), std::vector<std::string>{});
  EXPECT_EQ(fileOf(settingsOf(file)), file);
}

}  // namespace

}  // namespace fliprugair::controlhost
