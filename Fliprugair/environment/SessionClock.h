#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Fliprugair/core/Context.h"
#include "Fliprugair/platform/Text.h"
#include "platform/PairText.h"

namespace fliprugair {

namespace key {

// Times are whole seconds since 1970-01-01 00:00 UTC.
inline constexpr std::string_view lastUpdateTime = "com.marlune.MarluneTracker.lastUpdateTime";
inline constexpr std::string_view lastPostTime = "com.marlune.MarluneTracker.lastPostTime";
inline constexpr std::string_view timeAppBecameActive = "com.marlune.MarluneTracker.timeAppBecameActive";

}  // namespace key

/// The clock readings of the reports, in whole seconds.
class SessionClock {
 public:
  explicit SessionClock(const Context& context) : context_(context) {}

  /// Whole seconds since 1970, truncated.
  std::uint64_t now() const;

  std::string currentLocalTime() const;
  /// Since the application became active. Negative when the stored activation lies in the future: the difference is
  /// unsigned, the text signed.
  std::uint64_t uptime() const;
  std::string returnUptime() const { return signedText(uptime()); }
  /// Since the last reading of this, which moves the reference point: a second report in the same second gets 0.
  std::string returnAndSetUptimeDelta();

  /// Adds "updelta" and "last_post_time", each when it is above 0. Once for each record that reports them.
  void addUptimeDeltaAndLastPostTime(PairText& data);

  void noteActivation();
  void storeDefaults();

 private:
  std::int64_t setUptimeDelta();

  const Context& context_;
};

}  // namespace fliprugair
