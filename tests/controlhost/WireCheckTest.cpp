#include <gtest/gtest.h>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/WireCheck.h"

namespace fliprugair::controlhost {

namespace {

/// Texts of all findings about `text`, severity first, a line each.
std::string findingsOf(const std::string& text) {
  static const WireCheck check;
  const auto value = RapidJSONSerialization().value(text);
  EXPECT_TRUE(value) << text;
  std::string lines;
  for (const Finding& finding : check.findings(value ? *value : Value())) {
    lines += (lines.empty() ? "" : "\n") + std::string(nameOf(finding.severity)) + ": " + finding.text;
  }
  return lines;
}

const std::string ids = R"("marlune_device_id":"MI1","marlune_app_id":"demo",)";
const std::string sdk = R"("sdk_version":"ios-20160921","sdk_protocol":"4",)";
const std::string clock = R"("usertime":"1700000000","uptime":"5")";

std::string event(const std::string& more) {
  return R"([{"action":"event",)" + ids + sdk + R"("data":{)" + clock + R"(,"event_name":"level")" + more + "}}]";
}
std::string session(const std::string& data) {
  return R"([{"action":"session",)" + ids + sdk + R"("data":{)" + data + "}}]";
}
std::string spatial(const std::string& data) { return R"([{"action":"spatial",)" + ids + R"("data":{)" + data + "}}]"; }
std::string deeplink(const std::string& data) {
  return R"([{"action":"deeplink",)" + ids + R"("data":{)" + data + "}}]";
}
std::string update(const std::string& data) {
  return R"({"action":"update",)" + ids + sdk + R"("data":{)" + data + "}}";
}
std::string initial(const std::string& more) {
  return R"({"action":"initial",)" + ids + sdk + R"("data":{"device":"x","language":"en","package_name":"p",)" +
         R"("app_version":"1","app_short_string":"1","os_version":"iOS 9.3","app_limit_tracking":"0","new_user":"1",)" +
         R"("dev_id_strategy":"1","is_genuine":"1","currency":"usd",)" + clock + more + "}}";
}
std::string init(const std::string& data, const std::string& orig = "") {
  return R"({"action":"init",)" + ids + sdk + R"("data":{"partner_id":"","partner_name":"","package_name":"p",)" +
         R"("platform":"ios","session_tracking":"full","currency":"usd","os_version":"iOS 9.3")" + data +
         R"(},"data_orig":{)" + orig + "}}";
}
const std::string xyz = R"("event_name":"at","x":"1.500000","y":"-2.000000","z":"0.000000","usertime":"1700000000")";

TEST(WireCheck, WhatATrackerSendsIsInOrder) {
  for (
      const std::string& good :
      {event(""), event(R"(,"event_data":"7","currency":"usd","geo_lat":"1.5","geo_long":2)"),
       event(
           R"(,"event_data":"7","receipt":"AA==","currency":"usd","event_standard":1,"updelta":"3","last_post_time":17)"),
       session(R"("state":"resume",)" + clock), session(R"("state":"pause","usertime":"1","uptime":"-5")"),
       spatial(xyz), deeplink(R"("uri":"","source_app":"",)" + clock), update(R"("language":"de")"),
       update(R"("location":{"lat":1.5,"lon":2,"acc":10})"), update(R"("outside_services":["One","One"])"),
       initial(R"(,"screen_brightness":0.5,"network_conn_type":"wifi","device_orientation":"portrait")"),
       init(R"(,"idfv":"","idfa":"66666666-7777-4888-9999-AAAAAAAAAAAA")"),
       R"({"action":"get_attribution",)" + ids + R"("sdk_version":"ios-20160921","sdk_protocol":"4"})",
       R"([{"action":"identityLink",)" + ids + R"("data":{"user":{"deep":[null]}}}])"}) {
    EXPECT_EQ(findingsOf(good), "") << good;
  }
}

struct Wrong {
  std::string request;
  const char* finding;
};

class WrongRequest : public testing::TestWithParam<Wrong> {};

TEST_P(WrongRequest, HasItsFinding) { EXPECT_EQ(findingsOf(GetParam().request), GetParam().finding); }

const char* const seconds =
    "error: /data/usertime is the number 5, and should be whole seconds since 1970 as text, as \"1700000000\". Send it "
    "as text, in quotes.";

const Wrong wrong[] = {
    // The envelope.
    {R"({"action":"fly",)" + ids + R"("data":{}})",
     "error: /action is the text \"fly\", and should be one of init, initial, update, session, event, identityLink, "
     "spatial, deeplink, get_attribution. A request is of one of these kinds; look at its spelling."},
    {R"({"action":7,)" + ids + R"("data":{}})",
     "error: /action is the number 7, and should be one of init, initial, update, session, event, identityLink, "
     "spatial, deeplink, get_attribution. A request is of one of these kinds; look at its spelling."},
    {R"([{"action":"identityLink","marlune_app_id":"a","data":{}}])",
     "error: The record has no \"marlune_device_id\", which should be the device's identifier, a text that is not "
     "empty. Add it."},
    {R"([{"action":"identityLink","marlune_device_id":"MI1","data":{}}])",
     "error: The record has no \"marlune_app_id\", which should be the application's identifier as text; \"\" for a "
     "partner's application. Add it."},
    {R"([{"action":"identityLink","marlune_device_id":"","marlune_app_id":"a","data":{}}])",
     "error: /marlune_device_id is the text \"\", and should be the device's identifier, a text that is not empty. "
     "Give it its value: it cannot be empty."},
    {R"([{"action":"identityLink","marlune_device_id":5,"marlune_app_id":"a","data":{}}])",
     "error: /marlune_device_id is the number 5, and should be the device's identifier, a text that is not empty. Send "
     "it as text, in quotes."},
    {R"([{"action":"identityLink","marlune_device_id":"MI1","marlune_app_id":null,"data":{}}])",
     "error: /marlune_app_id is null, and should be the application's identifier as text; \"\" for a partner's "
     "application. Leave out what has no value."},
    {R"([{"action":"identityLink",)" + ids + sdk + R"("data":{}}])",
     "warning: /sdk_version is not known there; known are action, marlune_app_id, marlune_device_id, data. Leave it "
     "out, or look at its spelling.\nwarning: /sdk_protocol is not known there; known are action, marlune_app_id, "
     "marlune_device_id, data. Leave it out, or look at its spelling."},
    {R"([{"action":"identityLink",)" + ids + R"("data":[]}])",
     "error: /data is an empty list, and should be an object: what the request says. Send its members between { and "
     "}."},
    {R"([{"action":"identityLink","marlune_device_id":"MI1","marlune_app_id":"a"}])",
     "error: The record has no \"data\", which should be an object: what the request says. Add it."},
    {R"({"action":"get_attribution",)" + ids + R"("sdk_version":"x","sdk_protocol":4})",
     "error: /sdk_protocol is the number 4, and should be the text \"4\". The protocol's version is a text of one "
     "character."},
    {R"({"action":"get_attribution",)" + ids + R"("sdk_version":"x","sdk_protocol":"5"})",
     "error: /sdk_protocol is the text \"5\", and should be the text \"4\". The protocol's version is a text of one "
     "character."},
    {R"({"action":"get_attribution",)" + ids + R"("sdk_protocol":"4"})",
     "error: The record has no \"sdk_version\", which should be the library's version, a text as \"ios-20160921\". Add "
     "it."},
    {R"({"action":"get_attribution",)" + ids + sdk + R"("data":{}})",
     "warning: /data is not known there; known are action, marlune_app_id, marlune_device_id, sdk_version, "
     "sdk_protocol. Leave it out, or look at its spelling."},
    // How it travels.
    {R"([{"action":"get_attribution",)" + ids + R"("sdk_version":"x","sdk_protocol":"4"}])",
     "warning: \"get_attribution\" came as a record of a batch, and travels as a request of its own. Post it by "
     "itself, as an object."},
    {R"({"action":"identityLink",)" + ids + R"("data":{}})",
     "warning: \"identityLink\" came as a request of its own, and travels as a record of a batch. Put it into the "
     "array of a batch."},
    {"[]", "warning: The batch has no records, and should have 1 to 25. Send nothing when there is nothing to send."},
    // Events.
    {R"([{"action":"event",)" + ids + sdk + R"("data":{"usertime":5,"uptime":"1","event_name":"x"}}])", seconds},
    {R"([{"action":"event",)" + ids + sdk + R"("data":{"usertime":"soon","uptime":"1","event_name":"x"}}])",
     "error: /data/usertime is the text \"soon\", and should be whole seconds since 1970 as text, as \"1700000000\". "
     "Write it in that form, with nothing before and behind it."},
    {R"([{"action":"event",)" + ids + sdk + R"("data":{"usertime":"1","uptime":1.5,"event_name":"x"}}])",
     "error: /data/uptime is the number 1.5, and should be whole seconds as text, as \"120\". Send it as text, in "
     "quotes."},
    {R"([{"action":"event",)" + ids + sdk + R"("data":{"usertime":"1","uptime":"1"}}])",
     "error: /data has no \"event_name\", which should be a text. Add it."},
    {event(R"(,"currency":"usd")"),
     "error: /data has \"currency\" without \"event_data\". What stands behind a missing value is not sent either."},
    {event(R"(,"event_data":"7","geo_lat":"1")"),
     "error: /data has \"geo_lat\" without \"currency\". What stands behind a missing value is not sent either."},
    {event(R"(,"event_data":"7","currency":"usd","geo_long":"1")"),
     "error: /data has \"geo_long\" without \"geo_lat\". What stands behind a missing value is not sent either."},
    {event(R"(,"event_data":{"a":1})"),
     "error: /data/event_data is an object, and should be a text. Send one text, in quotes; of an object or a list its "
     "JSON as text."},
    {event(R"(,"event_data":"7","currency":7)"),
     "warning: /data/currency is the number 7, and should be a text, as \"usd\". It is what the last init reply set; "
     "\"currency\" there should be a text."},
    {event(R"(,"event_standard":true)"),
     "error: /data/event_standard is true, and should be the number 1. Leave it out for an event of the application's "
     "own."},
    {event(R"(,"updelta":"0")"),
     "error: /data/updelta is the text \"0\", and should be whole seconds above 0 as text, as \"120\". Leave it out "
     "when no second has passed."},
    {event(R"(,"last_post_time":[])"),
     "error: /data/last_post_time is an empty list, and should be seconds since 1970 as a number or as text, above 0. "
     "Leave it out while nothing has been posted."},
    {event(R"(,"last_post_time":-1)"),
     "error: /data/last_post_time is the number -1, and should be seconds since 1970 as a number or as text, above 0. "
     "Leave it out while nothing has been posted."},
    {event(R"(,"last_post_time":"0")"),
     "error: /data/last_post_time is the text \"0\", and should be seconds since 1970 as a number or as text, above 0. "
     "Leave it out while nothing has been posted."},
    {event(R"(,"event_value":"7")"),
     "warning: /data/event_value is not known there; known are usertime, uptime, event_name, event_data, receipt, "
     "currency, geo_lat, geo_long, event_standard, updelta, last_post_time. Leave it out, or look at its spelling."},
    {event(R"(,"receipt":"AA==")"),
     "error: /data has \"receipt\" without \"event_data\". What stands behind a missing value is not sent either."},
    // Sessions.
    {session(R"("state":"stop",)" + clock),
     "error: /data/state is the text \"stop\", and should be \"resume\" or \"pause\". Send one of these; capitals and "
     "blanks count."},
    {session(clock), "error: /data has no \"state\", which should be \"resume\" or \"pause\". Add it."},
    // Spatial events and deep links.
    {spatial(R"("event_name":"at","x":1.5,"y":"0.000000","z":"0.000000","usertime":"1")"),
     "error: /data/x is the number 1.5, and should be a coordinate as text with six digits behind the point, as "
     "\"1.500000\". Send it as text, in quotes."},
    {spatial(R"("event_name":"at","x":"1.5","y":"0.000000","z":"0.000000","usertime":"1")"),
     "error: /data/x is the text \"1.5\", and should be a coordinate as text with six digits behind the point, as "
     "\"1.500000\". Write it in that form, with nothing before and behind it."},
    {spatial(xyz + R"(,"uptime":"5")"),
     "warning: /data/uptime is not known there; known are event_name, x, y, z, usertime, updelta, last_post_time. "
     "Leave it out, or look at its spelling."},
    {deeplink(R"("source_app":"",)" + clock), "error: /data has no \"uri\", which should be a text. Add it."},
    {deeplink(R"("uri":null,"source_app":"",)" + clock),
     "error: /data/uri is null, and should be a text. Leave out what has no value."},
    // Updates.
    {update(""),
     "error: /data is an empty object, and should be an object with at least one property that has changed. Send no "
     "update when nothing has changed."},
    {update(R"("app_limit_tracking":true)"),
     "error: /data/app_limit_tracking is true, and should be \"0\" or \"1\". Flags are texts here, not booleans and "
     "not numbers."},
    {update(R"("location":{"lat":"1","lon":2,"acc":3})"),
     "error: /data/location/lat is the text \"1\", and should be a latitude in degrees, a number from -90 to 90. Send "
     "it as a number, without quotes."},
    {update(R"("location":{"lat":91,"lon":2,"acc":3})"),
     "error: /data/location/lat is the number 91, and should be a latitude in degrees, a number from -90 to 90. Look "
     "at its unit, and whether two values are exchanged."},
    {update(R"("location":{"lat":1,"lon":2})"),
     "error: /data/location has no \"acc\", which should be the accuracy in metres, a number. Add it."},
    {update(R"("outside_services":[])"),
     "error: /data/outside_services is an empty list, and should be a list of the services' names, as [\"Service\"]. "
     "Report services only when one was found, by their names."},
    {update(R"("outside_services":["One",2])"),
     "error: /data/outside_services/1 is the number 2, and should be a text. Send it as text, in quotes."},
    // The installation.
    {initial(R"(,"screen_brightness":"0.5")"),
     "error: /data/screen_brightness is the text \"0.5\", and should be the brightness as a number, as 0.5. This is "
     "the one number among texts."},
    {initial(R"(,"network_conn_type":"none")"),
     "error: /data/network_conn_type is the text \"none\", and should be \"cellular\" or \"wifi\". Leave it out "
     "without a connection."},
    {initial(R"(,"device_orientation":"upside-down")"),
     "error: /data/device_orientation is the text \"upside-down\", and should be \"portrait\" or \"landscape\". Send "
     "one of these; capitals and blanks count."},
    {initial(R"(,"disp_w":"750")"),
     "error: /data has \"disp_w\" without \"disp_h\". What stands behind a missing value is not sent either."},
    {initial(R"(,"disp_w":750,"disp_h":"1334")"),
     "error: /data/disp_w is the number 750, and should be a whole number as text, as \"1080\". Send it as text, in "
     "quotes."},
    {initial(R"(,"receipt":"not base64!")"),
     "error: /data/receipt is the text \"not base64!\", and should be the receipt in base64 on one line. Write it in "
     "that form, with nothing before and behind it."},
    // The question for settings.
    {init(R"(,"idfa":null)"),
     "error: /data/idfa is null, and should be a text: the identifier, or \"\" when the device has none. Leave out "
     "what has no value."},
    {init("", R"("marlune_device_id":"MI1","currency":"usd")"),
     "error: /data_orig has \"currency\" without \"session_tracking\". What stands behind a missing value is not sent "
     "either."},
    {R"({"action":"init",)" + ids + sdk +
         R"("data":{"partner_id":"","partner_name":"","package_name":"p","platform":"ios",)" +
         R"("session_tracking":"full","currency":"usd","os_version":"iOS 9.3"}})",
     "error: The record has no \"data_orig\", which should be an object: how the application began. Add it."},
};

INSTANTIATE_TEST_SUITE_P(EachOfMany, WrongRequest, testing::ValuesIn(wrong));

TEST(WireCheck, FindingsOfOnePlaceStandInTheOrderOfTheRecord) {
  const std::string begin = R"([{"action":"identityLink",)" + ids + R"("data":{},)";
  const WireCheck check;
  for (const auto& [members, first, second] :
       {std::tuple{R"("zebra":1,"ant":2)", "/zebra", "/ant"}, std::tuple{R"("ant":1,"zebra":2)", "/ant", "/zebra"}}) {
    const std::vector<Finding> findings = check.findings(*RapidJSONSerialization().value(begin + members + "}]"));
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].path, first);
    EXPECT_EQ(findings[1].path, second);
  }
}

