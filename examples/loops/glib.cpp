// A host app on GLib's main loop: the platform is a source that wakes up for its descriptor and its deadline.
#include <glib.h>

#include "examples/loops/Visit.h"

namespace {

struct PlatformSource {
  GSource base;
  Visit* visit;
};

Visit& visitOf(GSource* source) { return *reinterpret_cast<PlatformSource*>(source)->visit; }

gboolean prepare(GSource* source, gint* timeout) {
  *timeout = visitOf(source).wait();
  return *timeout == 0;
}

gboolean check(GSource* source) {
  const Visit& visit = visitOf(source);
  GPollFD now{visit.environment->fileDescriptor(), G_IO_IN, 0};
  return visit.wait() == 0 || g_poll(&now, 1, 0) > 0;
}

gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
  visitOf(source).environment->poll();
  return G_SOURCE_CONTINUE;
}

gboolean quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

}  // namespace

int main(int count, char** arguments) {
  Visit visit(count, arguments);
  if (!visit.environment) return 1;
  visit.environment->applicationDidBecomeActive();

  GSourceFuncs functions{prepare, check, dispatch, nullptr, nullptr, nullptr};
  GSource* source = g_source_new(&functions, sizeof(PlatformSource));
  reinterpret_cast<PlatformSource*>(source)->visit = &visit;
  g_source_add_unix_fd(source, visit.environment->fileDescriptor(), G_IO_IN);
  g_source_attach(source, nullptr);

  // The app's own work stands in as a timer that ends it after three seconds.
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  g_timeout_add(3000, quit, loop);
  g_main_loop_run(loop);

  g_source_destroy(source);
  g_source_unref(source);
  g_main_loop_unref(loop);
  visit.environment->applicationWillResignActive();
  visit.environment->terminate();
}
