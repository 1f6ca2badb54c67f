// What a request does to the store, the background task and the log.

#include <limits>
#include <new>
#include <optional>
#include <stdexcept>

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"
#include "support/UnreadableArray.h"

namespace fliprugair::test {

namespace {

class Request : public NetworkTest {};

TEST_F(Request, TravelsAsCompactJSON) {
  TestServer server;
  const Running running = start();
  sendQueued(server.hostname(), Value{{"action", "update"}, {"data", Value{{"text", "\xC3\xA4/\xE2\x82\xAC"}}}});
  const std::vector<TestServer::Request> requests = server.requests.items();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].method, "POST");
  EXPECT_EQ(requests[0].path, "/marlune/v4");
  EXPECT_EQ(requests[0].contentType, "application/json; charset=utf-8");
  EXPECT_EQ(requests[0].body, "{\"action\":\"update\",\"data\":{\"text\":\"\xC3\xA4/\xE2\x82\xAC\"}}");
}

TEST_F(Request, ABatchTravelsAsABareArrayAndCallsNobody) {
  TestServer server;
  const Running running = start();
  sendQueued(server.hostname(), Array{Value{{"action", "init"}}, Value{{"action", "event"}}});
  EXPECT_EQ(server.requests.items().at(0).body, R"([{"action":"init"},{"action":"event"}])");
  expectAccepted();
  EXPECT_TRUE(delegate_->calls.items().empty());
}

TEST_F(Request, ABatchThatIsReadOnceLeaves) {
  TestServer server;
  const Running running = start();
  sendQueued(server.hostname(), UnreadableArray::value(1));
  EXPECT_EQ(server.requests.items().at(0).body, "[1,2,3,4,5,6,7]");
  expectAccepted();
  expectLogged("request batch of 7 to");
}

TEST_F(Request, ALargeBodyArrivesWhole) {
  TestServer server;
  const Running running = start();
  const std::string text(3 * 1024 * 1024, 'x');
  sendQueued(server.hostname(), Value{{"action", "event"}, {"data", text}});
  EXPECT_EQ(server.requests.items().at(0).body, R"({"action":"event","data":")" + text + "\"}");
  expectAccepted();
}

TEST_F(Request, ALargeBodyFollowsItsHeadWithoutTheHostsConsent) {
  TestServer server;
  const Running running = start();
  sendQueued(server.hostname(), Value{{"action", "event"}, {"data", std::string(3 * 1024 * 1024, 'x')}});
  EXPECT_FALSE(server.requests.items().at(0).isExpectant);
}

TEST_F(Request, AnAcceptedRequestLeavesTheQueueAndOthersStay) {
  TestServer server;
  const Running running = start();
  store_.setObject(Value{{"1.000000", "mine"}, {"2.000000", "other"}}, networkQueue);
  store_.setObject(Value{{"2.000000", true}}, eventsSending);
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "update"}}, "1.000000"));
  application_.ended.wait(1);
  EXPECT_EQ(store_.objectForKey(networkQueue), Value({{"2.000000", "other"}}));
  EXPECT_EQ(store_.objectForKey(eventsSending), Value({{"2.000000", true}}));
  EXPECT_EQ(store_.synchronizations, 1);
}

TEST_F(Request, IsListedAsSendingWhenSendReturns) {
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{};
  });
  const Running running = start();
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "update"}}, "1.000000"));
  EXPECT_EQ(store_.objectForKey(eventsSending), Value({{"1.000000", true}}));
  gate.open();
  application_.ended.wait(1);
  EXPECT_EQ(store_.objectForKey(eventsSending), Value(Dictionary()));
}

TEST_F(Request, AListThatWasRemovedMeanwhileIsNotCreatedAgain) {
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{};
  });
  const Running running = start();
  send(server.hostname(), Value{{"action", "update"}}, "1.000000");
  store_.removeObject(eventsSending);
  gate.open();
  application_.ended.wait(1);
  EXPECT_TRUE(store_.objectForKey(eventsSending).isNull());
  EXPECT_TRUE(store_.objectForKey(networkQueue).isNull());
}

TEST_F(Request, WhatIsNoDictionaryIsReplacedOnListingAndLeftAloneOnRemoval) {
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{};
  });
  const Running running = start();
  store_.setObject("text", eventsSending);
  store_.setObject("other text", networkQueue);
  send(server.hostname(), Value{{"action", "update"}}, "1.000000");
  EXPECT_EQ(store_.objectForKey(eventsSending), Value({{"1.000000", true}}));
  store_.setObject(7, eventsSending);
  gate.open();
  application_.ended.wait(1);
  EXPECT_EQ(store_.objectForKey(eventsSending), Value(7));
  EXPECT_EQ(store_.objectForKey(networkQueue), Value("other text"));
}

