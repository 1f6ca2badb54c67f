#pragma once

#include <filesystem>
#include <string>

namespace fliprugair {

/// Removes the store in `file` and everything beside it whose name begins alike: SQLite's own files, the journal, the
/// lock, what was set aside. "" when nothing of it is left; else what could not be removed, and why. Leaves all as it
/// is while somebody uses the store.
std::string eraseStore(const std::filesystem::path& file);

}  // namespace fliprugair
