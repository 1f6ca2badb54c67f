#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// A screen in native pixels; brightness from 0 to 1.
struct Screen {
  double width = 0;
  double height = 0;
  double brightness = 0;
};

/// Facts of the device and its system. Any thread; every call asks anew.
class Device {
 public:
  virtual ~Device() = default;

  virtual std::string systemName() const = 0;
  virtual std::string systemVersion() const = 0;
  virtual double foundationVersionNumber() const = 0;

  /// UUIDs in canonical upper-case text; none when the device has none.
  virtual std::optional<std::string> identifierForVendor() const = 0;
  virtual std::optional<std::string> advertisingIdentifier() const = 0;
  virtual bool advertisingTrackingEnabled() const = 0;

  /// Language tags, the most preferred first.
  virtual std::vector<std::string> preferredLanguages() const = 0;

  /// None when there is no main screen.
  virtual std::optional<Screen> mainScreen() const = 0;
};

/// The application's own package. Any thread.
class Bundle {
 public:
  virtual ~Bundle() = default;

  /// "CFBundleIdentifier", "CFBundleShortVersionString", "CFBundleVersion"; null when the entry is missing.
  virtual Value infoEntry(std::string_view key) const = 0;

  /// The store receipt in base64 on one line, read anew at each call; null when there is no readable file.
  virtual Value encodedReceipt() const = 0;
};

/// The answer of the reachability service for one host.
struct Reachability {
  bool referenceCreated = false;
  bool flagsRead = false;
  std::uint32_t flags = 0;  ///< 0 unless they were read

  static constexpr std::uint32_t reachable = 0x2;
  static constexpr std::uint32_t wirelessWideArea = 0x40000;
};

/// What else the system answers about the device's surroundings. Any thread.
class Surroundings {
 public:
  virtual ~Surroundings() = default;

  /// Whether and how `host` could be reached. Blocks for as long as the system's query takes, and sends nothing.
  virtual Reachability reachability(std::string_view host) const = 0;

  virtual bool locationServicesEnabled() const = 0;
  /// 0 not determined, 1 restricted, 2 denied, 3 authorized (always), 4 authorized when in use.
  virtual int locationAuthorizationStatus() const = 0;

  struct Pasteboard {
    Value text;  ///< null when it holds no text
  };
  /// Looked up without creating it: none when there is none of that name.
  virtual std::optional<Pasteboard> pasteboard(std::string_view name) const = 0;
};

}  // namespace fliprugair
