// A call that no memory is left for is lost; the process, and what was reported before and after, is not.

#include <gtest/gtest.h>

#include <Fliprugair/Fliprugair>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>

#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "memory/FailingAllocations.h"
#include "support/TemporaryFolder.h"

namespace fliprugair {
namespace {

using Span = FailingAllocations::Span;

class WithoutMemory : public testing::TestWithParam<Span> {
 protected:
  WithoutMemory() { open(); }
  ~WithoutMemory() override { close(); }

  LinuxOptions options() const {
    LinuxOptions options;
    options.bundleIdentifier = "com.example.memory";
    options.shortVersion = "1.0";
    options.version = "100";
    options.storePath = folder_ / "store.sqlite";
    options.log = [](std::string_view) {};
    options.mainThread = MainThread::host;  // all that the tracker does happens on the starved thread
    return options;
  }

  void open() {
    auto opened = LinuxEnvironment::open(options());
    ASSERT_EQ(opened.error, "");
    environment_ = std::move(opened.environment);
    // Nobody listens there: what is reported stays in the store.
    tracker_ = MarluneTracker::initMarluneWithParams(*environment_,
                                                     {{"marluneAppId", "demo"}, {"trackerHostname", "127.0.0.1:1"}});
    ASSERT_TRUE(tracker_);
    environment_->applicationDidFinishLaunching();
    environment_->applicationDidBecomeActive();
    environment_->poll();
  }
  void close() {
    if (environment_) environment_->terminate();
    tracker_.reset();
    environment_.reset();
  }

  /// Makes the call once, and then as often as it allocates, each time with one more allocation that it gets.
  void starve(const std::function<void()>& call) const {
    int allocations = 0;
    {
      const FailingAllocations counting(FailingAllocations::none, GetParam());
      call();
      allocations = counting.count();
    }
    EXPECT_GT(allocations, 0);
    for (int number = 0; number < allocations; ++number) {
      const FailingAllocations failing(number, GetParam());
      call();
    }
  }

  /// The events that the app has when it is started again, `once` each of these among them.
  std::multiset<std::string> keptAcrossARestart(const std::vector<std::string>& once) {
    close();
    open();
    const std::multiset<std::string> events = storedEvents();
    for (const std::string& name : once) EXPECT_EQ(events.count(name), 1U) << name;
    return events;
  }

  std::multiset<std::string> storedEvents() {
    std::multiset<std::string> names;
    const auto add = [&](const Value& records) {
      for (const Value& record : records.array()) {
        const Value name = record.dictionary()["data"].dictionary()["event_name"];
        if (name.isText()) names.insert(name.text());
      }
    };
    UserDefaults& store = environment_->userDefaults();
    add(store.objectForKey(key::batchEventQueue));
    const Dictionary queue = store.objectForKey(key::networkQueue).dictionary();
    for (const auto& entry : queue.entries()) add(entry.value);
    return names;
  }

  const TemporaryFolder folder_;
  std::unique_ptr<LinuxEnvironment> environment_;
  std::shared_ptr<MarluneTracker> tracker_;
};

TEST_P(WithoutMemory, AnEventIsLostAloneAndAtMost) {
  tracker_->trackEvent("before", "value");
  const std::string name = "an event whose name is too long to stand in a string's own few bytes";
  const Text text(name);  // what the host app allocates for the call is its own concern
  starve([&] { tracker_->trackEvent(text, text); });
  tracker_->trackEvent("after", "value");
  EXPECT_GE(keptAcrossARestart({"before", "after"}).count(name), 1U);
}

TEST_P(WithoutMemory, TheApplicationsLifeGoesOn) {
  tracker_->trackEvent("before", "value");
  starve([&] {
    environment_->applicationWillResignActive();
    environment_->poll();
    environment_->applicationDidBecomeActive();
    environment_->poll();
  });
  tracker_->trackEvent("after", "value");
  keptAcrossARestart({"before", "after"});
}

TEST_P(WithoutMemory, AStartIsRefusedAndLeavesTheStoreAsItIs) {
  tracker_->trackEvent("before", "value");
  close();
  LinuxEnvironment::Result result;
  const LinuxOptions given = options();
  // A soak tries every one.
  const int step = std::getenv("FLIPRUGAIR_SOAK") != nullptr ? 1 : 13;
  for (int number = 0; !result.environment; number += step) {
    ASSERT_LT(number, 20000);
    LinuxOptions copy = given;
    const FailingAllocations failing(number, GetParam());
    result = LinuxEnvironment::open(std::move(copy));
  }
  result.environment.reset();
  open();
  EXPECT_EQ(storedEvents().count("before"), 1U);
}

INSTANTIATE_TEST_SUITE_P(Allocations, WithoutMemory, testing::Values(Span::one, Span::lasting),
                         [](const auto& span) { return span.param == Span::one ? "one" : "all"; });

}  // namespace
}  // namespace fliprugair
