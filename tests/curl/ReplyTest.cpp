// Which replies reach the delegate.

#include <atomic>
#include <stdexcept>

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"

namespace fliprugair::test {

namespace {

class Reply : public NetworkTest {
 protected:
  /// Sends a queued "init" that is answered with `body`, and waits for its end.
  void answer(const std::string& body, int status = 200) {
    TestServer server([&](const TestServer::Request&) { return TestServer::Reply{status, body}; });
    const Running running = start();
    sendQueued(server.hostname(), Value{{"action", "init"}});
  }

  void expectAcceptedInSilence() {
    expectAccepted();
    EXPECT_TRUE(delegate_->calls.items().empty());
  }

  static std::string nested(std::size_t depth) {
    return R"({"deep":)" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
  }
};

TEST_F(Reply, GoesToTheMethodOfItsAction) {
  TestServer server([](const TestServer::Request& request) { return TestServer::Reply{200, request.body}; });
  const Running running = start();
  for (const char* action : {"init", "initial", "get_attribution", "update", "session", ""}) {
    send(server.hostname(), Value{{"action", action}});
  }
  send(server.hostname(), Value{{"action", 1}});
  application_.ended.wait(7);
  std::map<std::string, Value> calls;
  for (const RecordingDelegate::Call& call : delegate_->calls.items()) calls.insert(call);
  EXPECT_EQ(delegate_->calls.items().size(), 3u);
  EXPECT_EQ(calls["init"], Value({{"action", "init"}}));
  EXPECT_EQ(calls["initial"], Value({{"action", "initial"}}));
  EXPECT_EQ(calls["attribution"], Value({{"action", "get_attribution"}}));
}

TEST_F(Reply, ToAFailedRequestReachesNobody) {
  answer(R"({"success":1})", 500);
  expectStillQueued();
}

TEST_F(Reply, ThatIsNoJSONReachesNobody) {
  answer("<html>");
  expectAcceptedInSilence();
  expectLogged("request \"init\"");
  expectLogged("reply not used: it is no JSON object");
}

TEST_F(Reply, ThatIsEmptyReachesNobody) {
  answer("");
  expectAcceptedInSilence();
}

TEST_F(Reply, ThatIsNoObjectReachesNobody) {
  answer(R"([{"success":1}])");
  expectAcceptedInSilence();
}

TEST_F(Reply, ThatIsCutOffReachesNobody) {
  answer(R"({"success":1)");
  expectAcceptedInSilence();
}

TEST_F(Reply, NestedAsDeepAsAllowedArrives) {
  answer(nested(64));
  EXPECT_EQ(delegate_->calls.items().size(), 1u);
}

TEST_F(Reply, NestedDeeperReachesNobody) {
  answer(nested(65));
  expectAcceptedInSilence();
  expectLogged("nests deeper than 64 levels");
}

TEST_F(Reply, OfOneMebibyteArrives) {
  const std::string frame = R"({"fill":""})";
  const std::string fill(1024 * 1024 - frame.size(), 'x');
  answer(R"({"fill":")" + fill + "\"}");
  ASSERT_EQ(delegate_->calls.items().size(), 1u);
  EXPECT_EQ(delegate_->calls.items()[0].second.dictionary()["fill"].text(), fill);
}

TEST_F(Reply, OverOneMebibyteReachesNobodyButIsAccepted) {
  const std::string frame = R"({"fill":""})";
  answer(R"({"fill":")" + std::string(1024 * 1024 - frame.size() + 1, 'x') + "\"}");
  expectAcceptedInSilence();
  expectLogged("accepted, HTTP status 200, reply over 1 MiB ignored");
}

TEST_F(Reply, OverOneMebibyteOfAFailureStaysAFailure) {
  answer(std::string(2 * 1024 * 1024, 'x'), 500);
  expectStillQueued();
}

TEST_F(Reply, WithInvalidUTF8ArrivesWithReplacements) {
  answer("{\"success\":\"a\xFF\xC3\"}");
  ASSERT_EQ(delegate_->calls.items().size(), 1u);
  EXPECT_EQ(delegate_->calls.items()[0].second, Value({{"success", "a\xEF\xBF\xBD\xEF\xBF\xBD"}}));
}

TEST_F(Reply, ReachesNobodyWhenTheDelegateIsGone) {
  Gate gate;
  TestServer server([&](const TestServer::Request&) {
    gate.pass();
    return TestServer::Reply{};
  });
  const Running running = start();
  store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
  send(server.hostname(), Value{{"action", "init"}}, "1.000000");
  const std::weak_ptr<RecordingDelegate> gone = std::exchange(delegate_, std::make_shared<RecordingDelegate>());
  EXPECT_TRUE(gone.expired()) << "the request keeps its delegate";
  gate.open();
  application_.ended.wait(1);
  expectAcceptedInSilence();
}

TEST_F(Reply, ComesAfterTheStoreIsWrittenAndBeforeTheBackgroundTaskEnds) {
  struct Delegate : RecordingDelegate {
    void MarluneInitResult(const Value&) override {
      synchronizations = store->synchronizations;
      ended = application->ended.items().size();
      queue = store->objectForKey(networkQueue);
    }
    MemoryUserDefaults* store = nullptr;
    RecordingApplication* application = nullptr;
    int synchronizations = 0;
    std::size_t ended = 1;
    Value queue;
  };
  const auto delegate = std::make_shared<Delegate>();
  delegate->store = &store_;
  delegate->application = &application_;
  delegate_ = delegate;
  answer(R"({"success":1})");
  EXPECT_EQ(delegate->synchronizations, 1);
  EXPECT_EQ(delegate->ended, 0u);
  EXPECT_EQ(delegate->queue, Value(Dictionary()));
}

TEST_F(Reply, AnExceptionOfTheDelegateIsLoggedAndDropped) {
  struct Delegate : RecordingDelegate {
    void MarluneInitResult(const Value&) override { throw std::runtime_error("what went wrong"); }
    void MarluneInitialResult(const Value&) override { throw 1; }
  };
  delegate_ = std::make_shared<Delegate>();
  TestServer server;
  const Running running = start();
  send(server.hostname(), Value{{"action", "init"}});
  send(server.hostname(), Value{{"action", "initial"}});
  EXPECT_EQ(application_.ended.wait(2).size(), 2u);
  expectLogged("EXCEPTION (CAUGHT) in the reply to \"init\" - what went wrong");
  expectLogged("EXCEPTION (CAUGHT) in the reply to \"initial\"");
}

TEST_F(Reply, ADelegateMaySendAgain) {
  const auto delegate = std::make_shared<SendingDelegate>();
  delegate->gate.open();
  delegate_ = delegate;
  TestServer server;
  const Running running = start();
  delegate->sendNext = [&] { send(server.hostname(), Value{{"action", "initial"}}); };
  send(server.hostname(), Value{{"action", "init"}});
  EXPECT_EQ(delegate->calls.wait(1).at(0).first, "initial");
  network_->stop();
}

}  // namespace

}  // namespace fliprugair::test
