#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>

#include "Fliprugair/ControlHost.h"

namespace fliprugair {

/// A control host that fails its test when it finds something wrong or unusual in what it kept: whatever a test lets a
/// tracker send is checked. Findings of the kinds `expected` ("resent"), or of what was got ("The connection ended
/// before the body did"), are what the test brings about.
class CheckedHost : public ControlHost {
 public:
  explicit CheckedHost(ControlHostOptions options = {}, std::set<std::string> expected = {})
      : ControlHost(std::move(options)), expected_(std::move(expected)) {}

  ~CheckedHost() {
    for (const controlhost::Finding& finding : findings()) {
      const bool isExpected = expected_.contains(finding.code) || expected_.contains(finding.got);
      if (finding.severity == controlhost::Severity::note || isExpected) continue;
      ADD_FAILURE() << finding.code << ": " << finding.text;
    }
  }

  CheckedHost(const CheckedHost&) = delete;
  CheckedHost& operator=(const CheckedHost&) = delete;

 private:
  const std::set<std::string> expected_;
};

}  // namespace fliprugair
