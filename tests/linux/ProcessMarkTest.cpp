#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <fstream>

#include "platform/posix/ProcessMark.h"

namespace {

thread_local int questions = 0;  ///< who this process is

}  // namespace

/// Stands in for the C library's, and counts.
extern "C" pid_t getpid() noexcept {
  ++questions;
  return static_cast<pid_t>(syscall(SYS_getpid));
}

namespace fliprugair {
namespace {

/// The exit status of a fork in which `holds` is asked: 0 when it holds.
template <class Condition>
int statusOfFork(Condition holds) {
  const pid_t child = fork();
  if (child == 0) _exit(holds() ? 0 : 1);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

bool kernelWipesPages() {
  void* const page = mmap(nullptr, 1, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  const bool wipes = madvise(page, 1, MADV_WIPEONFORK) == 0;
  munmap(page, 1);
  return wipes;
}

/// Of this process's address space.
long pages() {
  long all = 0;
  std::ifstream("/proc/self/statm") >> all;
  return all;
}

TEST(AProcessMark, KnowsTheProcessThatMadeIt) {
  const ProcessMark mark;
  EXPECT_TRUE(mark.isOwnProcess());
  EXPECT_EQ(mark.process(), getpid());
}

TEST(AProcessMark, KnowsAForkOfIt) {
  const ProcessMark mark;
  const pid_t maker = getpid();
  EXPECT_EQ(statusOfFork([&] { return !mark.isOwnProcess() && mark.process() == maker; }), 0);
  EXPECT_TRUE(mark.isOwnProcess());
}

TEST(AProcessMark, AsksTheSystemOnlyWhereItsPageIsNotWiped) {
  const ProcessMark mark;
  questions = 0;
  EXPECT_TRUE(mark.isOwnProcess());
  EXPECT_EQ(questions, kernelWipesPages() ? 0 : 1);
}

TEST(AProcessMark, KnowsItsProcessWithoutAPageToo) {
  const auto holds = [] {
    rlimit usual{};
    getrlimit(RLIMIT_AS, &usual);
    const rlimit noMore{1, usual.rlim_max};
    setrlimit(RLIMIT_AS, &noMore);
    const ProcessMark mark;
    setrlimit(RLIMIT_AS, &usual);
    return mark.isOwnProcess() && statusOfFork([&] { return !mark.isOwnProcess(); }) == 0;
  };
  EXPECT_EQ(statusOfFork(holds), 0);
}

TEST(AProcessMark, GivesItsPageBack) {
  const long before = pages();
  for (int number = 0; number < 1000; ++number) const ProcessMark mark;
  EXPECT_LT(pages(), before + 500);
}

}  // namespace
}  // namespace fliprugair
