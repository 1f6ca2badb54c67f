#pragma once

#include <fcntl.h>
#include <sys/resource.h>

#include <utility>
#include <vector>

#include "platform/posix/FileDescriptor.h"

namespace fliprugair {

/// Leaves the process a number of descriptors to open, for as long as it lives.
class FewDescriptors {
 public:
  explicit FewDescriptors(std::size_t left) {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit few = before_;
    few.rlim_cur = 256;
    setrlimit(RLIMIT_NOFILE, &few);
    take();
    opened_.resize(opened_.size() - left);
  }
  ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

  /// Takes what is left.
  void take() {
    while (FileDescriptor next{open("/dev/null", O_RDONLY | O_CLOEXEC)}) opened_.push_back(std::move(next));
  }

 private:
  rlimit before_{};
  std::vector<FileDescriptor> opened_;
};

}  // namespace fliprugair
