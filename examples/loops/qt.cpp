// A host app on Qt 6: the platform is a notifier for its descriptor and a timer for its deadline. The app is active
// while one of its windows has the focus.
#include <QGuiApplication>
#include <QRasterWindow>
#include <QSocketNotifier>
#include <QTimer>

#include "examples/loops/Visit.h"

int main(int count, char** arguments) {
  const QGuiApplication app(count, arguments);
  Visit visit(count, arguments);
  if (!visit.environment) return 1;

  QTimer deadline;
  deadline.setSingleShot(true);
  QSocketNotifier descriptor(visit.environment->fileDescriptor(), QSocketNotifier::Read);
  const auto turn = [&] {
    visit.environment->poll();
    const int wait = visit.wait();
    if (wait >= 0) deadline.start(wait);
    if (wait < 0) deadline.stop();
  };
  QObject::connect(&deadline, &QTimer::timeout, turn);
  QObject::connect(&descriptor, &QSocketNotifier::activated, turn);
  QObject::connect(&app, &QGuiApplication::applicationStateChanged, [&](Qt::ApplicationState state) {
    if (state == Qt::ApplicationActive) {
      visit.environment->applicationDidBecomeActive();
    } else {
      visit.environment->applicationWillResignActive();
    }
  });

  // The user looks at the window for three seconds and closes it, which ends the loop.
  QRasterWindow window;
  window.show();
  window.requestActivate();
  QTimer::singleShot(3000, &window, &QWindow::close);
  QGuiApplication::exec();
  // Not every window system takes the focus from the last window.
  if (QGuiApplication::applicationState() == Qt::ApplicationActive) visit.environment->applicationWillResignActive();
  visit.environment->terminate();
}
