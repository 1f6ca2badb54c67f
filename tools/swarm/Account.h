#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::swarm {

/// A set of numbers from 1 on that come nearly in order: a few bytes, however many they are. One thread.
class NumberSet {
 public:
  /// False when it was there.
  bool insert(std::uint32_t number);
  bool contains(std::uint32_t number) const;
  std::uint64_t size() const { return upTo_ + beyond_.size(); }

 private:
  std::uint32_t upTo_ = 0;             ///< this one, and all below
  std::vector<std::uint32_t> beyond_;  ///< ascending
};

/// What became of the records of some devices.
struct Records {
  std::uint64_t recorded = 0;     ///< by the host app
  std::uint64_t confirmed = 0;    ///< by the control host, as the device has heard
  std::uint64_t waiting = 0;      ///< in the device's store, and not confirmed
  std::uint64_t twice = 0;        ///< arrivals of what had arrived
  std::uint64_t needless = 0;     ///< of these: events that the device knew to be confirmed
  std::uint64_t unaccounted = 0;  ///< recorded, and neither confirmed nor waiting: lost

  Records& operator+=(const Records& other);
};

/// The books of one device: its installation and its events, each with a number of its own that travels in the record.
/// One thread.
class Account {
 public:
  static constexpr std::uint32_t installation = 1;

  /// The number of a new record.
  std::uint32_t record() { return ++recorded_; }

  /// The control host has this request, whether the device hears of it or not.
  void arrived(const Value& payload);
  /// The device knows that the control host has this request.
  void confirmed(const Value& payload);

  /// With what waits in the device's store, of which `stored` is all.
  Records records(const Dictionary& stored) const;

 private:
  std::uint32_t recorded_ = 0;
  std::uint32_t twice_ = 0;
  std::uint32_t needless_ = 0;
  NumberSet arrived_;
  NumberSet confirmed_;
};

/// The numbers of the records that a request, or a batch of them, carries.
void forEachNumber(const Value& payload, const std::function<void(std::uint32_t)>& action);

}  // namespace fliprugair::swarm
