#include "platform/plist/ArchivedObjects.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/plist/PlistNodes.h"

namespace fliprugair {

namespace {

/// Binary property lists have a type for references; in XML they are dictionaries of one entry.
plist_t referencedNumber(plist_t node) {
  if (!isPlist(node, PLIST_DICT) || plist_dict_get_size(node) != 1) return nullptr;
  plist_t number = plist_dict_get_item(node, "CF$UID");
  return isPlist(number, PLIST_UINT) ? number : nullptr;
}

bool isReference(plist_t node) { return isPlist(node, PLIST_UID) || referencedNumber(node) != nullptr; }

bool isCollectionName(std::string_view name) {
  constexpr std::array<std::string_view, 4> names{"NSArray", "NSDictionary", "NSSet", "NSOrderedSet"};
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

ArchivedObjects::ArchivedObjects(plist_t objects) {
  eachPlistItem(objects, [this](plist_t object) {
    objects_.push_back(object);
    return true;
  });
  classes_.resize(objects_.size());
  isFound_.resize(objects_.size());
  isCollection_.resize(objects_.size());
  contents_.resize(objects_.size());
}

bool ArchivedObjects::isReadable(plist_t reference) {
  const auto root = resolved(reference);
  if (!root || isNil(*root)) return false;
  isFound_[*root] = true;
  unread_.push_back(*root);
  while (!unread_.empty()) {
    const Index index = unread_.back();
    unread_.pop_back();
    if (!readObject(index)) return false;
  }
  return collectionsAreFinite();
}

std::optional<ArchivedObjects::Index> ArchivedObjects::resolved(plist_t reference) const {
  std::uint64_t index = objects_.size();
  if (isPlist(reference, PLIST_UID)) {
    plist_get_uid_val(reference, &index);
  } else if (plist_t number = referencedNumber(reference)) {
    plist_get_uint_val(number, &index);
  }
  if (index >= objects_.size()) return std::nullopt;
  return static_cast<Index>(index);
}

bool ArchivedObjects::isNil(Index index) const { return plistText(objects_[index]) == "$null"; }

bool ArchivedObjects::readObject(Index index) {
  plist_t object = objects_[index];
  switch (plist_get_node_type(object)) {
    case PLIST_BOOLEAN:
    case PLIST_UINT:
    case PLIST_REAL:
    case PLIST_STRING:
    case PLIST_DATE:
    case PLIST_DATA:
      return true;
    case PLIST_DICT:
      break;
    default:
      return false;
  }
  plist_t classReference = plist_dict_get_item(object, "$class");
  const auto classIndex = resolved(classReference);
  if (!classIndex || classAt(*classIndex) == Class::malformed) return false;
  isCollection_[index] = classAt(*classIndex) == Class::collection;
  std::vector<Index> references;
  if (!readReferences(object, classReference, references)) return false;
  for (const Index reference : references) {
    if (!isFound_[reference]) unread_.push_back(reference);
    isFound_[reference] = true;
  }
  if (isCollection_[index]) contents_[index] = std::move(references);
  return true;
}

/// Property lists in the object's entries are looked into: their nesting is bounded.
bool ArchivedObjects::readReferences(plist_t value, plist_t classReference, std::vector<Index>& references) {
  return eachPlistItem(value, [&](plist_t item) {
    if (item == classReference) return true;
    if (isReference(item)) {
      const auto index = resolved(item);
      if (index) references.push_back(*index);
      return index.has_value();
    }
    const bool isContainer = isPlist(item, PLIST_ARRAY) || isPlist(item, PLIST_DICT);
    return !isContainer || readReferences(item, classReference, references);
  });
}

ArchivedObjects::Class ArchivedObjects::classAt(Index index) {
  Class& known = classes_[index];
  if (known != Class::unread) return known;
  known = Class::malformed;
  plist_t description = objects_[index];
  if (!isPlist(description, PLIST_DICT) || plist_dict_get_item(description, "$class")) return known;
  const auto name = plistText(plist_dict_get_item(description, "$classname"));
  if (name.empty()) return known;
  bool isCollection = isCollectionName(name);
  if (plist_t ancestors = plist_dict_get_item(description, "$classes")) {
    const bool areNames = isPlist(ancestors, PLIST_ARRAY) && eachPlistItem(ancestors, [&](plist_t ancestor) {
                            isCollection = isCollection || isCollectionName(plistText(ancestor));
                            return !plistText(ancestor).empty();
                          });
    if (!areNames) return known;
  }
  return known = isCollection ? Class::collection : Class::plain;
}

/// Takes away, again and again, the collections that no other contains. A cycle stays.
bool ArchivedObjects::collectionsAreFinite() const {
  std::vector<std::size_t> containers(objects_.size());
  const auto eachCollectionIn = [this](Index index, auto visit) {
    for (const Index content : contents_[index]) {
      if (isCollection_[content]) visit(content);
    }
  };
  for (Index index = 0; index < objects_.size(); ++index) {
    eachCollectionIn(index, [&](Index content) { ++containers[content]; });
  }
  std::vector<Index> outermost;
  for (Index index = 0; index < objects_.size(); ++index) {
    if (isCollection_[index] && containers[index] == 0) outermost.push_back(index);
  }
  std::size_t taken = 0;
  for (; taken < outermost.size(); ++taken) {
    eachCollectionIn(outermost[taken], [&](Index content) {
      if (--containers[content] == 0) outermost.push_back(content);
    });
  }
  return taken == static_cast<std::size_t>(std::count(isCollection_.begin(), isCollection_.end(), true));
}

}  // namespace fliprugair
