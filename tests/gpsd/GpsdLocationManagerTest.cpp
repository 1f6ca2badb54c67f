#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <mutex>
#include <thread>

#include "GpsFake.h"
#include "gpsd/Patience.h"
#include "platform/gpsd/GpsdLocation.h"
#include "platform/posix/FileDescriptor.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;
using test::Epoch;
using test::GpsFake;

/// Keeps the fixes it is called with, and the lines of the log.
class Recorder : public MarluneLocationManagerDelegate {
 public:
  void currentLocationUpdate(const Value& fix) override {
    if (onFix) onFix();
    const std::lock_guard lock(mutex_);
    fixes_.push_back(fix);
    changed_.notify_all();
  }

  GpsdLocationManager::Log sink() {
    return [this](std::string_view line) {
      const std::lock_guard lock(mutex_);
      lines_.emplace_back(line);
      changed_.notify_all();
    };
  }

  bool waitForFix() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [this] { return !fixes_.empty(); });
  }

  bool waitForLine(std::string_view part) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] {
      return std::any_of(lines_.begin(), lines_.end(),
                         [&](const std::string& line) { return line.find(part) != line.npos; });
    });
  }

  bool waitForLines(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return lines_.size() >= count; });
  }

  std::vector<Value> fixes() {
    const std::lock_guard lock(mutex_);
    return fixes_;
  }

  std::vector<std::string> lines() {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

  std::function<void()> onFix;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Value> fixes_;
  std::vector<std::string> lines_;
};

std::size_t searchThreads() {
  std::size_t count = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    count += name == "gpsd search";
  }
  return count;
}

std::ptrdiff_t openFiles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return std::distance(files, std::filesystem::directory_iterator());
}

/// What the process has open before a search, and is to have after it.
class Holdings {
 public:
  /// Whether the search's thread and what it opened are gone, now or promptly.
  bool areRestored() const {
    const auto deadline = std::chrono::steady_clock::now() + promptly;
    while (searchThreads() != 0 || openFiles() != before_) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::sleep_for(5ms);  // the system does not say when a thread is gone
    }
    return true;
  }

 private:
  std::ptrdiff_t before_ = openFiles();
};

class GpsdLocationManagerTest : public testing::Test {
 protected:
  static std::vector<Epoch> epochs(std::size_t count, Epoch epoch) { return std::vector<Epoch>(count, epoch); }

  /// A manager with the recorder as its delegate and its log, which searches on `port`.
  void search(const std::string& port, std::int64_t accuracy, std::int64_t timeout, bool loggingEnabled = true) {
    location.emplace(GpsdOptions{"localhost", port}, recorder->sink());
    manager = location->makeManager();
    manager->setLocationManagerDelegate(recorder);
    manager->initLocationServices(loggingEnabled, accuracy, timeout);
  }

  const std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
  std::optional<GpsdLocation> location;
  std::shared_ptr<MarluneLocationManager> manager;
};

TEST_F(GpsdLocationManagerTest, AFixReachesTheDelegateOnceAndWhatTheSearchHeldIsFreed) {
  GpsFake gpsd(epochs(60, {}));
  const Holdings before;
  search(gpsd.port(), 50, 60);
  ASSERT_TRUE(recorder->waitForFix());
  EXPECT_TRUE(before.areRestored());
  ASSERT_EQ(recorder->fixes().size(), 1U);
  const auto fix = recorder->fixes().front().dictionary();
  EXPECT_EQ(fix.size(), 3U);
  EXPECT_EQ(fix["latitude"].kind(), Value::Kind::real);
  EXPECT_EQ(fix["longitude"].kind(), Value::Kind::real);
  EXPECT_EQ(fix["accuracy"].kind(), Value::Kind::real);
  EXPECT_NEAR(fix["latitude"].realValue(), 48.1173, 1e-6);
  EXPECT_NEAR(fix["longitude"].realValue(), 11.516667, 1e-6);
  EXPECT_NEAR(fix["accuracy"].realValue(), 15.2, 1e-6);
}

