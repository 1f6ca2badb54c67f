#pragma once

#include <cstdint>
#include <optional>

#include "Fliprugair/platform/Value.h"
#include "tools/swarm/Habits.h"

namespace fliprugair::swarm {

/// A time in which a control host is not as it should be.
struct Outage {
  enum class Kind {
    refuse,   ///< no request gets through
    lose,     ///< requests arrive, and no reply reaches its device
    backOff,  ///< new devices are told to come back later, all else is turned away
  };
  Time begin = 0;
  Time end = 0;  ///< not in it any more
  Kind kind = Kind::refuse;
};

struct HostOptions {
  std::optional<Outage> outage;
  std::optional<std::int64_t> initWait;   ///< "mlinit_wait" in its replies; none: it says nothing
  std::optional<std::int64_t> batchWait;  ///< "mltracker_wait"
};

/// A control host that needs no network: what becomes of a request follows from the request and the time alone. Any
/// thread.
class HostModel {
 public:
  explicit HostModel(const HostOptions& options);

  struct Answer {
    bool arrives = true;
    bool isAnswered = true;
    Time after = 0;  ///< the request has left
    Value reply = {};
  };
  /// `chance` may be used as often as it takes.
  Answer answer(Time now, const Value& payload, Random chance) const;

 private:
  Value replyTo(const Value& payload, Random& chance) const;

  const std::optional<Outage> outage_;
  const Value initReply_;
};

}  // namespace fliprugair::swarm
