// What the host app's own code throws costs the call that threw, and nothing else.

#include <stdexcept>

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"

namespace fliprugair::test {

namespace {

/// Throws from the operation that `fails` names.
class ThrowingDefaults final : public MemoryUserDefaults {
 public:
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override {
    throwIf("update");
    throwIf(std::string("update ") + (key == networkQueue ? "queue" : "list"));
    MemoryUserDefaults::update(key, change);
  }
  void synchronize() override { throwIf("synchronize"); }
  void beginGroup() override { throwIf("beginGroup"); }
  void endGroup() override { throwIf("endGroup"); }
  void whenDurable(std::function<void()> action) override {
    throwIf("whenDurable");
    action();
  }

  Mailbox<std::string> fails;  ///< the last one counts

 private:
  void throwIf(const std::string& operation) {
    const std::vector<std::string> names = fails.items();
    if (!names.empty() && names.back() == operation) throw std::runtime_error(operation + " went wrong");
  }
};

class ThrowingApplication final : public Application {
 public:
  BackgroundTaskIdentifier beginBackgroundTask(std::string_view, std::function<void()>) override { return 1; }
  void endBackgroundTask(BackgroundTaskIdentifier) override { throw std::runtime_error("no task"); }
  int statusBarOrientation() const override { return 1; }
};

class ForeignCode : public NetworkTest {
 protected:
  [[nodiscard]] Running start() {
    network_ = std::make_unique<CurlNetwork>(CurlNetworkOptions(), throwing_, json_, application_,
                                             [this](std::string_view line) { log_.put(std::string(line)); });
    return Running(*this);
  }

  /// A request that nothing disturbs, after those that something disturbed.
  void expectThatTheNetworkLives(const TestServer& server) {
    throwing_.fails.put("");
    const std::size_t before = delegate_->calls.items().size();
    EXPECT_TRUE(send(server.hostname(), Value{{"action", "init"}}));
    EXPECT_EQ(delegate_->calls.wait(before + 1).size(), before + 1);
  }

  ThrowingDefaults throwing_;
};

TEST_F(ForeignCode, AStoreThatThrowsBeforeARequestKeepsItFromLeaving) {
  TestServer server;
  const Running running = start();
  for (const char* operation : {"update", "whenDurable"}) {
    const std::size_t before = application_.ended.items().size();
    throwing_.fails.put(operation);
    EXPECT_FALSE(send(server.hostname(), Value{{"action", "initial"}}, "1.000000"));
    EXPECT_EQ(application_.ended.items().size(), before + 1);
    EXPECT_TRUE(network_->isIdle());
    expectLogged(std::string("the store before \"initial\" - ") + operation + " went wrong");
  }
  EXPECT_TRUE(server.requests.items().empty());
  expectThatTheNetworkLives(server);
}

TEST_F(ForeignCode, AStoreThatThrowsAfterARequestLeavesTheDelegateItsReply) {
  for (const char* operation : {"update list", "update queue", "synchronize", "beginGroup", "endGroup"}) {
    TestServer server([&](const TestServer::Request&) {
      throwing_.fails.put(operation);
      return TestServer::Reply{};
    });
    throwing_.fails.put("");
    const Running running = start();
    const std::size_t before = application_.ended.items().size();
    EXPECT_TRUE(send(server.hostname(), Value{{"action", "initial"}}, "1.000000"));
    EXPECT_EQ(application_.ended.wait(before + 1).size(), before + 1) << operation;
    EXPECT_EQ(delegate_->calls.items().size(), before + 1) << operation;
  }
}

TEST_F(ForeignCode, AStoreThatThrowsOnOneListStillRemovesFromTheOther) {
  TestServer server([&](const TestServer::Request&) {
    throwing_.fails.put("update list");
    return TestServer::Reply{};
  });
  throwing_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
  const Running running = start();
  send(server.hostname(), Value{{"action", "initial"}}, "1.000000");
  application_.ended.wait(1);
  EXPECT_EQ(throwing_.objectForKey(networkQueue), Value(Dictionary()));
}

TEST_F(ForeignCode, AStoreThatThrowsWhereAGroupBeginsOrEndsHasTheRequestConfirmed) {
  for (const char* operation : {"beginGroup", "endGroup"}) {
    TestServer server;
    throwing_.fails.put(operation);
    throwing_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
    const Running running = start();
    const std::size_t before = application_.ended.items().size();
    send(server.hostname(), Value{{"action", "initial"}}, "1.000000");
    EXPECT_EQ(application_.ended.wait(before + 1).size(), before + 1) << operation;
    EXPECT_EQ(throwing_.objectForKey(networkQueue), Value(Dictionary())) << operation;
    expectLogged(std::string("the store after \"initial\" - ") + operation + " went wrong");
  }
}

TEST_F(ForeignCode, AStoreThatThrowsAfterItHasLetARequestGoHasItEndOnce) {
  struct Store : MemoryUserDefaults {
    void whenDurable(std::function<void()> action) override {
      action();
      throw std::runtime_error("too late");
    }
  } store;
  TestServer server;
  network_ = std::make_unique<CurlNetwork>(CurlNetworkOptions(), store, json_, application_,
                                           [this](std::string_view line) { log_.put(std::string(line)); });
  const Running running(*this);
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "initial"}}));
  application_.ended.wait(1);
  network_->stop();
  EXPECT_EQ(application_.ended.items().size(), 1U);
  EXPECT_EQ(delegate_->calls.items().size(), 1U);
}

TEST_F(ForeignCode, AnApplicationThatThrowsIsLoggedAndTheThreadLivesOn) {
  TestServer server;
  ThrowingApplication application;
  network_ = std::make_unique<CurlNetwork>(CurlNetworkOptions(), store_, json_, application,
                                           [this](std::string_view line) { log_.put(std::string(line)); });
  const Running running(*this);
  send(server.hostname(), Value{{"action", "init"}});
  send(server.hostname(), Value{{"action", "init"}});
  EXPECT_EQ(delegate_->calls.wait(2).size(), 2u);
  network_->stop();
  expectLogged("the background task of \"init\" - no task");
}

TEST_F(ForeignCode, ADelegateThatThrowsLeavesTheThreadToTheNextRequest) {
  struct Delegate : RecordingDelegate {
    void MarluneInitialResult(const Value&) override { throw 1; }
  };
  delegate_ = std::make_shared<Delegate>();
  TestServer server;
  const Running running = start();
  send(server.hostname(), Value{{"action", "initial"}});
  application_.ended.wait(1);
  expectLogged("EXCEPTION (CAUGHT) in the reply to \"initial\" - not a std::exception");
  expectThatTheNetworkLives(server);
}

}  // namespace

}  // namespace fliprugair::test
