#pragma once

#include <filesystem>

namespace fliprugair {

/// Renames a damaged store, and SQLite's files and the journal beside it, within their folder, to a name that nothing
/// has, and answers with that name. Throws StoreError::Kind::unavailable when the folder does not let it.
std::filesystem::path setAside(const std::filesystem::path& file);

/// The same with the journal alone.
std::filesystem::path setJournalAside(const std::filesystem::path& file);

}  // namespace fliprugair
