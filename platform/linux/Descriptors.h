#pragma once

#include <cstddef>

namespace fliprugair {

/// What the platform has open at the most: the store 8, the main queue 6, the network 2 and for each of 8 requests at a
/// time a connection and a name's look-up (24), a search for a position 2, the questions about routes, documents and
/// the receipt 4; and a few more for what the libraries do not say.
inline constexpr std::size_t descriptorsNeeded = 48;

/// Throws std::runtime_error with a text for the host app when the process may not open that many more files. Some of
/// the libraries end the process, or never return, when they get none.
void requireDescriptors();

}  // namespace fliprugair
