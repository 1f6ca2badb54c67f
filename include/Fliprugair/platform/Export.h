#pragma once

/// Marks what the shared library offers; everything else in it is hidden. FLIPRUGAIR_SHARED is defined by the build of
/// the shared library and, through CMake and pkg-config, for those who link it. In a static library there is nothing
/// to mark: a plug-in that contains one offers none of it.
#if defined(FLIPRUGAIR_SHARED) && (defined(__GNUC__) || defined(__clang__))
#define FLIPRUGAIR_EXPORT __attribute__((visibility("default")))
#else
#define FLIPRUGAIR_EXPORT
#endif