TEST_F(Request, WithoutATimestampTouchesNoStore) {
  TestServer server;
  const Running running = start();
  send(server.hostname(), Value{{"action", "init"}});
  application_.ended.wait(1);
  EXPECT_TRUE(store_.objectForKey(eventsSending).isNull());
  EXPECT_TRUE(store_.objectForKey(networkQueue).isNull());
  EXPECT_EQ(store_.synchronizations, 0);
}

TEST_F(Request, IsLoggedOnlyWhereThatIsAskedFor) {
  TestServer server;
  {
    const Running running = start();
    const auto access = network_->makeAccess();
    access->setBackgroundTask(application_.beginBackgroundTask("", [] {}));
    EXPECT_TRUE(access->sendHTTPRequestWithHostname(server.hostname(), Value{{"action", "init"}}));
    application_.ended.wait(1);
  }
  EXPECT_TRUE(log_.items().empty());
}

TEST_F(Request, WithoutABackgroundTaskEndsNone) {
  TestServer server;
  const Running running = start();
  const std::shared_ptr<MarluneNetworkAccess> access = network_->makeAccess();
  access->setNetworkAccessDelegate(delegate_);
  access->setBackgroundTask(invalidBackgroundTask);
  access->sendHTTPRequestWithHostname(server.hostname(), Value{{"action", "init"}});
  EXPECT_EQ(delegate_->calls.wait(1).size(), 1u);
  network_->stop();
  EXPECT_TRUE(application_.ended.items().empty());
}

TEST_F(Request, EveryStatusOtherThan2xxIsAFailure) {
  for (const int status : {300, 304, 400, 401, 404, 413, 429, 500, 503}) {
    TestServer server([&](const TestServer::Request&) { return TestServer::Reply{status}; });
    const Running running = start();
    store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
    const std::size_t before = application_.ended.items().size();
    send(server.hostname(), Value{{"action", "initial"}}, "1.000000");
    application_.ended.wait(before + 1);
    expectStillQueued();
    expectLogged("failed, HTTP status " + std::to_string(status));
  }
}

TEST_F(Request, EveryStatusOf2xxIsAccepted) {
  for (const int status : {200, 201, 202, 299}) {
    TestServer server([&](const TestServer::Request&) { return TestServer::Reply{status}; });
    const Running running = start();
    store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
    const std::size_t before = application_.ended.items().size();
    send(server.hostname(), Value{{"action", "update"}}, "1.000000");
    application_.ended.wait(before + 1);
    expectAccepted();
    expectLogged("accepted, HTTP status " + std::to_string(status));
  }
}

TEST_F(Request, ARedirectIsNotFollowed) {
  TestServer elsewhere;
  for (const int status : {301, 302, 307, 308}) {
    TestServer server([&](const TestServer::Request&) {
      return TestServer::Reply{status, R"({"success":1})", "http://" + elsewhere.hostname() + "/marlune/v4"};
    });
    const Running running = start();
    const std::size_t before = application_.ended.items().size();
    store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
    send(server.hostname(), Value{{"action", "initial"}}, "1.000000");
    application_.ended.wait(before + 1);
    expectStillQueued();
    expectLogged("failed, HTTP status " + std::to_string(status));
  }
  EXPECT_TRUE(elsewhere.requests.items().empty());
}

TEST_F(Request, ARefusedConnectionIsAFailure) {
  const DeadPort port;
  const Running running = start();
  sendQueued(port.hostname());
  expectStillQueued();
  expectLogged("failed, Failed to connect");
}

TEST_F(Request, AHostThatDoesNotAnswerInTimeIsAFailure) {
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{};
  });
  const Running running = start({.timeout = std::chrono::milliseconds(100)});
  sendQueued(server.hostname());
  expectStillQueued();
  expectLogged("failed, Operation timed out");
  gate.open();
}

TEST_F(Request, CarriesNullForANumberThatJSONHasNot) {
  TestServer server;
  const Running running = start();
  sendQueued(server.hostname(), Value{{"action", "initial"}, {"number", std::numeric_limits<double>::infinity()}});
  expectAccepted();
  EXPECT_EQ(server.requests.items().at(0).body, R"({"action":"initial","number":null})");
}