TEST_F(GpsdLocationManagerTest, APoorFixIsPassedOverUntilItImproves) {
  auto improving = epochs(20, {true, 20});
  improving.insert(improving.end(), 20, {true, 1.5});
  GpsFake gpsd(improving);
  search(gpsd.port(), 30, 60);
  ASSERT_TRUE(recorder->waitForFix());
  EXPECT_NEAR(recorder->fixes().front().dictionary()["accuracy"].realValue(), 28.5, 1e-6);
}

TEST_F(GpsdLocationManagerTest, WithoutAFixInTimeNothingIsCalledAndWhatTheSearchHeldIsFreed) {
  GpsFake gpsd(epochs(60, {false}));
  const Holdings before;
  search(gpsd.port(), 50, 1);
  ASSERT_TRUE(recorder->waitForLine("no fix"));
  EXPECT_TRUE(before.areRestored());
  EXPECT_TRUE(recorder->fixes().empty());
}

TEST_F(GpsdLocationManagerTest, WithoutAFixOfTheWantedAccuracyNothingIsCalled) {
  GpsFake gpsd(epochs(60, {true, 20}));
  search(gpsd.port(), 50, 1);
  ASSERT_TRUE(recorder->waitForLine("no fix"));
  EXPECT_TRUE(recorder->fixes().empty());
}

TEST_F(GpsdLocationManagerTest, TheSearchGoesOnWhenGpsdGoesAwayAndComesBack) {
  std::string port;
  {
    GpsFake gpsd(epochs(60, {false}));
    port = gpsd.port();
    search(port, 50, 60);
    ASSERT_TRUE(recorder->waitForLine("searching"));
  }
  ASSERT_TRUE(recorder->waitForLine("gpsd is gone"));
  const GpsFake again(epochs(60, {}), port);
  EXPECT_TRUE(recorder->waitForFix());
}

TEST_F(GpsdLocationManagerTest, AGpsdThatComesLateIsFound) {
  const std::string port = test::freePort();
  search(port, 50, 60);
  ASSERT_TRUE(recorder->waitForLine("no gpsd"));
  const GpsFake late(epochs(60, {}), port);
  EXPECT_TRUE(recorder->waitForFix());
}

TEST_F(GpsdLocationManagerTest, WithoutGpsdTheSearchEndsWithItsTimeAndSaysSoOnce) {
  const Holdings before;
  search(test::freePort(), 50, 3);
  ASSERT_TRUE(recorder->waitForLine("no fix, the time is over"));
  EXPECT_TRUE(before.areRestored());
  EXPECT_TRUE(recorder->fixes().empty());
  EXPECT_EQ(recorder->lines().size(), 2U);
}

TEST_F(GpsdLocationManagerTest, DroppingTheObjectBetweenTwoTriesEndsTheSearch) {
  const Holdings before;
  search(test::freePort(), 50, 3600);
  ASSERT_TRUE(recorder->waitForLine("no gpsd"));
  manager.reset();
  EXPECT_TRUE(before.areRestored());
}

TEST_F(GpsdLocationManagerTest, ATimeOfZeroOrLessIsOverBeforeGpsdIsAsked) {
  GpsFake gpsd(epochs(60, {}));
  std::size_t searches = 0;
  for (const std::int64_t timeout : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    search(gpsd.port(), 50, timeout);
    EXPECT_TRUE(recorder->waitForLines(++searches));
  }
  EXPECT_TRUE(recorder->fixes().empty());
  EXPECT_EQ(recorder->lines(), std::vector<std::string>(searches, "location: no fix, the time is over"));
}

TEST_F(GpsdLocationManagerTest, AHostNameThatWouldHaveToBeLookedUpIsNoGpsd) {
  location.emplace(GpsdOptions{"gps.invalid", "2947"}, recorder->sink());
  manager = location->makeManager();
  manager->initLocationServices(true, 50, 3600);
  EXPECT_TRUE(recorder->waitForLine("no gpsd"));
}

