#pragma once

#include <string_view>
#include <vector>

namespace fliprugair::controlhost {

/// A file that the program carries within itself, as it stood in the sources when it was built.
struct EmbeddedFile {
  std::string_view name;  ///< below its folder, as "icons/device.svg"
  std::string_view content;
};

/// The page: tools/controlhost/page/.
const std::vector<EmbeddedFile>& pageFiles();

/// The schemas of the wire protocol: docs/wire/.
const std::vector<EmbeddedFile>& wireSchemaFiles();

/// What a browser takes a file of this name for.
std::string_view contentTypeOf(std::string_view name);

}  // namespace fliprugair::controlhost
