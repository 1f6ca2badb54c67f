#include "Fliprugair/platform/linux/LinuxEnvironment.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <new>
#include <set>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/linux/Descriptors.h"
#include "platform/linux/Ending.h"
#include "platform/linux/EventClock.h"
#include "platform/linux/EventLoop.h"
#include "platform/linux/GuardedLog.h"
#include "platform/linux/LibcryptoAtExit.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/linux/LinuxBundle.h"
#include "platform/linux/LinuxCollaborators.h"
#include "platform/linux/LinuxDevice.h"
#include "platform/linux/LinuxPieces.h"
#include "platform/linux/LinuxSurroundings.h"
#include "platform/linux/LoopThread.h"
#include "platform/linux/MachineIdentity.h"
#include "platform/linux/RedirectedNetworkAccess.h"
#include "platform/linux/SentWatch.h"
#include "platform/linux/StandIns.h"
#include "platform/linux/WorkerPool.h"
#include "platform/posix/ProcessMark.h"
#include "platform/posix/Threads.h"

namespace fliprugair {

namespace {

std::shared_ptr<const HostFacts> sharedFacts(HostFacts facts) {
  return std::make_shared<const HostFacts>(std::move(facts));
}

}  // namespace

/// Where everything is wired, in the order in which it is made: what stands further down may use what stands above it.
struct LinuxEnvironment::Parts {
  Parts(LinuxOptions given, Platform& platform);

  const ProcessMark process;
  LinuxOptions options;
  const Log log;
  FactsInForce facts;
  EventClock clock;
  RapidJSONSerialization json;
  NotificationCenter notificationCenter;
  const std::shared_ptr<UserDefaults> userDefaults;
  const std::shared_ptr<Documents> documents;
  LinuxBundle bundle;
  LinuxDevice device;
  LinuxSurroundings surroundings;
  EventLoop loop;
  const std::shared_ptr<WorkerPool> workers;  ///< shared with search-ad answers, which may come after the end
  LinuxApplication application;
  const std::unique_ptr<NetworkPiece> network;
  const std::string controlHost;  ///< in place of that of each request, unless empty
  const std::unique_ptr<LocationPiece> location;
  LoopThread thread;

  std::mutex adviceMutex;                     ///< around the next
  std::set<std::string, std::less<>> advice;  ///< that was given

