#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <utility>

#include "Fliprugair/testing.h"
#ifdef FLIPRUGAIR_WIRE_CHECKED
#include "support/WireFormat.h"
#endif

namespace fliprugair {

/// At its end all that a device has sent by then must satisfy the schemas of the wire protocol. They come with the
/// control host, which can be left out of a build.
class CheckedRequests {
 public:
  /// Findings of the kinds `expected` ("batch-size") are no failures.
  explicit CheckedRequests(TestDevice& device, std::set<std::string, std::less<>> expected = {})
      : device_(device), expected_(std::move(expected)) {}
  CheckedRequests(const CheckedRequests&) = delete;
  CheckedRequests& operator=(const CheckedRequests&) = delete;
  ~CheckedRequests() {
#ifdef FLIPRUGAIR_WIRE_CHECKED
    for (const SentRequest& request : device_.requests()) EXPECT_EQ(test::wireFaults(request.payload, expected_), "");
#endif
  }

 private:
  [[maybe_unused]] TestDevice& device_;
  [[maybe_unused]] const std::set<std::string, std::less<>> expected_;  ///< kinds of findings
};

}  // namespace fliprugair
