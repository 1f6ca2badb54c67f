#include <gtest/gtest.h>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "linux/ReportKeys.h"
#include "platform/linux/SentWatch.h"
#include "support/MemoryUserDefaults.h"

namespace fliprugair {
namespace {

/// Keeps the next look until the test takes it.
class Looks : public MainQueue {
 public:
  void async(Task task) override { next_ = std::move(task); }
  std::shared_ptr<Timer> scheduleTimer(double, std::string_view, Task action) override {
    next_ = std::move(action);
    return nullptr;
  }
  void takeNext() {
    const Task look = std::exchange(next_, nullptr);
    ASSERT_TRUE(look);
    look();
  }

 private:
  Task next_;
};

class ASentWatch : public testing::Test {
 protected:
  void begin(std::chrono::steady_clock::duration time = std::chrono::hours(1)) {
    std::make_shared<SentWatch>(
        store_, looks_, std::chrono::steady_clock::now() + time,
        SentWatch::Actions{[this] { return isIdle_; }, [this] { ++flushes_; }, [this] { ++ends_; }})
        ->look();
  }

  MemoryUserDefaults store_;
  Looks looks_;
  bool isIdle_ = true;
  int flushes_ = 0;
  int ends_ = 0;
};

TEST_F(ASentWatch, HasTheRecordsFlushedOnce) {
  store_.setObject(Array({1}), records);
  begin();
  looks_.takeNext();
  looks_.takeNext();
  EXPECT_EQ(flushes_, 1);
  EXPECT_EQ(ends_, 0);
  store_.setObject(Array(), records);
  looks_.takeNext();
  EXPECT_EQ(flushes_, 1);
  EXPECT_EQ(ends_, 1);
}

TEST_F(ASentWatch, FlushesNothingBeforeTheInstallationIsReported) {
  store_.setObject(true, installIsDue);
  store_.setObject(Array({1}), records);
  begin();
  EXPECT_EQ(flushes_, 0);
  store_.setObject(false, installIsDue);
  looks_.takeNext();
  EXPECT_EQ(flushes_, 1);
}

TEST_F(ASentWatch, WaitsForWhatIsUnderWay) {
  isIdle_ = false;
  begin();
  EXPECT_EQ(ends_, 0);
  isIdle_ = true;
  looks_.takeNext();
  EXPECT_EQ(ends_, 1);
}

TEST_F(ASentWatch, EndsWhenTheTimeIsOver) {
  store_.setObject(true, installIsDue);
  begin(std::chrono::seconds(0));
  EXPECT_EQ(ends_, 1);
}

}  // namespace
}  // namespace fliprugair
