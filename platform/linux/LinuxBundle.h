#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Fliprugair/platform/Device.h"

namespace fliprugair {

/// The application's own package, as the host app describes it. Any thread.
class LinuxBundle final : public Bundle {
 public:
  struct Entries {
    std::optional<std::string> bundleIdentifier;
    std::optional<std::string> shortVersion;
    std::optional<std::string> version;
  };

  /// An empty `receipt` path: there is none.
  LinuxBundle(Entries entries, std::filesystem::path receipt);

  Value infoEntry(std::string_view key) const override;
  Value encodedReceipt() const override;

 private:
  const Entries entries_;
  const std::filesystem::path receipt_;
};

}  // namespace fliprugair
