#include "platform/plist/KeyedArchive.h"

#include <algorithm>
#include <string>

#include "platform/plist/ArchivedObjects.h"
#include "platform/plist/PlistNodes.h"
#include "platform/plist/PlistShape.h"

namespace fliprugair {

namespace {

/// What may stand before the first tag of a text.
std::string_view withoutHeading(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
}

Plist propertyList(std::string_view bytes) {
  plist_t plist = nullptr;
  if (bytes.starts_with("bplist00")) {
    if (isBoundedBinaryPlist(bytes)) plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &plist);
  } else if (isBoundedXMLPlist(withoutHeading(bytes))) {
    // libplist reads on to the end of a number or a name, wherever the text ends: a terminator has to be there.
    const std::string text(withoutHeading(bytes));
    plist_from_xml(text.c_str(), static_cast<std::uint32_t>(text.size()), &plist);
  }
  return Plist(plist);
}

bool isVersion(plist_t node) {
  std::uint64_t version = 0;
  if (isPlist(node, PLIST_UINT)) plist_get_uint_val(node, &version);
  return version == 100000;
}

}  // namespace

bool isReadableKeyedArchive(std::string_view bytes) {
  const Plist owner = propertyList(bytes);
  plist_t archive = owner.get();
  if (!isPlist(archive, PLIST_DICT)) return false;
  plist_t objects = plist_dict_get_item(archive, "$objects");
  plist_t top = plist_dict_get_item(archive, "$top");
  return plistText(plist_dict_get_item(archive, "$archiver")) == "NSKeyedArchiver" &&
         isVersion(plist_dict_get_item(archive, "$version")) && isPlist(objects, PLIST_ARRAY) &&
         isPlist(top, PLIST_DICT) && ArchivedObjects(objects).isReadable(plist_dict_get_item(top, "root"));
}

}  // namespace fliprugair
