#include "platform/virtual/VirtualDevice.h"

#include <random>

namespace fliprugair {

VirtualDevice::VirtualDevice(EventSink events, ArchiveReader archives, std::uint64_t seed,
                             VirtualStore::Observer storeObserver)
    : store(std::move(storeObserver)), events_(std::move(events)), archives_(std::move(archives)), seed_(seed) {}

void VirtualDevice::setNow(double secondsSince1970) {
  clockBase_ = secondsSince1970;
  clockSetAt_ = uptime_;
  now_ = secondsSince1970;
}

void VirtualDevice::moveTo(Nanoseconds uptime) {
  uptime_ = uptime;
  now_ = clockBase_ + static_cast<double>(uptime_ - clockSetAt_) / 1e9;
}

std::string VirtualDevice::randomUUID() {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view pattern = "xxxxxxxx-xxxx-4xxx-Nxxx-xxxxxxxxxxxx";
  std::mt19937_64 random(seed_);
  random.discard(randomNumbers_);
  randomNumbers_ += pattern.size();
  std::string uuid;
  for (const char place : pattern) {
    const auto digit = static_cast<std::size_t>(random() >> 60);
    if (place == 'x') {
      uuid += digits[digit];
    } else if (place == 'N') {
      uuid += digits[8 + digit % 4];
    } else {
      uuid += place;
    }
  }
  return uuid;
}

}  // namespace fliprugair
