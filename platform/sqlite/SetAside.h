#pragma once

#include <filesystem>

namespace fliprugair {

/// Renames a damaged store and SQLite's files beside it within their folder, to a name that nothing has, and answers
/// with that name. Throws StoreError::Kind::unavailable when the folder does not let it.
std::filesystem::path setAside(const std::filesystem::path& file);

}  // namespace fliprugair
