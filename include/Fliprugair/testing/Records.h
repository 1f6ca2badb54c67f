#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// An event as a tracker recorded it.
struct RecordedEvent {
  struct Place {
    double x = 0;
    double y = 0;
    double z = 0;
  };

  std::string title;
  std::optional<std::string> value = {};    ///< none: the event was reported without one, as spatial ones are
  std::optional<std::string> receipt = {};  ///< of a purchase, as it was encoded
  std::optional<Place> place = {};          ///< of a spatial event, to six digits
  bool standard = false;                    ///< reported as one of the standard events
};

/// For the messages of failed tests: `"Purchase" = "9.99", standard`.
std::ostream& operator<<(std::ostream& out, const RecordedEvent& event);

/// Events in the order in which they were recorded.
class RecordedEvents : public std::vector<RecordedEvent> {
 public:
  using vector::vector;

  /// Those of that title.
  RecordedEvents with(std::string_view title) const;
};

/// A URL that the app was opened with.
struct RecordedDeepLink {
  std::string url;
  std::string sourceApplication;
};

/// A request that a tracker sent.
struct SentRequest {
  std::uint64_t number = 0;  ///< counts from 1 on each device
  /// "init", "initial" (the installation), "update", "get_attribution", or "batch" (of records).
  std::string name;
  std::string host;
  RecordedEvents events;  ///< those in a batch
  Value payload;          ///< all of it, for what has no plain form
};

}  // namespace fliprugair
