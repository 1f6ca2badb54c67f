#pragma once

#include <filesystem>
#include <string_view>

#include "Fliprugair/platform/StoreOptions.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// The second place of what makes an installation one and the same: its identifiers, what it has reported about itself
/// and what the control host has confirmed to it. A small text file beside the store, replaced as a whole. Owned by
/// StoreDisk, which also guards it.
class IdentityCopy {
 public:
  IdentityCopy(const std::filesystem::path& store, StoreDurability durability)
      : path_(store.string() + ".identity"), durability_(durability) {}

  /// The keys that belong to the identity, the identifier first.
  static bool holds(std::string_view key);
  static std::string_view identifier();

  /// What was written last; empty when there is none, or when it is damaged.
  Dictionary read() const;

  /// Throws StoreError::Kind::unavailable when the medium refuses; what stood there before then still does.
  void write(const Dictionary& values) const;

 private:
  const std::filesystem::path path_;
  const StoreDurability durability_;
};

}  // namespace fliprugair
