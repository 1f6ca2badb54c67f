#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/Value.h"
#include "Fliprugair/testing/Records.h"

namespace fliprugair {

class Environment;

/// A device in memory for the tests of a host app: the real tracker runs on it, time stands still until it is moved,
/// and what leaves the tracker is seen instead of sent.
///
///     TestDevice device;
///     const auto tracker = MarluneTracker::initMarluneWithParams(device.environment(), {{"marluneAppId", "demo"}});
///     buy(*tracker);                                                   // the host app's own code
///     EXPECT_EQ(device.events().with("Purchase").size(), 1u);
///
/// Nothing sleeps and nothing leaves the process; the same test always sees the same, random identifiers included.
/// Every device stands for itself. Trackers go before the device does.
///
/// Threads: the tracker's calls may come from any thread, those of this object from one. Each of them, except the
/// constructor and the destructor, first runs what waits on the main queue and the global queue, on that thread.
class FLIPRUGAIR_EXPORT TestDevice final {
 public:
  enum class Life {
    installation,  ///< the app was never there: the tracker asks for settings and reports the installation first
    laterVisit,    ///< reported in an earlier visit: a tracker sends nothing by itself when it starts
  };

  explicit TestDevice(Life life = Life::laterVisit);
  ~TestDevice();
  TestDevice(const TestDevice&) = delete;
  TestDevice& operator=(const TestDevice&) = delete;

  /// What a tracker is constructed with.
  Environment& environment();

  // The application's life, as the host app's platform would tell it.
  void applicationDidFinishLaunching();
  void applicationDidBecomeActive();
  void applicationWillResignActive();
  void applicationWillTerminate();

  /// The process is killed and started anew: timers, tasks and requests under way vanish, the store stays. Trackers of
  /// the old process do nothing from now on; environment() is another one.
  void restart();

  /// Lets time pass, be it years: timers fire when they are due. Requests are filed under the microsecond in which they
  /// were made, so that of two batches within one, only the later is offered again after a failure.
  void advance(std::chrono::duration<double> time);

  /// The wall clock: 2023-11-14 22:13:20 UTC and what was let pass. Setting it fires no timer.
  std::chrono::system_clock::time_point now() const;
  void setNow(std::chrono::system_clock::time_point time);

  // What the trackers recorded since the device was made, whether it was sent or not.

  RecordedEvents events();
  std::vector<Value> identityLinks();  ///< dictionaries
  std::vector<RecordedDeepLink> deepLinks();

  // Requests. Each stays pending until it is answered.

  /// Those that were sent, in order; of one name, or all.
  std::vector<SentRequest> requests(std::string_view name = {});
  /// Those that are pending, the oldest first.
  std::vector<SentRequest> pending();

  /// The control host accepts the oldest pending request of that name and replies with `body`. False when none is
  /// pending.
  bool reply(std::string_view name, const Value& body = hostWithoutWishes());
  /// The oldest pending request of that name gets no answer. False when none is pending.
  bool fail(std::string_view name);
  /// The control host accepts all that is pending, and what follows from that at once.
  void replyToAll(const Value& body = hostWithoutWishes());
  /// All that is pending gets no answer, as without a network.
  void failAll();

  /// A reply that sets nothing and asks for nothing.
  static Value hostWithoutWishes();
  /// A reply to "get_attribution": the result, a dictionary.
  static Value attribution(const Value& result);

  /// The tracker's diagnostic lines.
  std::vector<std::string> log();

 private:
  struct Parts;

  Parts& settled();

  std::unique_ptr<Parts> parts_;
};

}  // namespace fliprugair
