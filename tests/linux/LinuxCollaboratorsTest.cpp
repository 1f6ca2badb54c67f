#include <stdexcept>
#include <thread>

#include "linux/Support.h"
#include "platform/linux/LinuxCollaborators.h"
#include "platform/linux/WorkerPool.h"

namespace fliprugair {
namespace {

struct Listener final : MarluneiAdAttributionDelegate {
  void iAdAttributionData(const Value& newDetails, bool isUnknown) override {
    details = newDetails;
    unknown = isUnknown;
    thread = std::this_thread::get_id();
    ++answers;
    answered.happens();
  }

  Happening answered;
  Value details = "not answered";
  bool unknown = true;
  int answers = 0;
  std::thread::id thread;
};

TEST(LinuxSearchAdAttribution, WithoutASourceThereAreNoDetails) {
  WorkerPool queue({});
  const auto listener = std::make_shared<Listener>();
  LinuxSearchAdAttribution attribution(queue, {}, std::make_shared<Gate>());
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  ASSERT_TRUE(listener->answered.happened());
  queue.stop();
  EXPECT_EQ(listener->details, Value());
  EXPECT_FALSE(listener->unknown);
  EXPECT_NE(listener->thread, std::this_thread::get_id());
}

TEST(LinuxSearchAdAttribution, ASourceMayAnswerLaterOnAThreadOfItsOwnAndOnlyOnce) {
  WorkerPool queue({});
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
        std::make_shared<Gate>());
    attribution.setIAdAttributionDelegate(listener);
    attribution.retrieveiAdAttribution(false);
  }
  ASSERT_TRUE(listener->answered.happened());
  queue.stop();
  source.join();
  EXPECT_EQ(listener->details.dictionary()["campaign"], Value("spring"));
  EXPECT_TRUE(listener->unknown);
  EXPECT_EQ(listener->answers, 1);
}

TEST(LinuxSearchAdAttribution, ADelegateThatIsGoneIsNotKeptAliveForTheAnswer) {
  WorkerPool queue({});
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
      std::make_shared<Gate>());
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  const std::weak_ptr<Listener> watched = listener;
  listener.reset();
  EXPECT_TRUE(watched.expired());
  gone.set_value();
  EXPECT_TRUE(answered.happened());
}

TEST(LinuxSearchAdAttribution, NoAnswerPassesAGateThatIsClosed) {
  WorkerPool queue({});
  const auto listener = std::make_shared<Listener>();
  const auto answers = std::make_shared<Gate>();
  Happening asked;
  std::function<void(const Value&, bool)> late;
  LinuxSearchAdAttribution attribution(
      queue,
      [&](const std::function<void(const Value&, bool)>& answer) {
        late = answer;
        asked.happens();
      },
      answers);
  attribution.setIAdAttributionDelegate(listener);
  attribution.retrieveiAdAttribution(false);
  ASSERT_TRUE(asked.happened());
  answers->close();
  late(nullptr, false);
  EXPECT_EQ(listener->answers, 0);
}

TEST(LinuxSearchAdAttribution, WhatASourceThrowsIsLogged) {
  Record record;
  WorkerPool queue(record.log());
  Happening asked;
  LinuxSearchAdAttribution attribution(
      queue,
      [&asked](const auto&) {
        asked.happens();
        throw std::runtime_error("no network");
      },
      std::make_shared<Gate>());
  attribution.retrieveiAdAttribution(false);
  ASSERT_TRUE(asked.happened());
  queue.stop();
  EXPECT_EQ(record.lines(), std::vector<std::string>{"A task of the global queue threw: no network"});
}

}  // namespace
}  // namespace fliprugair
