#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/platform/Application.h"
#include "support/MemoryUserDefaults.h"

namespace fliprugair::test {

inline constexpr std::chrono::seconds patience(30);

/// Values that threads leave for a test to wait for.
template <class Item>
class Mailbox {
 public:
  void put(Item item) {
    const std::lock_guard lock(mutex_);
    items_.push_back(std::move(item));
    changed_.notify_all();
  }

  /// What has come when there are `count` items, or when patience has ended.
  std::vector<Item> wait(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience, [&] { return items_.size() >= count; });
    return items_;
  }

  std::vector<Item> items() { return wait(0); }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Item> items_;
};

/// Keeps those who come to it until it is opened.
class Gate {
 public:
  ~Gate() { open(); }
  void open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  void pass() {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience, [&] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

class RecordingApplication final : public Application {
 public:
  BackgroundTaskIdentifier beginBackgroundTask(std::string_view, std::function<void()>) override { return ++last_; }
  void endBackgroundTask(BackgroundTaskIdentifier task) override { ended.put(task); }
  int statusBarOrientation() const override { return 1; }

  Mailbox<BackgroundTaskIdentifier> ended;

 private:
  std::atomic<BackgroundTaskIdentifier> last_ = 0;
};

/// Notes which method was called, with what.
class RecordingDelegate : public MarluneNetworkAccessDelegate {
 public:
  using Call = std::pair<std::string, Value>;

  void MarluneRetrieveAttribution(const Value& reply) override { calls.put({"attribution", reply}); }
  void MarluneInitResult(const Value& reply) override { calls.put({"init", reply}); }
  void MarluneInitialResult(const Value& reply) override { calls.put({"initial", reply}); }

  Mailbox<Call> calls;
};

/// Holds up the network's thread with an init reply until its gate is open.
struct BusyDelegate : RecordingDelegate {
  void MarluneInitResult(const Value& reply) override {
    calls.put({"init", reply});
    gate.pass();
  }
  Gate gate;
};

/// Sends something else when the init reply has come.
struct SendingDelegate : RecordingDelegate {
  void MarluneInitResult(const Value& /*reply*/) override {
    gate.pass();
    sendNext();
  }
  Gate gate;
  std::function<void()> sendNext;
};

}  // namespace fliprugair::test
