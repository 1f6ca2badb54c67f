#pragma once

#include "Fliprugair/platform/Text.h"

namespace fliprugair {

class WebViewUserAgent {
 public:
  virtual ~WebViewUserAgent() = default;

  /// The user-agent string of the platform's browser; null when none is available. Main thread.
  virtual Text userAgentString() = 0;
};

}  // namespace fliprugair
