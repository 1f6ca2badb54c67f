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
  const std::optional<std::string> receipt = contentOfFile(receipt_);
  return receipt ? Value(base64Text(*receipt)) : Value();
}

}  // namespace fliprugair
