#pragma once

namespace fliprugair {

/// How often a test is to do what depends on chance: as often as `usual`, and a tenth of it under a sanitizer, where
/// each time takes ten times as long.
constexpr int times(int usual) {
#ifdef FLIPRUGAIR_SANITIZED
  return usual / 10;
#else
  return usual;
#endif
}

}  // namespace fliprugair
