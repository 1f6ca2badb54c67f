#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace fliprugair {

/// The objects of a keyed archive and what they refer to. Lives as long as the property list it was made of. One
/// thread.
class ArchivedObjects {
 public:
  using Index = std::uint32_t;

  /// `objects` is the array of the archive's objects.
  explicit ArchivedObjects(plist_t objects);

  /// Whether `reference` leads to an object that is not nil, and all that this one leads to can be read.
  bool isReadable(plist_t reference);

 private:
  enum class Class : std::uint8_t { unread, malformed, plain, collection };

  std::optional<Index> resolved(plist_t reference) const;
  bool isNil(Index index) const;
  bool readObject(Index index);
  bool readReferences(plist_t value, plist_t classReference, std::vector<Index>& references);
  Class classAt(Index index);
  bool collectionsAreFinite() const;

  std::vector<plist_t> objects_;
  std::vector<Class> classes_;  ///< what was found where an object's class is described
  std::vector<char> isFound_;   ///< by a reference to it; a std::vector<bool> is a lot of code
  std::vector<char> isCollection_;
  std::vector<std::vector<Index>> contents_;  ///< of collections
  std::vector<Index> unread_;                 ///< found, and still to be read
};

}  // namespace fliprugair
