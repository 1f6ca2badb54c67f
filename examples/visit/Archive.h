#pragma once

#include <filesystem>

/// Writes a small keyed archive, as the archiving service of another library would.
void writeKeyedArchive(const std::filesystem::path& file);
