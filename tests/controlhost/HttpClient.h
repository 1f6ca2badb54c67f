#pragma once

#include <string>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::test {

struct HttpAnswer {
  int status = 0;  ///< 0: none came
  std::string body;

  /// The body as JSON; nothing when it is not.
  Value json() const;
};

/// One request to 127.0.0.1.
HttpAnswer httpGet(int port, const std::string& path);
HttpAnswer httpPost(int port, const std::string& path, const std::string& body);

/// A request to the place where trackers send theirs.
HttpAnswer post(int port, const Value& request);

}  // namespace fliprugair::test
