#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/plist/PlistNodes.h"

namespace fliprugair::test {

/// A property list under construction, or a part of one. Made with libplist, as applications make them.
class Tree {
 public:
  static Tree text(const std::string& text) { return Tree(plist_new_string(text.c_str())); }
  static Tree number(std::uint64_t number) { return Tree(plist_new_uint(number)); }
  static Tree truth(bool truth) { return Tree(plist_new_bool(truth)); }
  static Tree real(double number) { return Tree(plist_new_real(number)); }
  static Tree date(std::int32_t seconds) { return Tree(plist_new_date(seconds, 0)); }
  static Tree data(std::string_view bytes) { return Tree(plist_new_data(bytes.data(), bytes.size())); }
  static Tree reference(std::uint64_t object) { return Tree(plist_new_uid(object)); }
  static Tree array() { return Tree(plist_new_array()); }
  static Tree dictionary() { return Tree(plist_new_dict()); }
  /// An array of references.
  static Tree references(const std::vector<std::uint64_t>& objects);

  Tree with(Tree item) &&;
  Tree with(const std::string& key, Tree value) &&;
  Tree without(const std::string& key) &&;

  std::string binary() const;
  std::string xml() const;

 private:
  explicit Tree(plist_t node) : node_(node) {}
  Plist node_;
};

/// A keyed archive under construction. Object 0 is nil.
class Archive {
 public:
  Archive();

  /// Its index.
  std::uint64_t add(Tree object);
  /// The description of a class, with its ancestors behind its own name.
  std::uint64_t addClass(const std::vector<std::string>& names);
  /// An object of that class with an array of references under "NS.objects".
  std::uint64_t addCollection(std::uint64_t classIndex, const std::vector<std::uint64_t>& objects);

  /// The whole archive. Nothing can be added afterwards.
  Tree finish(std::uint64_t root);

 private:
  Tree objects_;
  std::uint64_t size_ = 0;
};

/// A person with a name, an age, a portrait, a date, a list and a dictionary: every kind of value that archives hold.
Tree personArchive();

/// An archive whose root is a text.
Tree textArchive();

/// A binary property list out of objects as they are encoded, the tables made to fit. Where it is not to fit, the
/// trailer's fields can be replaced.
struct RawPlist {
  std::vector<std::string> objects;
  std::uint64_t root = 0;
  unsigned offsetSize = 4;
  unsigned referenceSize = 1;

  std::string bytes() const;
};

/// `number` in `size` bytes, the most significant first.
std::string bigEndian(std::uint64_t number, std::size_t size);

}  // namespace fliprugair::test
