#pragma once

#include <cstdint>

namespace fliprugair {

/// 2001-01-01 00:00 UTC in seconds since 1970: requests are keyed by the seconds that have passed since.
inline constexpr std::int64_t referenceDate = 978307200;

}  // namespace fliprugair
