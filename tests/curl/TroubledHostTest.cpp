// A host in trouble is left alone, and what waits for it stays queued.

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"
#include "support/UnreadableArray.h"

namespace fliprugair::test {

namespace {

class TroubledHost : public NetworkTest {
 protected:
  /// Sends one request and waits for its end.
  void sendOne(const std::string& hostname) {
    const std::size_t before = application_.ended.items().size();
    send(hostname, Value{{"action", "update"}});
    ASSERT_EQ(application_.ended.wait(before + 1).size(), before + 1);
  }

  static TestServer::Handler answering(int status, const std::string& retryAfter = "") {
    return [=](const TestServer::Request&) { return TestServer::Reply{status, "", "", retryAfter}; };
  }
};

TEST_F(TroubledHost, ReceivesNoMoreThanWhatIsUnderWayOfThousandsThatWait) {
  constexpr std::size_t count = 4000;
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{503};
  });
  Dictionary queue;
  for (std::size_t number = 0; number < count; ++number) queue = queue.setting(std::to_string(number), Array{1});
  store_.setObject(queue, networkQueue);
  const Running running = start();
  for (std::size_t number = 0; number < count; ++number) {
    send(server.hostname(), Array{Value{{"action", "event"}}}, std::to_string(number));
  }
  gate.open();
  EXPECT_EQ(application_.ended.wait(count).size(), count);
  EXPECT_LE(server.requests.items().size(), 8U + 4U) << "what had left, and what took the place of the first failures";
  EXPECT_EQ(store_.objectForKey(networkQueue), Value(queue));
  EXPECT_EQ(store_.objectForKey(eventsSending), Value(Dictionary()));
  expectLogged("not sent, the host is in trouble and left alone for another 1 s");
}

TEST_F(TroubledHost, IsLeftAloneForTheSecondsThatItAsksFor) {
  for (const int status : {429, 503}) {
    TestServer server(answering(status, "120"));
    const Running running = start();
    sendOne(server.hostname());
    sendOne(server.hostname());
    EXPECT_EQ(server.requests.items().size(), 1U);
    expectLogged("left alone for another 120 s");
  }
}

TEST_F(TroubledHost, IsLeftAloneUntilTheDateThatItNamesForAnHourAtMost) {
  TestServer server(answering(503, "Fri, 31 Dec 2199 23:59:59 GMT"));
  const Running running = start();
  sendOne(server.hostname());
  sendOne(server.hostname());
  EXPECT_EQ(server.requests.items().size(), 1U);
  expectLogged("left alone for another 3600 s");
}

TEST_F(TroubledHost, ThatNamesNoUsableTimeIsSentToUntilTheFifthFailure) {
  for (const char* retryAfter : {"", "0", "-5", "soon", "Sat, 01 Jan 2000 00:00:00 GMT"}) {
    TestServer server(answering(503, retryAfter));
    const Running running = start();
    for (int number = 0; number < 6; ++number) sendOne(server.hostname());
    EXPECT_EQ(server.requests.items().size(), 5U) << retryAfter;
  }
}

TEST_F(TroubledHost, IsNotOneThatNamesATimeWithAnotherStatus) {
  TestServer server(answering(200, "120"));
  const Running running = start();
  sendOne(server.hostname());
  sendOne(server.hostname());
  EXPECT_EQ(server.requests.items().size(), 2U);
}

TEST_F(TroubledHost, IsOneThatCannotBeReached) {
  const DeadPort port;
  const Running running = start();
  for (int number = 0; number < 6; ++number) sendOne(port.hostname());
  expectLogged("not sent, the host is in trouble");
}

TEST_F(TroubledHost, IsNotOneThatFindsFaultWithSingleRequests) {
  for (const int status : {400, 413, 422}) {
    TestServer server(answering(status));
    const Running running = start();
    for (int number = 0; number < 7; ++number) sendOne(server.hostname());
    EXPECT_EQ(server.requests.items().size(), 7U) << status;
  }
}

TEST_F(TroubledHost, DoesNotKeepRequestsFromAnother) {
  TestServer troubled(answering(503, "120"));
  TestServer well;
  const Running running = start();
  sendOne(troubled.hostname());
  sendOne(troubled.hostname());
  sendOne(well.hostname());
  EXPECT_EQ(troubled.requests.items().size(), 1U);
  EXPECT_EQ(well.requests.items().size(), 1U);
}

TEST_F(TroubledHost, ThatRecoversReceivesOneRequestAndThenTheOthersThatWaitedForIt) {
  std::atomic<int> status = 503;
  Gate gate;
  Mailbox<int> inside;
  TestServer server([&](const TestServer::Request&) {
    if (status == 200) {
      inside.put(1);
      gate.pass();
    }
    return TestServer::Reply{status, "", "", status == 503 ? "1" : ""};
  });
  const Running running = start();
  sendOne(server.hostname());
  const auto deadline = std::chrono::steady_clock::now() + patience;
  status = 200;
  while (inside.items().empty() && std::chrono::steady_clock::now() < deadline) {
    const std::size_t before = application_.ended.items().size();
    send(server.hostname(), Value{{"action", "update"}});
    // Either it fails at once, or it is the one that tries.
    while (inside.items().empty() && application_.ended.items().size() == before) std::this_thread::yield();
  }
  for (int number = 0; number < 5; ++number) send(server.hostname(), Value{{"action", "update"}});
  EXPECT_EQ(inside.items().size(), 1U);
  gate.open();
  EXPECT_EQ(inside.wait(6).size(), 6U);
}

TEST_F(TroubledHost, IsNotOneWhoseRequestsCannotBeRead) {
  TestServer server;
  const Running running = start();
  for (int number = 0; number < 6; ++number) {
    sendQueued(server.hostname(), UnreadableArray::value());
    expectStillQueued();
  }
  expectLogged("request batch of 7 to");
  expectLogged("not sent, a record cannot be read");
  EXPECT_TRUE(server.requests.items().empty());
  sendQueued(server.hostname(), Array{1});
  EXPECT_EQ(server.requests.items().size(), 1U);
  expectAccepted();
}

TEST_F(TroubledHost, IsTriedAgainAlthoughARequestBeforeItsTroubleCouldNotBeRead) {
  std::atomic<int> status = 503;
  TestServer server([&](const TestServer::Request&) { return TestServer::Reply{status, "", "", "1"}; });
  const Running running = start();
  send(server.hostname(), UnreadableArray::value());
  application_.ended.wait(1);
  sendOne(server.hostname());
  status = 200;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (server.requests.items().size() < 2 && std::chrono::steady_clock::now() < deadline) sendOne(server.hostname());
  EXPECT_EQ(server.requests.items().size(), 2U);
}

}  // namespace

}  // namespace fliprugair::test
