#include <pthread.h>
#include <sched.h>

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

TEST(Threads, DisplaceNoneOfTheHostAppsWhenTheyWake) {
  int before = SCHED_IDLE;
  int inside = SCHED_IDLE;
  int after = SCHED_IDLE;
  sched_param parameters;
  pthread_getschedparam(pthread_self(), &before, &parameters);
  startThread("tested", [&] { pthread_getschedparam(pthread_self(), &inside, &parameters); }).join();
  pthread_getschedparam(pthread_self(), &after, &parameters);
  EXPECT_EQ(inside, SCHED_BATCH);
  EXPECT_EQ(after, before);
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