  std::atomic<bool> forkWasSaid = false;
  std::shared_ptr<void> keptInFork;
  std::atomic<bool> willTerminateWasSaid = false;
  std::atomic<bool> terminationHasBegun = false;
  std::atomic<bool> tasksHaveEnded = false;
  std::atomic<bool> closed = false;
};

LinuxEnvironment::Parts::Parts(LinuxOptions given, Platform& platform)
    : options(std::move(given)),
      log(guardedLog(options.log)),
      userDefaults(openUserDefaults(options, log)),
      documents(openDocuments(options)),
      bundle({options.bundleIdentifier, options.shortVersion, options.version}, options.receiptPath),
      device(facts, options.bundleIdentifier.value_or(""), SystemFiles(), processVariable),
      surroundings(facts, SystemFiles()),
      loop(log),
      workers(std::make_shared<WorkerPool>(log)),
      application(loop, options.backgroundTaskTime, facts, log),
      network(openNetwork(options, platform, *userDefaults, json, application, log)),
      controlHost(controlHostFromEnvironment(options)),
      location(openLocation(options, platform, log)),
      thread(loop) {
  facts.store(sharedFacts(std::move(options.facts)));
}

LinuxEnvironment::LinuxEnvironment(LinuxOptions options) : parts_(std::make_unique<Parts>(std::move(options), *this)) {}

LinuxEnvironment::Result LinuxEnvironment::open(LinuxOptions options) {
  try {
    try {
      requireDescriptors();
      keepLibcryptoThroughExit();
      return {std::unique_ptr<LinuxEnvironment>(new LinuxEnvironment(std::move(options))), ""};
    } catch (const std::exception& exception) {
      return {nullptr, exception.what()};
    }
  } catch (const std::bad_alloc&) {
    return {nullptr, "out of memory"};  // short enough to need none
  }
}

std::string LinuxEnvironment::erase(const LinuxOptions& options) {
  try {
    return eraseStoreOf(options);
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

std::string LinuxEnvironment::stopForGood(std::unique_ptr<LinuxEnvironment> environment) {
  if (environment == nullptr) return "";
  if (environment->isInert()) return "The store belongs to the parent of this process: it is not erased here.";
  environment->stopAtOnce();
  try {
    const LinuxOptions options = std::move(environment->parts_->options);
    environment = nullptr;
    return eraseStoreOf(options);
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

LinuxEnvironment::~LinuxEnvironment() {
  if (isInert()) {
    // What the parent's threads were about to do cannot be undone here: it stays as it is until the process ends, and
    // so does what the trackers share, such as a search for a position whose thread is not here.
    parts_->keptInFork = shared([] { return nullptr; });
    static_cast<void>(parts_.release());
    return;
  }
  terminate();
}

void LinuxEnvironment::applicationDidFinishLaunching() { deliver(ApplicationNotification::didFinishLaunching); }

void LinuxEnvironment::applicationDidBecomeActive() { deliver(ApplicationNotification::didBecomeActive); }

void LinuxEnvironment::applicationWillResignActive() { deliver(ApplicationNotification::willResignActive); }

void LinuxEnvironment::applicationWillTerminate() {
  if (isInert()) return;
  if (!parts_->willTerminateWasSaid.exchange(true)) deliver(ApplicationNotification::willTerminate);
}

void LinuxEnvironment::deliver(ApplicationNotification notification) {
  if (isInert()) return;
  const auto tell = [this, notification] {
    const auto post = [this, notification] { parts_->notificationCenter.post(notification); };
    if (parts_->options.mainThread == MainThread::host) {
      parts_->loop.async(post);
    } else if (parts_->thread.start()) {
      onMain(post);
    } else {
      log("No thread for the main queue: the application's life goes by unnoticed.");
    }
  };
  runGuarded(tell, "Telling of the application's life", parts_->log);
}

void LinuxEnvironment::terminate() {
  if (isInert() || parts_->closed) return;
  beginTermination();
  if (isInsideCall()) return;
  if (parts_->options.mainThread == MainThread::own && parts_->thread.start()) {
    if (!parts_->thread.join()) return;
  } else {
    if (parts_->loop.isTurning()) return;
    while (!parts_->tasksHaveEnded) parts_->loop.run();
  }
  close();
}

void LinuxEnvironment::beginTermination() {
  if (parts_->terminationHasBegun.exchange(true)) return;
  // Posted, never waited for: this may be a thread that the handlers in turn wait for.
  if (!parts_->willTerminateWasSaid.exchange(true)) {
    parts_->loop.async([this] { parts_->notificationCenter.post(ApplicationNotification::willTerminate); });
  }
  const auto waitForTasks = [this] {
    // What is being sent has as much time as a background task.
    const BackgroundTaskIdentifier sending = parts_->application.beginBackgroundTask("sending", nullptr);
    parts_->network->whenIdle([this, sending] { parts_->application.endBackgroundTask(sending); });
    parts_->application.whenAllEnded([this] {
      parts_->tasksHaveEnded = true;
      parts_->loop.stop();
    });
  };
  // Two turns, so that what the handlers posted runs before the first look at what is under way.
  parts_->loop.async([this, waitForTasks] { parts_->loop.async(waitForTasks); });
}

/// Nothing leaves from the first line on, whatever tasks still run before the loop has stopped.
void LinuxEnvironment::stopAtOnce() {
  if (parts_->closed) return;
  parts_->network->adviseNoMore();
  parts_->network->stop();
  parts_->terminationHasBegun = true;
  if (parts_->options.mainThread == MainThread::own && parts_->thread.start()) {
    parts_->loop.stop();
    parts_->thread.join();
  }
  close();
}

/// Whether close() would wait for the calling thread, and so for itself.
bool LinuxEnvironment::isInsideCall() const {
  return isThreadOf(parts_->workers.get()) || parts_->location->isOwnThread() || parts_->network->isOwnThread();
}

void LinuxEnvironment::close() {
  // Whatever is dropped here may hold a tracker's last reference, and its end reaches for every part: all of them are
  // still there, and those that are closed ignore it.
  parts_->loop.close();
  parts_->workers->stop();
  parts_->location->stop();
  parts_->network->stop();
  parts_->userDefaults->synchronize();
  parts_->closed = true;
}

bool LinuxEnvironment::onMain(std::function<void()> task) {
  if (isInert()) return false;
  if (parts_->loop.isMainThread() && !parts_->loop.isClosed()) {
    runGuarded(task, "A task of the main queue", parts_->log);
    return true;
  }
  if (parts_->options.mainThread == MainThread::own && !parts_->thread.start()) return false;
  // A task that is dropped takes its end with it, which ends the waiting too.
  const auto ending = std::make_shared<Ending>();
  bool hasRun = false;
  parts_->loop.asyncAtOnce([this, &hasRun, task = std::move(task), end = endAtTheLatestOf(ending)] {
    runGuarded(task, "A task of the main queue", parts_->log);
    hasRun = true;
    end->end();
  });
  ending->wait();
  return hasRun;
}

Waiting LinuxEnvironment::waiting() const {
  if (isInert()) return {};
  return StoredReports(*parts_->userDefaults).waiting(parts_->json);
}

Waiting LinuxEnvironment::waitUntilSent(std::chrono::milliseconds timeout) {
  const bool ownsThread = parts_->options.mainThread == MainThread::own;
  if (isInert() || isInsideCall() || (ownsThread && !parts_->thread.start())) return waiting();
  const bool isMain = parts_->loop.isMainThread();
  if (isMain && (ownsThread || parts_->loop.isTurning())) return waiting();

  // A watch that is dropped takes its end with it, which ends the waiting too.
  const auto ending = std::make_shared<Ending>();
  const std::chrono::milliseconds longest = std::chrono::hours(24);
  const auto deadline = std::chrono::steady_clock::now() + std::clamp(timeout, timeout.zero(), longest);
  parts_->loop.asyncAtOnce([this, deadline, isMain, end = endAtTheLatestOf(ending)] {
    const auto flush = [this] { parts_->notificationCenter.post(ApplicationNotification::willResignActive); };
    const auto done = [this, isMain, end] {
      end->end();
      if (isMain) parts_->loop.stop();
    };
    const auto isIdle = [this] { return parts_->network->isIdle(); };
    std::make_shared<SentWatch>(*parts_->userDefaults, parts_->loop, deadline, SentWatch::Actions{isIdle, flush, done})
        ->look();
  });
  while (isMain && !parts_->loop.isClosed() && !ending->hasEnded()) parts_->loop.run();
  ending->waitUntil(deadline);
  return waiting();
}

void LinuxEnvironment::run() {
  if (!isInert() && parts_->options.mainThread == MainThread::host) parts_->loop.run();
}

void LinuxEnvironment::stop() {
  if (parts_->options.mainThread == MainThread::host) parts_->loop.stop();
}

void LinuxEnvironment::poll() {
  if (parts_->options.mainThread == MainThread::host) parts_->loop.poll();
}

int LinuxEnvironment::fileDescriptor() const {
  return parts_->options.mainThread == MainThread::host ? parts_->loop.fileDescriptor() : -1;
}

std::optional<std::chrono::steady_clock::time_point> LinuxEnvironment::nextDeadline() const {
  if (parts_->options.mainThread != MainThread::host) return std::nullopt;
  return parts_->loop.nextDeadline();
}

void LinuxEnvironment::setFacts(HostFacts facts) {
  if (!isInert()) parts_->facts.store(sharedFacts(std::move(facts)));
}

std::shared_ptr<MarluneNetworkAccess> LinuxEnvironment::makeNetworkAccess() {
  if (isInert()) return std::make_shared<NoNetworkAccess>();
  std::shared_ptr<MarluneNetworkAccess> access = parts_->network->make();
  if (parts_->controlHost.empty()) return access;
  return std::make_shared<RedirectedNetworkAccess>(std::move(access), parts_->controlHost);
}

std::shared_ptr<MarluneLocationManager> LinuxEnvironment::makeLocationManager() {
  if (isInert()) return std::make_shared<NoLocationManager>();
  return parts_->location->make();
}

std::shared_ptr<MarluneRetrieveiAdAttribution> LinuxEnvironment::makeRetrieveiAdAttribution() {
  return std::make_shared<LinuxSearchAdAttribution>(parts_->workers, parts_->options.searchAdSource, parts_->log);
}

std::shared_ptr<MarluneHardwareInfo> LinuxEnvironment::makeHardwareInfo() {
  return std::make_shared<LinuxHardwareInfo>(parts_->device);
}

std::shared_ptr<WebViewUserAgent> LinuxEnvironment::makeWebViewUserAgent() {
  return std::make_shared<LinuxUserAgent>(parts_->facts);
}

UserDefaults& LinuxEnvironment::userDefaults() { return *parts_->userDefaults; }
NotificationCenter& LinuxEnvironment::notificationCenter() { return parts_->notificationCenter; }
MainQueue& LinuxEnvironment::mainQueue() { return parts_->loop; }
GlobalQueue& LinuxEnvironment::globalQueue() { return *parts_->workers; }
Application& LinuxEnvironment::application() { return parts_->application; }
Bundle& LinuxEnvironment::bundle() { return parts_->bundle; }
Device& LinuxEnvironment::device() { return parts_->device; }
Surroundings& LinuxEnvironment::surroundings() { return parts_->surroundings; }
Documents& LinuxEnvironment::documents() { return *parts_->documents; }
JSONSerialization& LinuxEnvironment::json() { return parts_->json; }

double LinuxEnvironment::secondsSince1970() { return static_cast<double>(parts_->clock.now()) / 1e6; }

std::string LinuxEnvironment::randomUUID() { return fliprugair::randomUUID(); }

void LinuxEnvironment::log(std::string_view line) { parts_->log(line); }

/// Says so the first time.
bool LinuxEnvironment::isInert() const {
  if (parts_->process.isOwnProcess()) return false;
  if (!parts_->forkWasSaid.exchange(true)) {
    parts_->log(
        "The library was opened by the parent of this process: here its calls do nothing. Open it after the fork, with "
        "a store of its own.");
  }
  return true;
}

void LinuxEnvironment::advise(std::string_view line) {
  if (!parts_->options.advises || isInert()) return;
  {
    const std::lock_guard lock(parts_->adviceMutex);
    if (!parts_->advice.emplace(line).second) return;
  }
  parts_->log(line);
}

}  // namespace fliprugair
