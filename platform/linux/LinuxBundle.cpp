#include "platform/linux/LinuxBundle.h"

#include <utility>

#include "platform/Text.h"
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
  const std::lock_guard lock(mutex_);
  if (encoded_.isNothing() && !receipt_.empty()) {
    if (const std::optional<std::string> receipt = contentOfFile(receipt_)) encoded_ = base64Text(*receipt);
  }
  return encoded_;
}

}  // namespace fliprugair
