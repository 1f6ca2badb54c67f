#include "platform/linux/LinuxDevice.h"

#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "platform/linux/Languages.h"
#include "platform/linux/Letters.h"
#include "platform/linux/MachineIdentity.h"

namespace fliprugair {

namespace {

utsname kernel() {
  utsname names{};
  uname(&names);
  return names;
}

/// What firmware says where its maker forgot to write a name.
bool isPlaceholder(std::string_view product) {
  constexpr std::array<std::string_view, 8> placeholders = {"",
                                                            "Default string",
                                                            "None",
                                                            "Not Applicable",
                                                            "Not Specified",
                                                            "System Product Name",
                                                            "To be filled by O.E.M.",
                                                            "To Be Filled By O.E.M."};
  return std::find(placeholders.begin(), placeholders.end(), product) != placeholders.end();
}

/// An identifier as platforms write it; "" is none.
std::optional<std::string> canonical(const std::optional<std::string>& uuid) {
  if (!uuid || uuid->empty()) return std::nullopt;
  return mapped(*uuid, upper);
}

double number(std::string_view text) {
  unsigned value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

/// The size of a mode as "1920x1080"; a letter that marks interlacing may follow.
std::optional<Screen> screenOfMode(std::string_view mode) {
  const std::size_t by = mode.find('x');
  if (by == std::string_view::npos) return std::nullopt;
  const Screen screen{number(mode.substr(0, by)), number(mode.substr(by + 1)), 0};
  return screen.width > 0 && screen.height > 0 ? std::optional(screen) : std::nullopt;
}

std::optional<std::string> derivedIdentifier(const SystemFiles& files, std::string_view bundleIdentifier) {
  if (bundleIdentifier.empty()) return std::nullopt;
  const std::optional<std::string> machineId = files.firstLine("etc/machine-id");
  return machineId ? machineIdentifierFor(bundleIdentifier, *machineId) : std::nullopt;
}

}  // namespace

LinuxDevice::LinuxDevice(const FactsInForce& facts, std::string_view bundleIdentifier, SystemFiles files,
                         Variables variables)
    : facts_(facts),
      files_(std::move(files)),
      derivedIdentifier_(derivedIdentifier(files_, bundleIdentifier)),
      variables_(std::move(variables)) {}

std::string LinuxDevice::systemName() const {
  if (const auto stated = facts_.load()->systemName) return *stated;
  return osRelease("NAME").value_or("Linux");
}

std::string LinuxDevice::systemVersion() const {
  if (const auto stated = facts_.load()->systemVersion) return *stated;
  const std::optional<std::string> version = osRelease("VERSION_ID");  // rolling distributions have none
  return version ? *version : kernel().release;
}

std::optional<std::string> LinuxDevice::osRelease(std::string_view field) const {
  std::optional<std::string> text = files_.content("etc/os-release");
  if (!text) text = files_.content("usr/lib/os-release");
  return text ? assignedValue(*text, field) : std::nullopt;
}

double LinuxDevice::foundationVersionNumber() const { return facts_.load()->foundationVersionNumber; }

std::optional<std::string> LinuxDevice::identifierForVendor() const {
  const auto stated = facts_.load()->vendorIdentifier;
  return stated ? canonical(stated) : derivedIdentifier_;
}

std::optional<std::string> LinuxDevice::advertisingIdentifier() const {
  return canonical(facts_.load()->advertisingIdentifier);
}

bool LinuxDevice::advertisingTrackingEnabled() const { return facts_.load()->advertisingTrackingEnabled; }

std::vector<std::string> LinuxDevice::preferredLanguages() const {
  if (const auto stated = facts_.load()->preferredLanguages) return *stated;
  return fliprugair::preferredLanguages(variables_);
}

std::optional<Screen> LinuxDevice::mainScreen() const {
  if (const auto stated = facts_.load()->screen) return stated;
  const std::filesystem::path connectors = "sys/class/drm";
  for (const std::string& connector : files_.names(connectors)) {
    if (files_.firstLine(connectors / connector / "status") != "connected") continue;
    // The first mode is the one that the screen prefers.
    std::optional<Screen> screen = screenOfMode(files_.firstLine(connectors / connector / "modes").value_or(""));
    if (!screen) continue;
    screen->brightness = brightness();
    return screen;
  }
  return std::nullopt;
}

double LinuxDevice::brightness() const {
  const std::filesystem::path lights = "sys/class/backlight";
  for (const std::string& light : files_.names(lights)) {
    const double most = number(files_.firstLine(lights / light / "max_brightness").value_or(""));
    const std::optional<std::string> now = files_.firstLine(lights / light / "brightness");
    if (now && most > 0) return std::clamp(number(*now) / most, 0.0, 1.0);
  }
  return 0;
}

std::string LinuxDevice::hardwareDescription() const {
  if (const auto stated = facts_.load()->hardware) return *stated;
  const std::string machine = kernel().machine;
  const std::string product = files_.firstLine("sys/class/dmi/id/product_name").value_or("");
  return isPlaceholder(product) ? machine : product + ' ' + machine;
}

}  // namespace fliprugair
