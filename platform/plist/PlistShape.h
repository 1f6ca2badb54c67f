#pragma once

#include <cstddef>
#include <string_view>

namespace fliprugair {

/// What a property list may hold before libplist is trusted with it. libplist builds its tree with a call a level,
/// makes a copy of a value for every reference to it, and moves the rest of a text for every entity in it: without
/// these bounds a small file could take the stack, the memory or the processor.
/// Archives that applications write are far within them.
struct PlistBounds {
  static constexpr std::size_t bytes = std::size_t{16} << 20;
  static constexpr std::size_t depth = 64;
  static constexpr std::size_t values = std::size_t{1} << 20;    ///< in the tree, keys included
  static constexpr std::size_t payload = std::size_t{32} << 20;  ///< bytes of text and data in the tree
  static constexpr std::size_t moves = std::size_t{1} << 30;     ///< bytes moved for entities
};

/// Whether `bytes`, which begin as a binary property list does, are one whose tree is within the bounds, with every
/// table, reference and length inside the file. Follows references as libplist does; a cycle ends at the depth.
bool isBoundedBinaryPlist(std::string_view bytes);

/// Whether `text` is an XML property list whose tree is within the bounds. Knows of XML what property lists need:
/// declarations, entities of one's own, processing instructions and unknown elements are refused, as is what
/// libplist could take for something else than is meant here.
bool isBoundedXMLPlist(std::string_view text);

}  // namespace fliprugair
