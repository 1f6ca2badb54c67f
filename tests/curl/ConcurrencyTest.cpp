// Many requests, many threads, and the end in the middle of it.

#include <algorithm>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"

namespace fliprugair::test {

namespace {

class ManyRequests : public NetworkTest {
 protected:
  static std::string numbered(int number) { return "{\"action\":\"event\",\"number\":" + std::to_string(number) + "}"; }

  /// Threads that each call `work` with so many timestamps of their own.
  static std::vector<std::thread> onThreads(int threads, int each, std::function<void(const std::string&)> work) {
    std::vector<std::thread> started;
    for (int thread = 0; thread < threads; ++thread) {
      started.emplace_back([thread, each, work] {
        for (int number = 0; number < each; ++number) work(std::to_string(thread) + "." + std::to_string(number));
      });
    }
    return started;
  }
};

TEST_F(ManyRequests, TravelEightAtATimeTheFirstOnesFirst) {
  Gate first;
  Mailbox<int> inside;
  std::atomic<int> now = 0;
  TestServer server([&](const TestServer::Request&) {
    inside.put(++now);
    first.pass();
    --now;
    return TestServer::Reply{};
  });
  const Running running = start();
  for (int number = 0; number < 40; ++number) send(server.hostname(), Value{{"action", "event"}, {"number", number}});
  EXPECT_EQ(inside.wait(8).size(), 8u);
  std::set<std::string> bodies;
  for (const TestServer::Request& request : server.requests.items()) bodies.insert(request.body);
  for (int number = 0; number < 8; ++number) EXPECT_TRUE(bodies.contains(numbered(number))) << number;
  first.open();
  EXPECT_EQ(application_.ended.wait(40).size(), 40u);
  const std::vector<int> counts = inside.items();
  EXPECT_EQ(*std::max_element(counts.begin(), counts.end()), 8);
}

TEST_F(ManyRequests, WaitForTheirTurnInOrder) {
  TestServer server;
  const Running running = start({.requestsAtATime = 1});
  for (int number = 0; number < 40; ++number) send(server.hostname(), Value{{"action", "event"}, {"number", number}});
  application_.ended.wait(40);
  const std::vector<TestServer::Request> requests = server.requests.items();
  ASSERT_EQ(requests.size(), 40u);
  for (int number = 0; number < 40; ++number) EXPECT_EQ(requests[number].body, numbered(number));
}

TEST_F(ManyRequests, AreNeverMoreThanEightAtATimeNorNone) {
  for (const std::size_t asked : {std::size_t(0), std::size_t(100)}) {
    std::atomic<int> now = 0;
    Gate first;
    Mailbox<int> inside;
    TestServer server([&](const TestServer::Request&) {
      inside.put(++now);
      first.pass();
      --now;
      return TestServer::Reply{};
    });
    const std::size_t before = application_.ended.items().size();
    const Running running = start({.requestsAtATime = asked});
    for (int number = 0; number < 12; ++number) send(server.hostname(), Value{{"action", "event"}});
    inside.wait(asked == 0 ? 1 : 8);
    first.open();
    EXPECT_EQ(application_.ended.wait(before + 12).size(), before + 12);
    const std::vector<int> counts = inside.items();
    EXPECT_EQ(*std::max_element(counts.begin(), counts.end()), asked == 0 ? 1 : 8);
  }
}

TEST_F(ManyRequests, AreGivenTheDefaultTimeInsteadOfNone) {
  TestServer server;
  const Running running = start({.connectTimeout = std::chrono::seconds(-1), .timeout = std::chrono::seconds(0)});
  sendQueued(server.hostname());
  expectAccepted();
}

TEST_F(ManyRequests, TellADelegateThatItIsOnTheNetworksThread) {
  struct Delegate : RecordingDelegate {
    void MarluneInitResult(const Value& reply) override {
      onOwnThread = network->isOwnThread();
      calls.put({"init", reply});
    }
    CurlNetwork* network = nullptr;
    std::atomic<bool> onOwnThread = false;
  };
  const auto delegate = std::make_shared<Delegate>();
  delegate_ = delegate;
  TestServer server;
  const Running running = start();
  delegate->network = network_.get();
  send(server.hostname(), Value{{"action", "init"}});
  ASSERT_EQ(delegate->calls.wait(1).size(), 1u);
  EXPECT_TRUE(delegate->onOwnThread);
  EXPECT_FALSE(network_->isOwnThread());
}

TEST_F(ManyRequests, ShareAConnection) {
  TestServer server;
  const Running running = start();
  for (std::size_t number = 1; number <= 10; ++number) {
    send(server.hostname(), Value{{"action", "event"}});
    application_.ended.wait(number);
  }
  std::set<int> clientPorts;
  for (const TestServer::Request& request : server.requests.items()) clientPorts.insert(request.clientPort);
  EXPECT_EQ(server.requests.items().size(), 10u);
  EXPECT_EQ(clientPorts.size(), 1u);
}

TEST_F(ManyRequests, FromManyThreadsAllEnd) {
  constexpr int threadCount = 8;
  constexpr int requestCount = 50;
  TestServer server;
  const Running running = start();
  std::vector<std::thread> threads = onThreads(threadCount, requestCount, [&](const std::string& timestamp) {
    store_.update(networkQueue, [&](const Value& queue) { return queue.dictionary().setting(timestamp, "entry"); });
    EXPECT_TRUE(send(server.hostname(), Value{{"action", "initial"}}, timestamp));
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(application_.ended.wait(threadCount * requestCount).size(), std::size_t(threadCount * requestCount));
  EXPECT_EQ(delegate_->calls.items().size(), std::size_t(threadCount * requestCount));
  EXPECT_EQ(server.requests.items().size(), std::size_t(threadCount * requestCount));
  expectAccepted();
}

TEST_F(ManyRequests, SendReturnsWhileADelegateIsBusy) {
  const auto delegate = std::make_shared<BusyDelegate>();
  delegate_ = delegate;
  TestServer server;
  const Running running = start();
  send(server.hostname(), Value{{"action", "init"}});
  delegate->calls.wait(1);
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "event"}}));
  EXPECT_TRUE(application_.ended.items().empty()) << "the network thread is not busy";
  delegate->gate.open();
  EXPECT_EQ(application_.ended.wait(2).size(), 2u);
}

