#pragma once

#include <filesystem>

namespace fliprugair {

/// Makes sure that the store can be opened as its owner's own: makes the missing folders, which nobody else may enter,
/// and the file, which nobody else may read. Throws StoreError::Kind::noFile when something else has the name of the
/// file, of SQLite's log or of the journal, and Kind::unavailable when the folders or the file cannot be made.
void prepareFolder(const std::filesystem::path& file);
void prepareFile(const std::filesystem::path& file);

/// Whether there is no file, or an empty one.
bool isAbsent(const std::filesystem::path& file);

/// Whether there can be no store yet under this name: its folder is there, and nothing that is long enough is in it.
bool isCertainlyNew(const std::filesystem::path& file);

}  // namespace fliprugair
