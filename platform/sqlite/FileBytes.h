#pragma once

#include <string>

namespace fliprugair {

/// All that stands in a file; "" when there is none. Throws StoreError::Kind::unavailable when it cannot be read, and
/// Kind::noFile when something else has its name. Nothing may have the file open for SQLite: closing it would let go
/// of SQLite's locks.
std::string bytesOfFile(const std::string& path);

/// Throws as above when `path` names something other than a regular file.
void refuseWhatIsNoFile(const std::string& path);

}  // namespace fliprugair
