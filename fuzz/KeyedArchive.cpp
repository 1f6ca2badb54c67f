#include "platform/plist/KeyedArchive.h"

#include <cstddef>
#include <cstdint>

/// The bytes of a file in the documents folder.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fliprugair::isReadableKeyedArchive({reinterpret_cast<const char*>(data), size});
  return 0;
}
