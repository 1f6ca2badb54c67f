#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::swarm {

/// The kinds of requests, by their action; a list is a batch.
inline constexpr std::array<std::string_view, 5> requestKinds{"init", "initial", "update", "batch", "get_attribution"};

inline std::size_t kindOf(const Value& payload) {
  if (payload.isArray()) return 3;
  const std::string action = payload.dictionary()["action"].text();
  for (std::size_t kind = 0; kind < requestKinds.size(); ++kind) {
    if (requestKinds[kind] == action) return kind;
  }
  return 3;
}

/// What went over a network.
struct Traffic {
  std::array<std::uint64_t, requestKinds.size()> requests{};  ///< that left a device, by kind
  std::uint64_t failed = 0;                                   ///< of these
  std::uint64_t records = 0;                                  ///< in the batches among them
  std::uint64_t bytes = 0;                                    ///< of their bodies

  std::uint64_t allRequests() const {
    std::uint64_t all = 0;
    for (const std::uint64_t count : requests) all += count;
    return all;
  }

  void add(const Value& payload, std::size_t bodySize) {
    const std::size_t kind = kindOf(payload);
    ++requests[kind];
    records += payload.array().size();
    bytes += bodySize;
  }

  Traffic& operator+=(const Traffic& other) {
    for (std::size_t kind = 0; kind < requests.size(); ++kind) requests[kind] += other.requests[kind];
    failed += other.failed;
    records += other.records;
    bytes += other.bytes;
    return *this;
  }
};

}  // namespace fliprugair::swarm