TEST_F(Request, OfNothingIsNotTransmittedAndEndsItsBackgroundTask) {
  TestServer server;
  const Running running = start();
  EXPECT_FALSE(send(server.hostname(), nullptr, "1.000000"));
  EXPECT_EQ(application_.ended.items(), std::vector<BackgroundTaskIdentifier>{1});
  EXPECT_TRUE(store_.objectForKey(eventsSending).isNull());
  network_->stop();
  EXPECT_TRUE(server.requests.items().empty());
}

TEST_F(Request, ToWhatIsNoHostNameIsNotTransmittedAndStaysQueued) {
  TestServer server;
  const Running running = start();
  const std::string port = std::to_string(server.port());
  std::size_t sent = 0;
  for (const std::string& hostname :
       {std::string(), "127.0.0.1:" + port + "/other", "user@127.0.0.1:" + port, "127.0.0.1:" + port + "\r\nX: y",
        " 127.0.0.1:" + port, "http://127.0.0.1:" + port}) {
    store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
    EXPECT_FALSE(send(hostname, Value{{"action", "initial"}}, "1.000000"));
    EXPECT_EQ(application_.ended.items().size(), ++sent);
    expectStillQueued();
  }
  expectLogged("request \"initial\": not sent, \"user@127.0.0.1:" + port + "\" is not a host name");
  expectLogged("??X: y");
  network_->stop();
  EXPECT_TRUE(server.requests.items().empty());
}

/// Runs out of memory over each text.
class Exhausted final : public JSONSerialization {
 public:
  std::optional<std::string> text(const Value&, Layout) const override { throw std::bad_alloc(); }
  std::optional<Value> value(std::string_view, std::size_t) const override { return std::nullopt; }
};

TEST_F(Request, WhoseTextCannotBeMadeStaysQueued) {
  TestServer server;
  const Exhausted exhausted;
  network_ = std::make_unique<CurlNetwork>(CurlNetworkOptions(), store_, exhausted, application_,
                                           [this](std::string_view line) { log_.put(std::string(line)); });
  const Running running(*this);
  sendQueued(server.hostname());
  expectStillQueued();
  expectLogged("not sent, ");
  EXPECT_TRUE(server.requests.items().empty());
}

TEST_F(Request, WhoseTextCannotBeMadeHasNotReachedTheHost) {
  TestServer server;
  const Exhausted exhausted;
  network_ = std::make_unique<CurlNetwork>(
      CurlNetworkOptions(), store_, exhausted, application_,
      [this](std::string_view line) { log_.put(std::string(line)); }, true);
  const Running running(*this);
  sendQueued(server.hostname());
  expectLogged("the first request to http://" + server.hostname());
}

TEST_F(Request, ThatFailsFirstIsNoAdviceOnceTheHostAppItselfCutsItOff) {
  const DeadPort port;
  network_ = std::make_unique<CurlNetwork>(
      CurlNetworkOptions(), store_, json_, application_, [this](std::string_view line) { log_.put(std::string(line)); },
      true);
  const Running running(*this);
  network_->adviseNoMore();
  const std::shared_ptr<MarluneNetworkAccess> access = network_->makeAccess();
  access->setBackgroundTask(application_.beginBackgroundTask("", [] {}));
  access->sendHTTPRequestWithHostname(port.hostname(), Value{{"action", "init"}});
  ASSERT_EQ(application_.ended.wait(1).size(), 1u);
  EXPECT_TRUE(log_.items().empty());
}

TEST_F(Request, LogsNothingUnlessLoggingIsEnabled) {
  TestServer server;
  const Running running = start();
  const std::shared_ptr<MarluneNetworkAccess> access = network_->makeAccess();
  access->setBackgroundTask(1);
  EXPECT_FALSE(access->sendHTTPRequestWithHostname("", Value{{"action", "init"}}));
  EXPECT_TRUE(access->sendHTTPRequestWithHostname(server.hostname(), Value{{"action", "init"}}));
  application_.ended.wait(2);
  EXPECT_TRUE(log_.items().empty());
}

TEST_F(Request, ALogThatThrowsChangesNothing) {
  TestServer server;
  network_ = std::make_unique<CurlNetwork>(CurlNetworkOptions(), store_, json_, application_,
                                           [](std::string_view) { throw std::runtime_error("no log"); });
  const Running running(*this);
  sendQueued(server.hostname());
  expectAccepted();
  EXPECT_EQ(delegate_->calls.items().size(), 1u);
}

}  // namespace

}  // namespace fliprugair::test
