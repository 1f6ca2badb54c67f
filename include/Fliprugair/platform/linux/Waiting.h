#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "Fliprugair/platform/Export.h"

namespace fliprugair {

/// What the control host has not confirmed yet. It stands in the store and is sent again at a later activation.
struct FLIPRUGAIR_EXPORT Waiting {
  bool installReport = false;  ///< the installation has not been reported; no records leave before that
  std::size_t records = 0;     ///< events, sessions, positions that no request carries yet
  std::size_t requests = 0;    ///< made, and not confirmed: batches of records, the install report, others
  std::size_t bytes = 0;       ///< of records and requests as JSON text

  /// When the oldest record or request was made, to the second, by the device's clock. None when there are none.
  std::optional<std::chrono::system_clock::time_point> oldest = {};

  bool isEmpty() const { return !installReport && records == 0 && requests == 0; }

  /// As "the install report, 2 records"; "" when nothing waits.
  std::string text() const;
};

}  // namespace fliprugair