TEST(WireCheck, ABatchHasAtMost25Records) {
  std::string batch = "[";
  for (int record = 0; record < 26; ++record) {
    batch += (record > 0 ? "," : "") + (R"({"action":"identityLink",)" + ids + R"("data":{}})");
  }
  EXPECT_EQ(findingsOf(batch + "]"),
            "warning: The batch has 26 records, and should have 1 to 25. Send the batch when it has 25 records.");
}

TEST(WireCheck, ATextMayBeLong) {
  EXPECT_EQ(findingsOf(initial(R"(,"receipt":")" + std::string(5000000, 'A') + '"')), "");
  EXPECT_EQ(findingsOf(session(R"("state":"pause","uptime":"1","usertime":")" + std::string(5000000, '1') + '"')), "");
}

TEST(WireCheck, AFindingSaysWhereItIs) {
  const WireCheck check;
  const Value good{
      {"action", "identityLink"}, {"marlune_device_id", "MI1"}, {"marlune_app_id", "a"}, {"data", Dictionary()}};
  const Value bad{
      {"action", "identityLink"}, {"marlune_device_id", "MI1"}, {"marlune_app_id", 1}, {"data", Dictionary()}};
  const std::vector<Finding> findings = check.findings(Array{good, bad});
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].record, 1);
  EXPECT_EQ(findings[0].path, "/marlune_app_id");
  EXPECT_EQ(findings[0].got, "the number 1");
}

}  // namespace

}  // namespace fliprugair::controlhost
