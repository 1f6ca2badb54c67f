#include <gtest/gtest.h>

#include "tools/controlhost/Match.h"

namespace fliprugair::controlhost {

namespace {

TEST(Match, WhatCannotBeMeantIsAProblem) {
  const std::string actions =
      "batch, deeplink, event, get_attribution, identityLink, init, initial, session, spatial, update";
  const std::pair<const char*, std::string> rows[] = {
      {"evnet:level",
       "\"evnet:level\": there is no term \"evnet\"; a text that holds a colon stands in quotation marks."},
      {"http://x", "\"http://x\": there is no term \"http\"; a text that holds a colon stands in quotation marks."},
      {"event:level device:", "\"device:\": it has no value."},
      {"/data/x:", "\"/data/x:\": it has no value."},
      {"action:evnt", "\"action:evnt\": no request has the action \"evnt\"; there are " + actions + '.'},
      {"severity:bad", "\"severity:bad\": a severity is note, warning or error."},
      {"status:ok", "\"status:ok\": a status is a whole number."},
      {"id:1.0", "\"id:1.0\": an id is a whole number."},
      {"event:\"two words", "\"event:two words\": its quotation mark is not closed."},
  };
  for (const auto& [text, problem] : rows) EXPECT_EQ(Match(text).problem(), problem);
}

TEST(Match, EverythingElseIsNone) {
  for (const char* text : {"", "level", "event:level", "\"http://x\"", "/data/a:b:c", "/data/x:\"\"", "severity:note",
                           "action:batch status:0 id:7", "\"a b\" event:\"two words\""}) {
    EXPECT_EQ(Match(text).problem(), "") << text;
  }
}

/// A request with one event of that name, and whatever else.
ReceivedRequest eventOf(const std::string& name, const std::string& more = "") {
  ReceivedRequest request;
  request.bytes = R"([{"action":"event","marlune_device_id":"MI1","data":{"event_name":")" + name + "\"" + more + "}}]";
  return request;
}

bool holds(const std::string& match, const ReceivedRequest& request) { return Match(match).holds(request); }

TEST(Match, QuotationMarksHoldBlanksAndColonsTogether) {
  EXPECT_TRUE(holds("event:\"two words\"", eventOf("two words")));
  EXPECT_TRUE(holds("\"event:two\"", eventOf("event:two")));
  EXPECT_FALSE(holds("\"event:two\"", eventOf("two")));
  EXPECT_TRUE(holds("/data/x:\"\"", eventOf("one", R"(,"x":"")")));
}

TEST(Match, SaysWhatARecordHasInsteadOfEachTermThatItDoesNotMeet) {
  const ReceivedRequest request = eventOf("levl", R"(,"currency":"USD")");
  std::string said;
  for (const Match::Missed& missed :
       Match("action:event event:level state:pause Purchase /data/currency:EUR /data/x:1 severity:error")
           .missed(request, request.items()[0], 0)) {
    said += missed.term + " (" + missed.instead + ")\n";
  }
  EXPECT_EQ(said,
            "event:level (its event is \"levl\")\n"
            "state:pause (it has no state)\n"
            "Purchase (it holds no such text)\n"
            "/data/currency:EUR (it has \"USD\" there)\n"
            "/data/x:1 (it has nothing there)\n"
            "severity:error (it has no such finding)\n");
}

}  // namespace

}  // namespace fliprugair::controlhost
