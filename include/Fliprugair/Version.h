#pragma once

/// The version of the library. While the first number is 0 a new second number may change the interface and the form
/// of binary code, and a new third number changes neither; from 1.0.0 on only a new first number does. CHANGELOG.md
/// says what a change asks of a host app.
#define FLIPRUGAIR_VERSION_MAJOR 0
#define FLIPRUGAIR_VERSION_MINOR 1
#define FLIPRUGAIR_VERSION_PATCH 0

/// The version as text, "0.1.0", and as a number that grows with it, for `#if FLIPRUGAIR_VERSION >= 100`:
/// 10000 for each first number, 100 for each second, 1 for each third.
#define FLIPRUGAIR_VERSION_TEXT "0.1.0"
#define FLIPRUGAIR_VERSION \
  (FLIPRUGAIR_VERSION_MAJOR * 10000 + FLIPRUGAIR_VERSION_MINOR * 100 + FLIPRUGAIR_VERSION_PATCH)
