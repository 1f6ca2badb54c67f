#include "platform/linux/Descriptors.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "platform/Joined.h"
#include "platform/posix/FileDescriptor.h"

namespace fliprugair {

void requireDescriptors() {
  std::vector<FileDescriptor> opened;
  while (opened.size() < descriptorsNeeded) {
    FileDescriptor next(eventfd(0, EFD_CLOEXEC));
    if (!next) {
      throw std::runtime_error(
          joined({"The platform needs ", std::to_string(descriptorsNeeded), " file descriptors and can open ",
                  std::to_string(opened.size()), " (", std::system_category().message(errno),
                  "): raise the process's limit (ulimit -n), or close some."}));
    }
    opened.push_back(std::move(next));
  }
}

}  // namespace fliprugair
