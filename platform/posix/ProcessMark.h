#pragma once

#include <sys/mman.h>
#include <unistd.h>

namespace fliprugair {

/// Tells the process that made it from one that was forked off later, without a system call: the kernel hands the
/// mark's page to a child wiped. Threads: any.
class ProcessMark {
 public:
  ProcessMark() : page_(::mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
    if (page_ == MAP_FAILED) return;
    const bool isWipedInAChild = ::madvise(page_, 1, MADV_WIPEONFORK) == 0;
    *static_cast<char*>(page_) = isWipedInAChild ? 1 : 0;
    isMarked_ = isWipedInAChild;
  }
  ~ProcessMark() {
    if (page_ != MAP_FAILED) ::munmap(page_, 1);
  }
  ProcessMark(const ProcessMark&) = delete;
  ProcessMark& operator=(const ProcessMark&) = delete;

  bool isOwnProcess() const { return isMarked_ ? *static_cast<const char*>(page_) == 1 : ::getpid() == process_; }

  /// The process that made the mark.
  pid_t process() const { return process_; }

 private:
  void* page_;
  bool isMarked_ = false;
  const pid_t process_ = ::getpid();
};

}  // namespace fliprugair
