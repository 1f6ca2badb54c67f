#include <limits>
#include <stdexcept>

#include "Fliprugair/core/Context.h"
#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

class Guarded {
 public:
  Guarded() {
    environment.onLog = [this](std::string_view line) { lines.emplace_back(line); };
  }
  Phone phone;
  ObservedEnvironment environment{phone.process};
  Context::Shared shared;
  Context context{environment.platform(), shared};
  std::vector<std::string> lines;
};

using Lines = std::vector<std::string>;

TEST(Context, NamesMethodAndLineBeforeAMessage) {
  Guarded a;
  a.context.log("-[Method of:]", 42, "message");
  EXPECT_EQ(a.lines, Lines({"-[Method of:] [Line 42] message"}));
}

TEST(Context, SurvivesALogSinkThatThrows) {
  Guarded a;
  a.environment.onLog = [](std::string_view) { throw std::runtime_error("sink"); };
  EXPECT_NO_THROW(a.context.log("method", 1, "message"));
}

TEST(Context, ShowsValuesInLogLinesAsTextOrJSON) {
  Guarded a;
  EXPECT_EQ(a.context.described(nullptr), "(null)");
  EXPECT_EQ(a.context.described("text"), "text");
  EXPECT_EQ(a.context.described(Value{{"a", Array({1})}}), R"({"a":[1]})");
}

TEST(Context, ShowsWhatIsNoNumberOfJSONAsNullInside) {
  Guarded a;
  EXPECT_EQ(a.context.described(Value{{"a", std::numeric_limits<double>::quiet_NaN()}, {"b", 1}}),
            R"({"a":null,"b":1})");
}

TEST(Context, LogsWhatAnEntryThrowsAndEndsIt) {
  Guarded a;
  EXPECT_NO_THROW(a.context.perform([] { throw std::runtime_error("the reason"); }));
  EXPECT_EQ(a.lines, Lines({"-[MarluneTracker guarded:] [Line 2604] EXCEPTION (CAUGHT) "
                            "5b1f3a52-6c0e-4d0b-9d3c-0f7f6b2f8a41 - the reason"}));
}

TEST(Context, LogsWhatIsThrownAndIsNoException) {
  Guarded a;
  EXPECT_NO_THROW(a.context.guarded([] { throw 42; }));
  EXPECT_EQ(a.lines, Lines({"-[MarluneTracker guarded:] [Line 2607] EXCEPTION (CAUGHT) "
                            "8d0a5f0e-3b61-4a0c-8f55-1c6a4c2f9e77 - (null)"}));
}

TEST(Context, EntersNothingWhereThePlatformIsInert) {
  Guarded a;
  a.environment.inert = true;
  bool touched = false;
  a.environment.store.onBeginGroup = [&] { touched = true; };
  a.context.perform([&] { touched = true; });
  EXPECT_FALSE(touched);
}

TEST(Context, MakesWhatAnEntryWroteDurableTogether) {
  Guarded a;
  a.context.perform([&] {
    a.context.store().setObject(1, "a");
    a.context.store().synchronize();
    EXPECT_FALSE(a.environment.store.undurable().empty()) << "before the entry has ended";
    a.context.store().setObject(2, "b");
  });
  EXPECT_TRUE(a.environment.store.undurable().empty());
}

TEST(Context, MakesWhatAnEntryWroteDurableThoughItThrows) {
  Guarded a;
  a.context.perform([&] {
    a.context.store().setObject(1, "a");
    a.context.store().synchronize();
    throw std::runtime_error("the reason");
  });
  EXPECT_TRUE(a.environment.store.undurable().empty());
}

/// Stands for the tracker.
class Owner final : public Callbacks {
 public:
  void iAdAttributionData(const Value&, bool) override {}
  void currentLocationUpdate(const Value&) override {}
};

TEST(Context, KeepsTheTrackerAliveForATaskOfTheMainQueue) {
  Guarded a;
  auto owner = std::make_shared<Owner>();
  const std::weak_ptr<Owner> weak = owner;
  a.context.setOwner(owner);
  bool ran = false;
  a.context.postToMainQueue([&] { ran = true; });
  owner.reset();
  EXPECT_FALSE(weak.expired());
  a.phone.process.runQueues();
  EXPECT_TRUE(ran);
  EXPECT_TRUE(weak.expired());
}

TEST(Context, PostsNoTaskForATrackerThatHasEnded) {
  Guarded a;
  a.context.postToMainQueue([] { FAIL() << "the tracker has ended"; });
  a.phone.process.runQueues();
  EXPECT_TRUE(a.context.owner().expired());
}

TEST(Context, GuardsTasksOfTheMainQueue) {
  Guarded a;
  const auto owner = std::make_shared<Owner>();
  a.context.setOwner(owner);
  a.context.postToMainQueue([] { throw std::runtime_error("the reason"); });
  EXPECT_NO_THROW(a.phone.process.runQueues());
  EXPECT_EQ(a.lines.size(), 1U);
}

TEST(Context, GuardsTimers) {
  Guarded a;
  const auto owner = std::make_shared<Owner>();
  a.context.setOwner(owner);
  TimerReference timer;
  a.context.arm(timer, 5, "timer:", [] { throw std::runtime_error("the reason"); });
  EXPECT_NO_THROW(a.phone.process.advance(5));
  EXPECT_EQ(a.lines.size(), 1U);
}

TEST(Context, RunsNoTimerOfATrackerThatHasEnded) {
  Guarded a;
  auto owner = std::make_shared<Owner>();
  a.context.setOwner(owner);
  TimerReference timer;
  a.context.arm(timer, 5, "timer:", [] { FAIL() << "the tracker has ended"; });
  owner.reset();
  a.phone.process.advance(5);
  EXPECT_FALSE(timer.load()->isValid());
}

}  // namespace
}  // namespace fliprugair
