#include "platform/linux/LinuxBundle.h"

#include <utility>

#include "Fliprugair/platform/Text.h"
#include "platform/linux/SystemFiles.h"

namespace fliprugair {

LinuxBundle::LinuxBundle(Entries entries, std::filesystem::path receipt)
    : entries_(std::move(entries)), receipt_(std::move(receipt)) {}

Value LinuxBundle::infoEntry(std::string_view key) const {
  if (key == "CFBundleIdentifier") return Text(entries_.bundleIdentifier).value();
  if (key == "CFBundleShortVersionString") return Text(entries_.shortVersion).value();
  if (key == "CFBundleVersion") return Text(entries_.version).value();
  return nullptr;
}

Value LinuxBundle::encodedReceipt() const {
  Value known = encoded_.load();
  if (!known.isNull() || receipt_.empty()) return known;
  // Two threads may both get here; what the later one has read replaces the same content.
  const std::optional<std::string> receipt = contentOfFile(receipt_);
  if (!receipt) return nullptr;
  Value encoded = base64Text(*receipt);
  encoded_.store(encoded);
  return encoded;
}

}  // namespace fliprugair
