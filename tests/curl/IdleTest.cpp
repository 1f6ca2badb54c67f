// When the network says that nothing is being sent.

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"

namespace fliprugair::test {

namespace {

class Idle : public NetworkTest {
 protected:
  Mailbox<bool> said_;  ///< whether the caller was the network's thread
  void ask() {
    network_->whenIdle([this] { said_.put(network_->isOwnThread()); });
  }
};

TEST_F(Idle, AnswersAtOnceWhenNothingIsSent) {
  const Running running = start();
  EXPECT_TRUE(network_->isIdle());
  ask();
  EXPECT_EQ(said_.items(), std::vector<bool>{false});
}

TEST_F(Idle, WaitsForEveryRequestThatIsSent) {
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{};
  });
  const Running running = start();
  for (int number = 0; number < 12; ++number) send(server.hostname(), Value{{"action", "event"}}, "1.000000");
  ask();
  EXPECT_FALSE(network_->isIdle());
  EXPECT_TRUE(said_.items().empty());
  gate.open();
  EXPECT_EQ(said_.wait(1), std::vector<bool>{true});
  EXPECT_EQ(application_.ended.items().size(), 12u);
  EXPECT_TRUE(network_->isIdle());
}

TEST_F(Idle, WaitsForTheDelegateAndForWhatItSends) {
  const auto delegate = std::make_shared<SendingDelegate>();
  delegate_ = delegate;
  TestServer server;
  const Running running = start();
  delegate->sendNext = [&] { send(server.hostname(), Value{{"action", "initial"}}); };
  send(server.hostname(), Value{{"action", "init"}});
  server.requests.wait(1);
  ask();
  EXPECT_TRUE(said_.items().empty());
  delegate->gate.open();
  said_.wait(1);
  EXPECT_EQ(delegate->calls.items().size(), 1u) << "the second request had not ended";
}

TEST_F(Idle, IsReachedByAFailureToo) {
  const DeadPort port;
  const Running running = start();
  send(port.hostname(), Value{{"action", "event"}});
  ask();
  EXPECT_EQ(said_.wait(1).size(), 1u);
}

TEST_F(Idle, IsReachedByAStop) {
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{};
  });
  const Running running = start();
  for (int number = 0; number < 12; ++number) send(server.hostname(), Value{{"action", "event"}});
  ask();
  network_->stop();
  EXPECT_EQ(said_.items().size(), 1u);
  EXPECT_FALSE(send(server.hostname(), Value{{"action", "event"}}));
  EXPECT_TRUE(network_->isIdle());
  gate.open();
}

}  // namespace

}  // namespace fliprugair::test
