#pragma once

#include <cmath>
#include <cstdint>

namespace fliprugair::swarm {

/// Eight bytes of chance, of which a hundred thousand devices have one each: the same seed gives the same numbers on
/// every machine, which the distributions of the standard library do not promise. Not for secrets. One thread.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  /// As different as they can be for neighbouring values of both.
  static std::uint64_t mixed(std::uint64_t seed, std::uint64_t index) {
    Random random(seed);
    random.state_ = random.next() + index;
    return random.next();
  }

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t bits = state_;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBU;
    return bits ^ (bits >> 31);
  }

  /// From 0, which it may be, to 1, which it is not.
  double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }
  bool chance(double probability) { return uniform() < probability; }
  double exponential(double mean) { return -std::log1p(-uniform()) * mean; }

 private:
  std::uint64_t state_;
};

}  // namespace fliprugair::swarm
