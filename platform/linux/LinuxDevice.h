#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Fliprugair/platform/Device.h"
#include "platform/linux/FactsInForce.h"
#include "platform/linux/SystemFiles.h"
#include "platform/linux/UserFolders.h"

namespace fliprugair {

/// What the host app states, and for the rest what the system's files and the locale say. Any thread.
class LinuxDevice final : public Device {
 public:
  /// An empty `bundleIdentifier` leaves the device without a vendor identifier of its own: there is no application to
  /// derive it for.
  LinuxDevice(const FactsInForce& facts, std::string_view bundleIdentifier, SystemFiles files, Variables variables);

  std::string systemName() const override;
  std::string systemVersion() const override;
  double foundationVersionNumber() const override;
  std::optional<std::string> identifierForVendor() const override;
  std::optional<std::string> advertisingIdentifier() const override;
  bool advertisingTrackingEnabled() const override;
  std::vector<std::string> preferredLanguages() const override;
  std::optional<Screen> mainScreen() const override;

  /// As "20XW00ABGE x86_64", or only the processor's kind where the firmware names no product.
  std::string hardwareDescription() const;

 private:
  std::optional<std::string> osRelease(std::string_view field) const;
  double brightness() const;

  const FactsInForce& facts_;
  const SystemFiles files_;
  /// Derived when this is made and not when it is asked for: libcrypto must not be at work on a thread of ours while
  /// the process exits and takes it apart.
  const std::optional<std::string> derivedIdentifier_;
  const Variables variables_;
};

}  // namespace fliprugair
