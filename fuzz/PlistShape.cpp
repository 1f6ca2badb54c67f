#include "platform/plist/PlistShape.h"

#include <cstddef>
#include <cstdint>

/// Each shape is asked about any bytes, also those that the reader of archives would have kept from it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  fliprugair::isBoundedBinaryPlist(bytes);
  fliprugair::isBoundedXMLPlist(bytes);
  return 0;
}
