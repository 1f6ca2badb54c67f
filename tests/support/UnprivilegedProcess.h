#pragma once

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>

namespace fliprugair {

/// A child process to whom the rights of files apply, which are nothing to root.
class UnprivilegedProcess {
 public:
  /// The child returns its exit status from `work`. pauseUntilTold() divides what it does in two.
  explicit UnprivilegedProcess(const std::function<int(UnprivilegedProcess&)>& work) {
    EXPECT_EQ(pipe(paused_.data()), 0);
    EXPECT_EQ(pipe(told_.data()), 0);
    child_ = fork();
    EXPECT_GE(child_, 0);
    if (child_ == 0) _exit(giveUpRights() ? work(*this) : 2);
    ::close(paused_[1]);  // so that a child that has ended is not waited for
  }
  ~UnprivilegedProcess() {
    ::close(paused_[0]);
    ::close(told_[0]);
    ::close(told_[1]);
  }
  UnprivilegedProcess(const UnprivilegedProcess&) = delete;
  UnprivilegedProcess& operator=(const UnprivilegedProcess&) = delete;

  /// For the child.
  bool pauseUntilTold() const {
    char byte = 'x';
    return write(paused_[1], &byte, 1) == 1 && read(told_[0], &byte, 1) == 1;
  }

  /// For the parent; false when the child has ended instead.
  bool waitForPause() const {
    char byte = 'x';
    return read(paused_[0], &byte, 1) == 1;
  }
  void tell() const { EXPECT_EQ(write(told_[1], "x", 1), 1); }
  /// As of waitpid.
  int waitForEnd() const {
    int status = -1;
    waitpid(child_, &status, 0);
    return status;
  }

 private:
  static bool giveUpRights() {
    constexpr uid_t nobody = 65534;
    return getuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0);
  }

  std::array<int, 2> paused_{};
  std::array<int, 2> told_{};
  pid_t child_ = -1;
};

}  // namespace fliprugair
