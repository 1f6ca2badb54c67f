#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "linux/Support.h"
#include "platform/posix/Threads.h"

namespace fliprugair {
namespace {

TEST(Threads, TheHostAppsSignalsAreNotDeliveredToThem) {
  sigset_t inside;
  startThread("tested", [&] { pthread_sigmask(SIG_SETMASK, nullptr, &inside); }).join();
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGUSR1}) EXPECT_TRUE(sigismember(&inside, signal));
  for (const int fault : {SIGSEGV, SIGBUS, SIGABRT}) EXPECT_FALSE(sigismember(&inside, fault));
}

TEST(Threads, BearTheirName) {
  std::array<char, 16> name{};
  startThread("tested", [&] { pthread_getname_np(pthread_self(), name.data(), name.size()); }).join();
  EXPECT_STREQ(name.data(), "tested");
}

int policyOfThisThread() {
  int policy = -1;
  sched_param parameters;
  pthread_getschedparam(pthread_self(), &policy, &parameters);
  return policy;
}

TEST(Threads, DisplaceNoneOfTheHostAppsWhenTheyWake) {
  const bool isFiltered = prctl(PR_GET_SECCOMP) != 0;
  const int before = policyOfThisThread();
  int inside = -1;
  startThread("tested", [&] { inside = policyOfThisThread(); }).join();
  EXPECT_EQ(inside, isFiltered ? before : SCHED_BATCH);
  EXPECT_EQ(policyOfThisThread(), before);
}

TEST(Threads, KeepThePolicyThatTheHostAppHasChosen) {
  int inside = -1;
  std::thread([&] {
    const sched_param none{};
    pthread_setschedparam(pthread_self(), SCHED_IDLE, &none);
    startThread("tested", [&] { inside = policyOfThisThread(); }).join();
  }).join();
  EXPECT_EQ(inside, SCHED_IDLE);
}

/// In a process of its own, since a filter stays.
TEST(Threads, AskForNothingWhereSystemCallsAreFiltered) {
  const int before = policyOfThisThread();
  const pid_t child = fork();
  if (child == 0) {
    std::array<sock_filter, 1> allowsAll{{{BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW}}};
    const sock_fprog filter{allowsAll.size(), allowsAll.data()};
    const bool isFiltered =
        prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
    giveWay();
    _exit(isFiltered && policyOfThisThread() == before ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(Threads, StartingOneLeavesTheCallersSignalsAsTheyWere) {
  sigset_t before;
  sigset_t after;
  sigemptyset(&before);  // what was blocked already would hide that it stays so
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  startThread("tested", [] {}).join();
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (const int signal : {SIGTERM, SIGINT, SIGUSR1})
    EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal));
}

}  // namespace
}  // namespace fliprugair
