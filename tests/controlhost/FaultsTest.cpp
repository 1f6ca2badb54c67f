// Faults as a client sees them on the wire.

#include <gtest/gtest.h>
#include <httplib.h>

#include "Fliprugair/ControlHost.h"
#include "controlhost/HttpClient.h"
#include "controlhost/Socket.h"
#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Faults.h"
#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

namespace {

using test::HttpAnswer;
using test::post;

const Value batch = Array{Value{{"action", "event"}, {"marlune_device_id", "MI1"}, {"marlune_app_id", "demo"}}};

TEST(Faults, AStatusIsForSoManyRequests) {
  ControlHost host;
  host.setFaults({{.kind = Fault::Kind::status, .action = "batch", .status = 503, .times = 2}});
  EXPECT_EQ(post(host.port(), batch).status, 503);
  EXPECT_EQ(post(host.port(), Value{{"action", "init"}}).status, 200);
  EXPECT_EQ(post(host.port(), batch).status, 503);
  EXPECT_EQ(post(host.port(), batch).status, 200);
  EXPECT_EQ(host.requests()[0].fault, "status 503");
  EXPECT_EQ(host.requests()[1].fault, "");
}

TEST(Faults, AFaultIsForOneDeviceOrApplication) {
  ControlHost host;
  host.setFaults({{.kind = Fault::Kind::status, .device = "MI2", .status = 500},
                  {.kind = Fault::Kind::status, .app = "demo", .status = 501}});
  EXPECT_EQ(post(host.port(), batch).status, 501);
  EXPECT_EQ(post(host.port(), Value{{"action", "init"}, {"marlune_device_id", "MI2"}}).status, 500);
}

TEST(Faults, SomeOfAHundredMeetAFaultByPercent) {
  ControlHost host;
  host.setFaults({{.kind = Fault::Kind::status, .status = 503, .percent = 30}});
  int failed = 0;
  for (int number = 0; number < 100; ++number) failed += post(host.port(), batch).status == 503;
  EXPECT_GT(failed, 10);
  EXPECT_LT(failed, 60);
}

TEST(Faults, AConnectionIsResetBeforeTheReply) {
  ControlHost host;
  host.setFaults({{.kind = Fault::Kind::resetBefore, .times = 1}});
  EXPECT_EQ(post(host.port(), batch).status, 0);
  EXPECT_EQ(post(host.port(), batch).status, 200);
  EXPECT_EQ(host.requests()[0].status, 0);
  EXPECT_FALSE(host.requests()[0].isConfirmed());
}

TEST(Faults, AReplyBreaksOffInItsMiddle) {
  for (const Fault::Kind kind : {Fault::Kind::resetDuring, Fault::Kind::truncate}) {
    ControlHost host;
    host.setFaults({{.kind = kind, .times = 1}});
    EXPECT_EQ(post(host.port(), batch).status, 0);
    EXPECT_FALSE(host.requests()[0].isConfirmed());
    EXPECT_EQ(post(host.port(), batch).status, 200);
  }
}

TEST(Faults, OfAReplyThatBreaksOffIsShownWhatWentOut) {
  ControlHost host;
  host.setFaults({{.kind = Fault::Kind::truncate}});
  const test::Socket client(host.port());
  client.send("POST /marlune/v4 HTTP/1.1\r\nHost: x\r\nContent-Length: 17\r\n\r\n{\"action\":\"init\"}");
  const std::string came = client.reply();
  const ReceivedRequest request = host.requests().at(0);
  EXPECT_EQ(came.substr(came.find("\r\n\r\n") + 4), request.reply);
  const std::string whole = std::to_string(RapidJSONSerialization().textOfAny(HostSettings().init).size());
  EXPECT_EQ(cutOf(request), "cut off after " + std::to_string(request.reply.size()) + " of " + whole + " bytes");
  EXPECT_EQ(wholeOf(request).dictionary()["reply"].dictionary()["cut"], Value(cutOf(request)));
  host.setFaults({});
  post(host.port(), batch);
  EXPECT_EQ(cutOf(host.requests().at(1)), "");
}

TEST(Faults, AHostThatHangsHangsUntilItEnds) {
  ControlHost host;
  host.setFaults({{.kind = Fault::Kind::hang, .times = 1}});
  HttpAnswer answer{200, ""};
  std::thread client([&] { answer = post(host.port(), batch); });
  EXPECT_TRUE(host.waitFor("action:event", 1, std::chrono::seconds(60)).matched);
  host.stop();
  client.join();
  EXPECT_EQ(answer.status, 0);
}

TEST(Faults, GarbageIsNoJSON) {
  ControlHost host;
  host.setFaults({{.kind = Fault::Kind::garbage, .times = 1}});
  const HttpAnswer answer = post(host.port(), batch);
  EXPECT_EQ(answer.status, 200);
  EXPECT_TRUE(answer.json().isNull());
}

TEST(Faults, AStatusThatHasNoBodyIsSentWithoutOne) {
  for (const int status : {204, 304}) {
    ControlHost host;
    host.setFaults({{.kind = Fault::Kind::status, .status = status}});
    httplib::Client client("127.0.0.1", host.port());
    const auto answer = client.Post("/marlune/v4", {{"Connection", "close"}}, R"({"action":"init"})",
                                    "application/json; charset=utf-8");
    ASSERT_TRUE(answer) << status;
    EXPECT_EQ(answer->status, status);
    EXPECT_EQ(answer->body, "");
    EXPECT_FALSE(answer->has_header("Content-Length"));
    EXPECT_FALSE(answer->has_header("Content-Type"));
    EXPECT_EQ(host.requests()[0].reply, "");
    EXPECT_EQ(host.requests()[0].status, status);
  }
}

TEST(Faults, AReplyWithoutABodyBreaksOffInItsHead) {
  for (const Fault::Kind kind : {Fault::Kind::resetDuring, Fault::Kind::truncate}) {
    HostSettings settings;
    settings.status["init"] = 204;
    ControlHost host({.settings = [settings] { return settings; }});
    host.setFaults({{.kind = kind, .times = 1}});
    EXPECT_EQ(post(host.port(), Value{{"action", "init"}}).status, 0);
    EXPECT_EQ(cutOf(host.requests().at(0)), "cut off within its head");
    EXPECT_EQ(post(host.port(), Value{{"action", "init"}}).status, 204);
  }
}

TEST(Faults, OfflineNothingIsAnswered) {
  ControlHost host;
  host.setOffline(true);
  EXPECT_EQ(post(host.port(), batch).status, 0);
  host.setOffline(false);
  EXPECT_EQ(post(host.port(), batch).status, 200);
}

TEST(Faults, WhatIsPutBackGoesOnCountingItsHits) {
  Faults faults;
  faults.set({{.kind = Fault::Kind::status, .times = 2, .hits = 1}});
  EXPECT_TRUE(faults.setJSON(faults.json()).empty());
  HttpReply reply;
  EXPECT_EQ(faults.apply(ReceivedRequest(), reply), "status 503");
  EXPECT_EQ(faults.apply(ReceivedRequest(), reply), "");
}

TEST(Faults, ANumberMayHaveAnExponent) {
  Faults faults;
  EXPECT_TRUE(faults.addJSON(Value{{"kind", "delay"}, {"delay_ms", 1e3}}).empty());
  EXPECT_EQ(faults.json().dictionary()["faults"].array()[0].dictionary()["delay_ms"], Value(1000));
}

TEST(Faults, FaultyOnesChangeNothingAndSayWhatIsWrong) {
  Faults faults;
  EXPECT_EQ(
      faults.setJSON(Value{{"offline", 1},
                           {"faults", Array{Value{{"kind", "burn"}}, Value{{"kind", "status"}, {"percent", 101}}}}}),
      (std::vector<std::string>{
          "offline is the number 1, and should be true or false",
          "faults[0].kind is the text \"burn\", and should be one of status, delay, hang, reset_before, reset_during, "
          "truncate, garbage",
          "faults[1].percent is the number 101, and should be a whole number from 1 to 100"}));
  EXPECT_EQ(faults.addJSON(Value{{"kind", "status"}, {"percent", 0}}).size(), 1u);
  EXPECT_EQ(
      faults.addJSON(Value{{"kind", "status"}, {"percnt", 5}}),
      std::vector<std::string>{"the fault.percnt is not known; what can stand there: id, kind, action, device, app, "
                               "status, delay_ms, times, percent, hits"});
  EXPECT_EQ(
      faults.addJSON(Value{{"kind", "hang"}, {"action", "bach"}}),
      std::vector<std::string>{"the fault.action is the text \"bach\", and should be one of init, initial, update, "
                               "get_attribution, batch, or \"\" for all"});
  EXPECT_EQ(faults.addJSON(Value{{"kind", "delay"}}),
            std::vector<std::string>{"the fault.delay_ms is null, and should be a whole number from 1 to 600000"});
  EXPECT_EQ(faults.addJSON(Value{{"kind", "delay"}, {"delay_ms", 0}}).size(), 1u);
  EXPECT_EQ(faults.addJSON(Value{{"kind", "delay"}, {"delay_ms", 0.5}}).size(), 1u);
  EXPECT_EQ(
      faults.addJSON(Value{{"kind", "status"}, {"status", 103}}),
      std::vector<std::string>{"the fault.status is the number 103, and should be a whole number from 200 to 599"});
  EXPECT_EQ(faults.json(), Value({{"offline", false}, {"faults", Array()}}));
}

}  // namespace

}  // namespace fliprugair::controlhost
