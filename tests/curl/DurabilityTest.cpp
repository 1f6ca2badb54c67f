// Nothing leaves before it is durable what its sender has written, and what the host has accepted is durable before
// anybody hears of it.

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"

namespace fliprugair::test {

namespace {

/// A store with a group that a test ends; it notes what happens in which order.
class OrderedDefaults final : public MemoryUserDefaults {
 public:
  void synchronize() override { order.put("durable"); }
  void whenDurable(std::function<void()> action) override {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(action));
  }
  void endOutermostGroup() {
    std::vector<std::function<void()>> due;
    {
      const std::lock_guard lock(mutex_);
      due.swap(waiting_);
    }
    synchronize();
    for (const auto& action : due) action();
  }

  Mailbox<std::string> order;

 private:
  std::mutex mutex_;
  std::vector<std::function<void()>> waiting_;
};

class Durability : public NetworkTest {
 protected:
  [[nodiscard]] Running start() {
    network_ = std::make_unique<CurlNetwork>(CurlNetworkOptions(), ordered_, json_, application_,
                                             [this](std::string_view line) { log_.put(std::string(line)); });
    return Running(*this);
  }

  OrderedDefaults ordered_;
};

TEST_F(Durability, ARequestLeavesOnceWhatItsSenderHasWrittenIsDurable) {
  TestServer server([&](const TestServer::Request&) {
    ordered_.order.put("arrived");
    return TestServer::Reply{};
  });
  const Running running = start();
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "init"}}));
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "initial"}}, "1.000000"));
  EXPECT_EQ(ordered_.objectForKey(eventsSending), Value({{"1.000000", true}})) << "listed when send returns";
  EXPECT_FALSE(network_->isIdle());
  ordered_.endOutermostGroup();
  application_.ended.wait(2);
  const std::vector<std::string> order = ordered_.order.items();
  ASSERT_GE(order.size(), 3u);
  EXPECT_EQ(order[0], "durable");
  EXPECT_EQ(order[1], "arrived");
}

TEST_F(Durability, NothingLeavesWhileTheSendersGroupIsOpen) {
  TestServer server;
  const Running running = start();
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "initial"}}, "1.000000"));
  network_->stop();
  EXPECT_TRUE(server.requests.items().empty());
  EXPECT_FALSE(network_->isIdle()) << "the sender's group is still open";
  ordered_.endOutermostGroup();
  EXPECT_TRUE(network_->isIdle());
  EXPECT_TRUE(server.requests.items().empty());
  EXPECT_EQ(application_.ended.items().size(), 1u);
  EXPECT_EQ(ordered_.objectForKey(eventsSending), Value(Dictionary()));
}

TEST_F(Durability, AGroupThatEndsAfterTheNetworkSendsNothing) {
  TestServer server;
  const Running running = start();
  EXPECT_TRUE(send(server.hostname(), Value{{"action", "initial"}}, "1.000000"));
  network_.reset();
  ordered_.endOutermostGroup();
  EXPECT_TRUE(server.requests.items().empty());
  EXPECT_TRUE(application_.ended.items().empty());
}

TEST_F(Durability, AConfirmationIsDurableBeforeTheDelegateHearsOfIt) {
  struct Delegate : RecordingDelegate {
    void MarluneInitialResult(const Value&) override { order->put("delegate"); }
    Mailbox<std::string>* order = nullptr;
  };
  const auto delegate = std::make_shared<Delegate>();
  delegate->order = &ordered_.order;
  delegate_ = delegate;
  TestServer server;
  const Running running = start();
  send(server.hostname(), Value{{"action", "initial"}}, "1.000000");
  ordered_.endOutermostGroup();
  application_.ended.wait(1);
  EXPECT_EQ(ordered_.order.items(), (std::vector<std::string>{"durable", "durable", "delegate"}));
}

}  // namespace

}  // namespace fliprugair::test
