#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Fliprugair/collaborators/Environment.h"
#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/linux/LinuxOptions.h"
#include "Fliprugair/platform/linux/Waiting.h"

namespace fliprugair {

/// The library on Linux: what a host app opens once, gives to its trackers, tells of its life, and destroys last.
///
///     auto opened = LinuxEnvironment::open({.bundleIdentifier = "com.example.app", .version = "100"});
///     if (!opened.environment) { std::cerr << opened.error; return 1; }
///     LinuxEnvironment& environment = *opened.environment;
///     auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
///     environment.applicationDidFinishLaunching();
///     environment.applicationDidBecomeActive();
///     ...                                          // tracker->trackEvent(...) from any thread
///     environment.applicationWillResignActive();
///     environment.terminate();                     // sends what is pending, for 5 seconds at most; see there
///
/// The main thread: the one that opened the environment, until a thread for it is started (MainThread::own) by the
/// first lifecycle call or by an onMain from another thread, or until the host app first calls run() or poll()
/// (MainThread::host). Construct trackers before that call and no main-queue work can get ahead of the construction;
/// later, construct them inside onMain.
///
/// Threads: any, except where a method says otherwise. Nothing is thrown. Lifecycle calls and whatever else runs on the
/// main thread are handed over in the order of the calls.
///
/// Processes: in a fork of the process that opened it, the environment is inert, and so are its trackers. Their calls
/// do nothing and say so once on the log; destroying them frees nothing and waits for nothing. The parent's go on.
class FLIPRUGAIR_EXPORT LinuxEnvironment final : public Environment, public Platform {
 public:
  struct Result;

  /// Opens the store and makes everything that the platform consists of. Without an environment there is a text that
  /// tells why: another process uses the store, the store has no place, a piece is missing, the process may open too
  /// few files.
  static Result open(LinuxOptions options);

  /// Erases everything that is stored for an application with these options: what waits, the identifiers, the settings;
  /// its next start is one of a new installation. To be called when no environment uses that store. "" when nothing of
  /// it is left, also when there was nothing; else what could not be erased, and why.
  static std::string erase(const LinuxOptions& options);

  /// For a user who takes their consent back: stops at once, without the last words of terminate(), cuts off what is
  /// being sent, destroys the environment, and erases all that it has stored. "" when nothing is left; else what could
  /// not be erased, and why, as when the store is the host app's own. Waits as the destructor does, and like it wants
  /// the trackers gone, no thread inside run() or poll(), and a thread that is not the platform's.
  static std::string stopForGood(std::unique_ptr<LinuxEnvironment> environment);

  /// Terminates first, if that was not done. Trackers are gone by then, and no thread is inside run() or poll(). Not on
  /// a thread of the platform's.
  ~LinuxEnvironment() override;

  // The application's life, told by the host app; the trackers hear of it on the main thread. With MainThread::own each
  // call returns when they have dealt with it, which waits for nothing, so that what the host app reports next comes
  // next. With MainThread::host each call returns at once.
  void applicationDidFinishLaunching();
  void applicationDidBecomeActive();
  void applicationWillResignActive();
  void applicationWillTerminate();  ///< only the first one counts; terminate() includes it

  /// Says that the application will terminate, and waits until nothing is being sent any more and the background tasks
  /// have ended, or the time of a background task is over; meanwhile everything goes on as before. Then stops the main
  /// queue, the global queue, the searches for a position and the network in this order, drops their tasks, and makes
  /// the store durable.
  ///
  /// It takes the background tasks' time and a little at most, provided that the host app's code does not block: calls
  /// of its delegate, its SearchAdSource, its log and its tasks that run by then are waited for, however long they
  /// take. From inside such a call it returns at once, whatever the thread, and what remains is done by the next call
  /// or the destructor.
  ///
  /// One thread at a time; MainThread::host: on the main thread.
  void terminate();

  /// For a program that ends soon: waits until the installation is reported, then has the trackers send their records,
  /// as an application that resigns does, and waits until the control host has confirmed all; for `timeout` at the
  /// most. Says what waits by then: nothing, if all went well. A first start takes a second at least, because the
  /// tracker looks for the finished install report once a second.
  ///
  /// When there are records it ends the session as a resignation does, and a "pause" goes with them: an app that goes
  /// on afterwards calls applicationDidBecomeActive() again.
  ///
  /// Call it after applicationDidBecomeActive(), before terminate(). Inside a task of the main queue and on the other
  /// threads of the platform's it does not wait. MainThread::host: turns the main queue when called on the main thread.
  Waiting waitUntilSent(std::chrono::milliseconds timeout);

  /// What the control host has not confirmed yet.
  Waiting waiting() const;

  /// Runs `task` on the main thread and waits for its end. False when it did not run, because the environment was
  /// terminated, or because there is no thread to be had. MainThread::host: waits until the host app turns the loop.
  bool onMain(std::function<void()> task);

  // MainThread::host only; no effect otherwise.

  /// Turns the main queue on the calling thread, from now on the main thread, until stop() or the end of terminate().
  void run();
  /// Ends run(), this one or the next, when the tasks posted before have run.
  void stop();

  /// Does what is due now and returns. A loop of the host app's calls it when fileDescriptor() becomes readable and
  /// when nextDeadline() has come; it asks for the deadline anew before it waits.
  void poll();
  int fileDescriptor() const;
  /// Now when there are tasks; none when there is no timer either. On the main thread.
  std::optional<std::chrono::steady_clock::time_point> nextDeadline() const;

  /// Replaces what the host app states about the device.
  void setFacts(HostFacts facts);

  Platform& platform() override { return *this; }
  std::shared_ptr<MarluneNetworkAccess> makeNetworkAccess() override;
  std::shared_ptr<MarluneLocationManager> makeLocationManager() override;
  std::shared_ptr<MarluneRetrieveiAdAttribution> makeRetrieveiAdAttribution() override;
  std::shared_ptr<MarluneHardwareInfo> makeHardwareInfo() override;
  std::shared_ptr<WebViewUserAgent> makeWebViewUserAgent() override;

  UserDefaults& userDefaults() override;
  NotificationCenter& notificationCenter() override;
  MainQueue& mainQueue() override;
  GlobalQueue& globalQueue() override;
  Application& application() override;
  Bundle& bundle() override;
  Device& device() override;
  Surroundings& surroundings() override;
  Documents& documents() override;
  JSONSerialization& json() override;
  double secondsSince1970() override;
  std::string randomUUID() override;
  void log(std::string_view line) override;
  bool isInert() const override;
  void advise(std::string_view line) override;

 private:
  struct Parts;

  /// Throws what its parts throw.
  explicit LinuxEnvironment(LinuxOptions options);

  void deliver(ApplicationNotification notification);
  void beginTermination();
  void stopAtOnce();
  bool isInsideCall() const;
  void close();

  std::unique_ptr<Parts> parts_;
};

struct LinuxEnvironment::Result {
  std::unique_ptr<LinuxEnvironment> environment;
  std::string error;  ///< "" when there is an environment
};

}  // namespace fliprugair