/// Listens, and never accepts: with its queue full, further attempts to connect get no answer at all.
class Unresponsive {
 public:
  Unresponsive() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), size);
    listen(listener_.get(), 0);
    getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    port_ = std::to_string(ntohs(address.sin_port));
    for (int i = 0; i < 8; ++i) {
      waiting_.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
      connect(waiting_.back().get(), reinterpret_cast<sockaddr*>(&address), size);
    }
  }
  const std::string& port() const { return port_; }

 private:
  FileDescriptor listener_;
  std::vector<FileDescriptor> waiting_;
  std::string port_;
};

TEST_F(GpsdLocationManagerTest, ConnectingIsPartOfTheTimeAllowed) {
  const Unresponsive host;
  const Holdings before;
  search(host.port(), 50, 1);
  EXPECT_TRUE(before.areRestored());
  EXPECT_TRUE(recorder->waitForLine("no gpsd"));
}

TEST_F(GpsdLocationManagerTest, DroppingTheObjectWhileItConnectsEndsTheSearch) {
  const Unresponsive host;
  const Holdings before;
  search(host.port(), 50, 3600);
  const auto dropped = std::chrono::steady_clock::now();
  manager.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - dropped, promptly);
  EXPECT_TRUE(before.areRestored());
}

TEST_F(GpsdLocationManagerTest, DroppingTheObjectEndsTheSearch) {
  GpsFake gpsd(epochs(60, {false}));
  const Holdings before;
  search(gpsd.port(), 50, std::numeric_limits<std::int64_t>::max());
  ASSERT_TRUE(recorder->waitForLine("searching"));
  const auto dropped = std::chrono::steady_clock::now();
  manager.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - dropped, promptly);
  EXPECT_TRUE(before.areRestored());
  EXPECT_TRUE(recorder->fixes().empty());
}

TEST_F(GpsdLocationManagerTest, ADelegateThatIsGoneIsNotCalled) {
  GpsFake gpsd(epochs(60, {}));
  const auto calls = std::make_shared<int>(0);
  auto delegate = std::make_shared<Recorder>();
  delegate->onFix = [calls] { ++*calls; };
  const Holdings before;
  search(gpsd.port(), 50, 60);
  manager->setLocationManagerDelegate(delegate);
  delegate.reset();
  ASSERT_TRUE(recorder->waitForLine("found"));
  EXPECT_TRUE(before.areRestored());
  EXPECT_EQ(*calls, 0);
  EXPECT_TRUE(recorder->fixes().empty());
}

TEST_F(GpsdLocationManagerTest, ADelegateThatWasDetachedIsNotCalled) {
  GpsFake gpsd(epochs(60, {}));
  const Holdings before;
  search(gpsd.port(), 50, 60);
  manager->setLocationManagerDelegate({});
  ASSERT_TRUE(recorder->waitForLine("found"));
  EXPECT_TRUE(before.areRestored());
  EXPECT_TRUE(recorder->fixes().empty());
}

TEST_F(GpsdLocationManagerTest, TheDelegateMayDropTheObjectInsideItsCall) {
  GpsFake gpsd(epochs(60, {}));
  const Holdings before;
  std::mutex constructed;
  recorder->onFix = [&] {
    const std::lock_guard lock(constructed);
    manager->setLocationManagerDelegate({});
    manager.reset();
  };
  {
    const std::lock_guard lock(constructed);
    search(gpsd.port(), 50, 60);
  }
  ASSERT_TRUE(recorder->waitForFix());
  EXPECT_TRUE(before.areRestored());
  EXPECT_EQ(manager, nullptr);
  EXPECT_EQ(recorder->fixes().size(), 1U);
}

/// A call of the delegate that lasts until it is released, and a little longer.
struct LongCall {
  std::mutex mutex;
  std::condition_variable changed;
  bool begun = false;
  bool released = false;
  bool over = false;

  void operator()() {
    std::unique_lock lock(mutex);
    begun = true;
    changed.notify_all();
    changed.wait(lock, [this] { return released; });
    lock.unlock();
    // An end that wrongly does not wait comes within this; nothing signals that it has not.
    std::this_thread::sleep_for(50ms);
    lock.lock();
    over = true;
  }

