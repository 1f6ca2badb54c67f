#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "Fliprugair/MarluneTracker.h"
#include "platform/curl/HostTrouble.h"
#include "platform/virtual/VirtualDevice.h"
#include "platform/virtual/VirtualProcess.h"
#include "tools/swarm/Account.h"
#include "tools/swarm/Habits.h"

namespace fliprugair::swarm {

/// One device of a swarm: a whole tracker on a virtual device, and somebody who uses it by their habits. What it does
/// depends on the fleet's seed, its own number and what its requests come to, and on nothing else.
///
/// It lives from one moment at which something happens to the next: whoever drives it calls `live` when `due` has come,
/// and ends each request that it has handed to its network. A host in trouble is left alone, as by the Linux platform.
/// One thread at a time.
class SwarmDevice {
 public:
  /// Where the requests of a device go.
  class Network {
   public:
    virtual ~Network() = default;
    /// Must lead to device.answer or device.fail with this request later, not before this returns.
    virtual void send(SwarmDevice& device, std::uint64_t request, const Value& payload) = 0;
  };

  /// `fleet` and `network` must outlive it.
  SwarmDevice(const Fleet& fleet, std::uint32_t number, Network& network);
  ~SwarmDevice();
  SwarmDevice(const SwarmDevice&) = delete;
  SwarmDevice& operator=(const SwarmDevice&) = delete;

  std::uint32_t number() const { return number_; }
  /// When something happens next.
  Time due() const;
  /// Lets time pass until `then`, which is due() or before, and what is due then happen.
  void live(Time then);
  Time now() const { return static_cast<Time>(device_.uptime()); }

  /// The control host has accepted the request and replied; null when its reply was none of JSON's objects.
  void answer(std::uint64_t request, const Value& payload, const Value& reply);
  /// The request came to nothing, as far as the device can tell.
  void fail(std::uint64_t request);
  /// The control host has accepted the request, be the device told or not.
  void noteArrival(const Value& payload) { account_.arrived(payload); }

  /// The requests in its store that no control host has confirmed.
  std::size_t waitingRequests() const { return waitingRequests_; }
  Records records() const { return account_.records(device_.store.all()); }

 private:
  enum class Act : std::uint8_t { openApp, useApp, leaveApp, endApp };

  void happen(const VirtualEvent& event);
  void settle();
  void letLeave();
  void rest();
  HostTrouble::Time troubleTime() const { return HostTrouble::Time(std::chrono::nanoseconds(now())); }
  void act();
  void openApp();
  void useApp();
  void leaveApp();
  void startProcess();
  void endProcess();
  void plan(Act act, Time at);

  const Fleet& fleet_;
  const std::uint32_t number_;
  Network& network_;
  Random random_;
  VirtualDevice device_;
  std::unique_ptr<VirtualProcess> process_;  ///< null while the app does not run
  std::shared_ptr<MarluneTracker> tracker_;
  Account account_;
  struct Sent {
    std::uint64_t request;
    Value payload;
  };
  std::vector<Sent> sent_;  ///< to be handed to the network
  HostTrouble trouble_;
  Time actAt_ = 0;
  Time sessionAt_ = 0;        ///< when the app is opened next
  std::size_t underWay_ = 0;  ///< requests of this process
  std::size_t waitingRequests_ = 0;
  std::uint32_t version_ = 100;
  std::uint32_t eventsLeft_ = 0;
  Act act_ = Act::openApp;
  bool isInstalled_ = false;
  bool isOnline_ = true;
  bool isSearchAdAsked_ = false;
};

}  // namespace fliprugair::swarm
