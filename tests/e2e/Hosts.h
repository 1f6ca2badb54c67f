// Hosts that a tracker meets: one that answers, one that takes its time, and one that confirms no batch.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tools/controlhost/HostSettings.h"

namespace fliprugair::e2e {

enum class HostKind { plain, slow, failing };

inline controlhost::HostSettings settingsOf(HostKind kind) {
  controlhost::HostSettings settings;
  if (kind == HostKind::slow) settings.delay = std::chrono::milliseconds(20);
  if (kind == HostKind::failing) settings.status = {{"batch", 503}};
  return settings;
}

inline const char* nameOf(HostKind kind) {
  if (kind == HostKind::plain) return "plain";
  return kind == HostKind::slow ? "slow" : "failing";
}

inline const auto everyHost = testing::Values(HostKind::plain, HostKind::slow, HostKind::failing);
inline std::string nameOfParameter(const testing::TestParamInfo<HostKind>& kind) { return nameOf(kind.param); }

}  // namespace fliprugair::e2e