TEST_F(ManyRequests, StopEndsWhatRunsAndWhatWaits) {
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{};
  });
  const Running running = start();
  Dictionary queue;
  for (int number = 0; number < 20; ++number) {
    queue = queue.setting(std::to_string(number), "entry");
    send(server.hostname(), Value{{"action", "initial"}}, std::to_string(number));
  }
  store_.setObject(queue, networkQueue);
  server.requests.wait(8);
  network_->stop();
  EXPECT_EQ(application_.ended.items().size(), 20u);
  EXPECT_EQ(store_.objectForKey(networkQueue), Value(queue));
  EXPECT_EQ(store_.objectForKey(eventsSending), Value(Dictionary()));
  EXPECT_TRUE(delegate_->calls.items().empty());
  expectLogged("the network has been stopped");
  gate.open();
}

TEST_F(ManyRequests, ASendAfterStopFailsCleanly) {
  TestServer server;
  const Running running = start();
  network_->stop();
  store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
  EXPECT_FALSE(send(server.hostname(), Value{{"action", "initial"}}, "1.000000"));
  EXPECT_EQ(application_.ended.items().size(), 1u);
  expectStillQueued();
  network_->stop();
}

TEST_F(ManyRequests, ACollaboratorThatOutlivesTheNetworkAnswersFalse) {
  TestServer server;
  const Running running = start();
  const std::shared_ptr<MarluneNetworkAccess> access = network_->makeAccess();
  access->setBackgroundTask(1);
  network_.reset();
  EXPECT_FALSE(access->sendHTTPRequestWithHostname(server.hostname(), Value{{"action", "init"}}));
  EXPECT_TRUE(application_.ended.items().empty());
}

TEST_F(ManyRequests, StopWhileThreadsSendLosesNoEntryAndNoBackgroundTask) {
  constexpr int threadCount = 4;
  constexpr int requestCount = 50;
  TestServer server;
  const Running running = start();
  std::vector<std::thread> threads = onThreads(threadCount, requestCount, [&](const std::string& timestamp) {
    send(server.hostname(), Value{{"action", "event"}}, timestamp);
  });
  server.requests.wait(10);
  network_->stop();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(application_.ended.items().size(), std::size_t(threadCount * requestCount));
  EXPECT_EQ(store_.objectForKey(eventsSending), Value(Dictionary()));
}

TEST_F(ManyRequests, NetworksLiveSideBySide) {
  TestServer server;
  const Running running = start();
  {
    CurlNetwork other({}, store_, json_, application_, [](std::string_view) {});
    const std::shared_ptr<MarluneNetworkAccess> access = other.makeAccess();
    access->setBackgroundTask(100);
    access->sendHTTPRequestWithHostname(server.hostname(), Value{{"action", "event"}});
    application_.ended.wait(1);
  }
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "init"}}));
  EXPECT_EQ(delegate_->calls.wait(1).size(), 1u);
}

}  // namespace

}  // namespace fliprugair::test
