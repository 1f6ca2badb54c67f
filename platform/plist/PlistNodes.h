#pragma once

#include <plist/plist.h>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace fliprugair {

struct PlistDeleter {
  void operator()(plist_t plist) const { plist_free(plist); }
};
/// A property list and its owner.
using Plist = std::unique_ptr<void, PlistDeleter>;

inline std::string_view plistText(plist_t node) {
  std::uint64_t length = 0;
  const char* text = node ? plist_get_string_ptr(node, &length) : nullptr;
  return text ? std::string_view(text, length) : std::string_view();
}

inline bool isPlist(plist_t node, plist_type type) { return node && plist_get_node_type(node) == type; }

/// Calls `visit` with each item of an array, or each value of a dictionary, until it answers false. Whether it never
/// did.
template <class Visit>
bool eachPlistItem(plist_t container, Visit visit) {
  const bool isArray = isPlist(container, PLIST_ARRAY);
  void* iterator = nullptr;
  isArray ? plist_array_new_iter(container, &iterator) : plist_dict_new_iter(container, &iterator);
  const std::unique_ptr<void, decltype(&std::free)> owner(iterator, &std::free);
  while (true) {
    plist_t item = nullptr;
    isArray ? plist_array_next_item(container, iterator, &item)
            : plist_dict_next_item(container, iterator, nullptr, &item);
    if (!item) return true;
    if (!visit(item)) return false;
  }
}

}  // namespace fliprugair
