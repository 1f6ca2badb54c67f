#include <stdexcept>
#include <thread>

#include "linux/Support.h"
#include "platform/linux/GuardedLog.h"
#include "platform/linux/LinuxCollaborators.h"
#include "platform/linux/WorkerPool.h"
#include "platform/posix/Threads.h"

namespace fliprugair {
namespace {

struct Listener final : MarluneiAdAttributionDelegate {
  void iAdAttributionData(const Value& newDetails, bool isUnknown) override {
    details = newDetails;
    unknown = isUnknown;
    thread = std::this_thread::get_id();
    ++answers;
    if (onAnswer) onAnswer();
    answered.happens();
  }

  Happening answered;
  std::function<void()> onAnswer;
  Value details = "not answered";
  bool unknown = true;
  int answers = 0;
  std::thread::id thread;
};

TEST(LinuxSearchAdAttribution, WithoutASourceThereAreNoDetails) {
  const auto queue = std::make_shared<WorkerPool>(guardedLog([](std::string_view) {}));
  const auto listener = std::make_shared<Listener>();
  LinuxSearchAdAttribution attribution(queue, {}, {});
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  ASSERT_TRUE(listener->answered.happened());
  queue->stop();
  EXPECT_EQ(listener->details, Value());
  EXPECT_FALSE(listener->unknown);
  EXPECT_NE(listener->thread, std::this_thread::get_id());
}

TEST(LinuxSearchAdAttribution, ASourceMayAnswerLaterOnAThreadOfItsOwnAndOnlyOnce) {
  const auto queue = std::make_shared<WorkerPool>(guardedLog([](std::string_view) {}));
  const auto listener = std::make_shared<Listener>();
  std::thread source;
  {
    LinuxSearchAdAttribution attribution(
        queue,
        [&source](const std::function<void(const Value&, bool)>& answer) {
          source = std::thread([answer] {
            answer(Value{{"campaign", "spring"}}, true);
            answer(nullptr, false);
          });
        },
        [](std::string_view) {});
    attribution.setIAdAttributionDelegate(listener);
    attribution.retrieveiAdAttribution(false);
  }
  ASSERT_TRUE(listener->answered.happened());
  queue->stop();
  source.join();
  EXPECT_EQ(listener->details.dictionary()["campaign"], Value("spring"));
  EXPECT_TRUE(listener->unknown);
  EXPECT_EQ(listener->answers, 1);
}

TEST(LinuxSearchAdAttribution, ADelegateThatIsGoneIsNotKeptAliveForTheAnswer) {
  const auto queue = std::make_shared<WorkerPool>(guardedLog([](std::string_view) {}));
  auto listener = std::make_shared<Listener>();
  Happening answered;
  std::promise<void> gone;
  LinuxSearchAdAttribution attribution(
      queue,
      [&](const std::function<void(const Value&, bool)>& answer) {
        gone.get_future().wait();
        answer(nullptr, false);
        answered.happens();
      },
      [](std::string_view) {});
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  const std::weak_ptr<Listener> watched = listener;
  listener.reset();
  EXPECT_TRUE(watched.expired());
  gone.set_value();
  EXPECT_TRUE(answered.happened());
  queue->stop();
}

TEST(LinuxSearchAdAttribution, AnAnswerArrivesOnTheGlobalQueueWhereverItIsGiven) {
  const auto queue = std::make_shared<WorkerPool>(guardedLog([](std::string_view) {}));
  std::promise<std::function<void(const Value&, bool)>> given;
  LinuxSearchAdAttribution attribution(queue, [&given](const auto& answer) { given.set_value(answer); }, {});
  bool onQueue = false;
  const auto listener = std::make_shared<Listener>();
  listener->onAnswer = [&] { onQueue = isThreadOf(queue.get()); };
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  given.get_future().get()(nullptr, true);
  ASSERT_TRUE(listener->answered.happened());
  queue->stop();
  EXPECT_TRUE(onQueue);
}

TEST(LinuxSearchAdAttribution, AnAnswerAfterTheEndOfTheQueueHasNoEffect) {
  auto queue = std::make_shared<WorkerPool>(guardedLog([](std::string_view) {}));
  const auto listener = std::make_shared<Listener>();
  std::promise<std::function<void(const Value&, bool)>> given;
  LinuxSearchAdAttribution attribution(queue, [&given](const auto& answer) { given.set_value(answer); }, {});
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  const auto late = given.get_future().get();
  queue->stop();
  queue = nullptr;
  late(nullptr, false);
  attribution.retrieveiAdAttribution(false);
  EXPECT_EQ(listener->answers, 0);
}

TEST(LinuxSearchAdAttribution, ASourceThatThrowsHasNoDetailsAlthoughItKeepsTheAnswer) {
  Record record;
  const auto queue = std::make_shared<WorkerPool>(record.log());
  std::function<void(const Value&, bool)> kept;
  LinuxSearchAdAttribution attribution(
      queue,
      [&kept](const auto& answer) {
        kept = answer;
        throw std::runtime_error("no network");
      },
      record.log());
  const auto listener = std::make_shared<Listener>();
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  ASSERT_TRUE(listener->answered.happened());
  kept(Value{{"campaign", "late"}}, true);
  queue->stop();
  EXPECT_EQ(listener->details, Value());
  EXPECT_FALSE(listener->unknown);
  EXPECT_EQ(listener->answers, 1);
  EXPECT_EQ(record.lines(), std::vector<std::string>{"The search-ad source threw: no network"});
}

TEST(LinuxSearchAdAttribution, ASourceThatDropsItsAnswerHasNoDetails) {
  const auto queue = std::make_shared<WorkerPool>(guardedLog([](std::string_view) {}));
  std::promise<std::function<void(const Value&, bool)>> given;
  LinuxSearchAdAttribution attribution(queue, [&given](const auto& answer) { given.set_value(answer); }, {});
  const auto listener = std::make_shared<Listener>();
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  {
    const auto dropped = given.get_future().get();
    EXPECT_FALSE(listener->answered.hasHappened());
  }
  ASSERT_TRUE(listener->answered.happened());
  queue->stop();
  EXPECT_EQ(listener->details, Value());
  EXPECT_FALSE(listener->unknown);
}

}  // namespace
}  // namespace fliprugair
