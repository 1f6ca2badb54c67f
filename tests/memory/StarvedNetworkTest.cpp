// A lack of memory on the network's thread costs a request its sending or its reply; the thread lives on.

#include <algorithm>
#include <optional>

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"
#include "memory/FailingAllocations.h"
#include "support/Eventually.h"

namespace fliprugair::test {
namespace {

/// A network whose thread is short of memory from the reply to one request until the end of the next one.
class StarvedNetwork : public NetworkTest, public testing::WithParamInterface<FailingAllocations::Span> {
 protected:
  enum Task : BackgroundTaskIdentifier { starving = 1, starved, after };

  struct FeedingApplication final : Application {
    BackgroundTaskIdentifier beginBackgroundTask(std::string_view, std::function<void()>) override { return starving; }
    void endBackgroundTask(BackgroundTaskIdentifier task) override {
      if (task == starving) return;
      const int count = shortage ? shortage->count() : 0;
      shortage.reset();
      ended.put(count);
    }
    int statusBarOrientation() const override { return 1; }

    std::optional<FailingAllocations> shortage;  ///< of the network's thread, as all of this
    Mailbox<int> ended;                          ///< after how many allocations
  };

  struct StarvingDelegate : RecordingDelegate {
    void MarluneInitResult(const Value& /*reply*/) override {
      begun.put(1);
      starve();
    }
    std::function<void()> starve;
    Mailbox<int> begun;
  };

  void SetUp() override {
    NetworkTest::SetUp();
    delegate_ = starvingDelegate_;
    network_ = std::make_unique<CurlNetwork>(CurlNetworkOptions(), store_, json_, feeding_,
                                             [this](std::string_view line) { log_.put(std::string(line)); });
  }

  void sendFor(Task task, const Value& payload, const Text& eventTimestamp = nullptr) {
    const std::shared_ptr<MarluneNetworkAccess> access = network_->makeAccess();
    access->setLoggingEnabled(true);
    access->setNetworkAccessDelegate(delegate_);
    access->setEventTimestamp(eventTimestamp);
    access->setBackgroundTask(task);
    access->sendHTTPRequestWithHostname(server_.hostname(), payload);
  }

  /// Has the allocation `number` fail, or those from it on, while `payload` is sent. How many there were.
  int starve(int number, const Value& payload) {
    starvingDelegate_->starve = [this, number] { feeding_.shortage.emplace(number, GetParam()); };
    store_.setObject(Value{{"1.000000", payload}}, networkQueue);
    sendFor(starving, Value{{"action", "init"}});
    starvingDelegate_->begun.wait(++rounds_);
    sendFor(starved, payload, "1.000000");
    return feeding_.ended.wait(2 * rounds_ - 1).back();
  }

  bool hasArrived(const Value& payload) {
    const auto requests = server_.requests.items();
    return std::any_of(requests.begin(), requests.end(),
                       [text = json_.textOfAny(payload)](const auto& request) { return request.body == text; });
  }

  TestServer server_;
  FeedingApplication feeding_;
  const std::shared_ptr<StarvingDelegate> starvingDelegate_ = std::make_shared<StarvingDelegate>();
  std::size_t rounds_ = 0;
};

TEST_P(StarvedNetwork, LosesNoRequestEndsEachAndLivesOn) {
  const Running running(*this);
  int allocations = 1;
  for (int number = -1; number < allocations; ++number) {
    const bool onlyCounts = number < 0;
    const Value payload{{"action", "initial"}, {"number", number}};
    const int count = starve(onlyCounts ? FailingAllocations::none : number, payload);
    if (onlyCounts) allocations = count;
    const bool isQueued = store_.objectForKey(networkQueue).dictionary().holds("1.000000");
    ASSERT_TRUE(isQueued || hasArrived(payload)) << number;
    const std::size_t replies = delegate_->calls.items().size();
    sendFor(after, Value{{"action", "initial"}});
    ASSERT_EQ(feeding_.ended.wait(2 * rounds_).size(), 2 * rounds_) << number;
    ASSERT_EQ(delegate_->calls.items().size(), replies + 1) << number;
    ASSERT_TRUE(eventually([&] { return network_->isIdle(); })) << number;
  }
  EXPECT_GT(allocations, 10);
}

INSTANTIATE_TEST_SUITE_P(Allocations, StarvedNetwork,
                         testing::Values(FailingAllocations::Span::one, FailingAllocations::Span::lasting),
                         [](const auto& span) { return span.param == FailingAllocations::Span::one ? "one" : "all"; });

}  // namespace
}  // namespace fliprugair::test
