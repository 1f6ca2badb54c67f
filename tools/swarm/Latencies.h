#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>

namespace fliprugair::swarm {

/// Durations, to within a hundredth of each. One thread.
class Latencies {
 public:
  void add(double seconds) {
    ++counts_[static_cast<int>(std::lround(std::log(std::max(seconds, 1e-6)) * stepsPerE))];
    ++size_;
  }

  Latencies& operator+=(const Latencies& other) {
    for (const auto& [step, count] : other.counts_) counts_[step] += count;
    size_ += other.size_;
    return *this;
  }

  /// What `share` (from 0 to 1) of them do not exceed; 0 when there are none.
  double percentile(double share) const {
    const double wanted = share * static_cast<double>(size_);
    double seconds = 0;
    std::uint64_t counted = 0;
    for (const auto& [step, count] : counts_) {
      seconds = std::exp(step / stepsPerE);
      counted += count;
      if (static_cast<double>(counted) >= wanted) break;
    }
    return seconds;
  }

 private:
  static constexpr double stepsPerE = 50;
  std::map<int, std::uint64_t> counts_;
  std::uint64_t size_ = 0;
};

}  // namespace fliprugair::swarm
