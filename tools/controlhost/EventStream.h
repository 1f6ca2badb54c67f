#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/controlhost/Match.h"
#include "tools/controlhost/Reception.h"

namespace fliprugair::controlhost {

/// What happens, as server-sent events for one reader. Keeps no queue: a reader who is slow misses what the log no
/// longer holds, and is told so; who was told too little of the rest is told all of it anew. Used by one thread.
class EventStream {
 public:
  /// Tells of the requests behind `since` that match.
  EventStream(Reception& reception, std::int64_t since, Match match = Match(""));

  /// The next events; "" when a moment went by without one. None when there will be none any more.
  std::optional<std::string> next();

 private:
  std::string greeting() const;
  std::string toldAnew();
  std::string told(const std::vector<Reception::Notice>& notices);
  std::string told(const std::vector<RequestPointer>& requests, std::int64_t dropped);
  std::string devices();

  Reception& reception_;
  const std::int64_t begin_;
  std::int64_t since_;
  const Match match_;
  std::int64_t change_ = 0;
  std::int64_t notice_;
  std::int64_t deviceChange_;
  bool hasGreeted_ = false;
  std::chrono::steady_clock::time_point devicesTold_{};
  std::chrono::steady_clock::time_point told_{};
};

}  // namespace fliprugair::controlhost
