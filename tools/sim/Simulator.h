#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/MarluneTracker.h"
#include "platform/virtual/VirtualDevice.h"
#include "platform/virtual/VirtualProcess.h"
#include "tools/sim/Command.h"

namespace fliprugair::sim {

class HostDelegate;

/// Runs a script line by line on a virtual device, with the real tracker, and writes what happens as events.
/// One thread; nothing sleeps; the same lines give the same events.
class Simulator {
 public:
  /// Receives one line of compact JSON without its end, an event.
  using Output = std::function<void(const std::string& line)>;

  Simulator(Output output, std::uint64_t seed);
  ~Simulator();

  /// Runs one line of a script; `number` counts from 1. Blank lines and comments do nothing and write nothing.
  /// Returns the reason, for a person, when the command did nothing; "" when it did something.
  /// Throws CommandError when the line cannot be understood.
  std::string run(std::string_view line, std::uint64_t number);

  // What the selectors of "call" work on.

  /// The tracker that the script holds; a null pointer when there is none.
  MarluneTracker* tracker() const { return tracker_.get(); }
  Environment& environment() { return *process_; }
  VirtualProcess& process() { return *process_; }
  /// Releases the tracker held, takes what `make` answers in its place and writes "constructed".
  void construct(bool keep, const std::function<std::shared_ptr<MarluneTracker>()>& make);
  void write(const Dictionary& event);
  /// The command that runs does nothing, because `reason`.
  void note(std::string reason) { note_ = std::move(reason); }

  /// The kind of the delegate that the held tracker has; null when it has none.
  Value trackerDelegateKind() const;
  void setTrackerDelegate(const std::string& kind);

 private:
  using Command = void (Simulator::*)(const Members&);
  static Command commandNamed(std::string_view name);

  void device(const Members& members);
  void clock(const Members& members);
  void advance(const Members& members);
  void store(const Members& members);
  void installed(const Members& members);
  void construct(const Members& members);
  void call(const Members& members);
  void notify(const Members& members);
  void reply(const Members& members);
  void fail(const Members& members);
  void searchAd(const Members& members);
  void location(const Members& members);
  void expire(const Members& members);
  void delegate(const Members& members);
  void release(const Members& members);
  void restart(const Members& members);
  void state(const Members& members);

  void noteNotPending(std::int64_t request);
  void releaseTracker();
  std::shared_ptr<HostDelegate> makeDelegate(const std::string& kind);

  Output output_;
  std::string note_;
  RapidJSONSerialization json_;
  VirtualDevice device_;
  std::unique_ptr<VirtualProcess> process_;
  std::shared_ptr<MarluneTracker> tracker_;
  std::vector<std::shared_ptr<MarluneTracker>> kept_;
  std::string delegateKind_ = "none";
  std::vector<std::shared_ptr<HostDelegate>> delegates_;  ///< trackers hold theirs weakly
};

}  // namespace fliprugair::sim