  bool waitAndRelease() {
    std::unique_lock lock(mutex);
    const bool seen = changed.wait_for(lock, patience, [this] { return begun; });
    released = true;
    changed.notify_all();
    return seen;
  }

  bool isOver() {
    const std::lock_guard lock(mutex);
    return over;
  }
};

TEST_F(GpsdLocationManagerTest, DroppingTheObjectWaitsForACallOnAnotherThread) {
  GpsFake gpsd(epochs(60, {}));
  LongCall call;
  recorder->onFix = std::ref(call);
  search(gpsd.port(), 50, 60);
  ASSERT_TRUE(call.waitAndRelease());
  manager.reset();
  EXPECT_TRUE(call.isOver());
}

TEST_F(GpsdLocationManagerTest, StoppingEndsTheSearchesThatRunAndKeepsLaterOnesFromBeginning) {
  GpsFake gpsd(epochs(60, {false}));
  const Holdings before;
  location.emplace(GpsdOptions{"localhost", gpsd.port()}, recorder->sink());
  const auto running = location->makeManager();
  running->initLocationServices(true, 50, 3600);
  ASSERT_TRUE(recorder->waitForLine("searching"));
  const auto stopped = std::chrono::steady_clock::now();
  location->stop();
  EXPECT_LT(std::chrono::steady_clock::now() - stopped, promptly);
  const auto lines = recorder->lines().size();
  location->makeManager()->initLocationServices(true, 50, 3600);
  running->initLocationServices(true, 50, 3600);
  EXPECT_TRUE(before.areRestored());
  EXPECT_EQ(recorder->lines().size(), lines);
}

TEST_F(GpsdLocationManagerTest, StoppingWaitsForACallThatHasDroppedItsObject) {
  GpsFake gpsd(epochs(60, {}));
  location.emplace(GpsdOptions{"localhost", gpsd.port()}, recorder->sink());
  LongCall call;
  std::shared_ptr<MarluneLocationManager> dropped = location->makeManager();
  bool ownThread = false;
  recorder->onFix = [&] {
    dropped.reset();
    ownThread = location->isOwnThread();
    call();
  };
  dropped->setLocationManagerDelegate(recorder);
  dropped->initLocationServices(true, 50, 60);
  ASSERT_TRUE(call.waitAndRelease());
  location->stop();
  EXPECT_TRUE(call.isOver());
  EXPECT_TRUE(ownThread);
  EXPECT_FALSE(location->isOwnThread());
}

TEST_F(GpsdLocationManagerTest, DetachingTheDelegateWaitsForACallOnAnotherThread) {
  GpsFake gpsd(epochs(60, {}));
  LongCall call;
  recorder->onFix = std::ref(call);
  search(gpsd.port(), 50, 60);
  ASSERT_TRUE(call.waitAndRelease());
  manager->setLocationManagerDelegate({});
  EXPECT_TRUE(call.isOver());
}

TEST_F(GpsdLocationManagerTest, WhatTheDelegateThrowsEndsThere) {
  GpsFake gpsd(epochs(60, {}));
  const Holdings before;
  recorder->onFix = [] { throw std::runtime_error("not for the search"); };
  search(gpsd.port(), 50, 60);
  ASSERT_TRUE(recorder->waitForLine("found"));
  EXPECT_TRUE(before.areRestored());
}

TEST_F(GpsdLocationManagerTest, WithoutLoggingNoLineIsWritten) {
  GpsFake gpsd(epochs(60, {}));
  search(gpsd.port(), 50, 60, false);
  ASSERT_TRUE(recorder->waitForFix());
  manager.reset();
  EXPECT_TRUE(recorder->lines().empty());
}

TEST_F(GpsdLocationManagerTest, AnObjectThatNeverSearchedCanBeDropped) {
  location.emplace(GpsdOptions{}, nullptr);
  manager = location->makeManager();
  manager->setLocationManagerDelegate(recorder);
  manager.reset();
  EXPECT_TRUE(recorder->fixes().empty());
}

}  // namespace
}  // namespace fliprugair
