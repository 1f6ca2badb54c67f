// A host app whose loop waits in epoll: the platform is one descriptor and one deadline among the app's own.
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>

#include "examples/loops/Visit.h"

int main(int count, char** arguments) {
  Visit visit(count, arguments);
  if (!visit.environment) return 1;
  visit.environment->applicationDidBecomeActive();

  // The app's own work stands in as a timer that ends it after three seconds.
  const int done = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  const itimerspec threeSeconds{{0, 0}, {3, 0}};
  timerfd_settime(done, 0, &threeSeconds, nullptr);

  const int loop = epoll_create1(EPOLL_CLOEXEC);
  const int platform = visit.environment->fileDescriptor();
  for (const int descriptor : {done, platform}) {
    epoll_event interest{};
    interest.events = EPOLLIN;
    interest.data.fd = descriptor;
    epoll_ctl(loop, EPOLL_CTL_ADD, descriptor, &interest);
  }
  for (bool running = true; running;) {
    std::array<epoll_event, 2> ready{};
    const int happened = epoll_wait(loop, ready.data(), ready.size(), visit.wait());
    visit.environment->poll();
    for (int index = 0; index < happened; ++index)
      running = running && ready[static_cast<std::size_t>(index)].data.fd != done;
  }
  visit.environment->applicationWillResignActive();
  visit.environment->terminate();
  close(loop);
  close(done);
}
