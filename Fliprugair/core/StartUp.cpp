// Construction and teardown.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/Options.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

constexpr std::string_view defaultTrackerHostname = "control.marlune.example";
constexpr std::string_view releaseTag = "ios-20160921";
// Features that a release may add to its version text; this one has none of them.
constexpr std::string_view versionGameKitPartString;
constexpr std::string_view versioniBeaconPartString;
constexpr std::string_view versionCoreLocationPartString;
constexpr std::string_view versionCookieCollectionPartString;

constexpr std::string_view initMethod = "-[MarluneTracker initMarluneWithParams:]";

std::string versionText(const std::string& extension) {
  std::string text(releaseTag);
  text += versionGameKitPartString;
  text += versioniBeaconPartString;
  text += versionCoreLocationPartString;
  text += versionCookieCollectionPartString;
  return text + extension;
}

void stop(ProcessState::TimerReference& reference) {
  if (const auto timer = reference.exchange(nullptr)) timer->invalidate();
}

}  // namespace

MarluneTracker::MarluneTracker(ConstructionKey, Environment& environment) : environment_(environment) {}

MarluneTracker::~MarluneTracker() {
  // A start that failed has subscribed to nothing and armed nothing.
  if (started_) guarded([this] { tearDown(); });
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId) {
  return initWithMarluneAppId(environment, appId, "usd");
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId,
                                                                     const Text& currency) {
  return initWithMarluneAppId(environment, appId, currency, false);
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId,
                                                                     const Text& currency, bool enableLogging) {
  return initWithMarluneAppId(environment, appId, currency, enableLogging, false);
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId,
                                                                     const Text& currency, bool enableLogging,
                                                                     bool limitAdTracking) {
  return initWithMarluneAppId(environment, appId, currency, enableLogging, limitAdTracking, false);
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId,
                                                                     const Text& currency, bool enableLogging,
                                                                     bool limitAdTracking, bool isNewUser) {
  return initMarluneWithParams(environment, PairList()
                                                .add("marluneAppId", appId.value())
                                                .add("currency", currency.value())
                                                .add("enableLogging", digitText(enableLogging))
                                                .add("limitAdTracking", digitText(limitAdTracking))
                                                .add("isNewUser", digitText(isNewUser))
                                                .dictionary());
}

std::shared_ptr<MarluneTracker> MarluneTracker::initMarluneWithParams(Environment& environment, const Value& options) {
  const auto tracker = std::make_shared<MarluneTracker>(ConstructionKey(), environment);
  tracker->perform([&] { tracker->started_ = tracker->startUp(options); });
  return tracker->started_ ? tracker : nullptr;
}

bool MarluneTracker::startUp(const Value& given) {
  resetProcessState();
  const Options options(given.dictionary());
  state().trackerHostname.store(options.trackerHostname.value_or(std::string(defaultTrackerHostname)));
  state().sdkVersion.store(versionText(options.versionExtension));
  state().skipBecameActive = false;
  state()._isNewUser = options.isNewUser;
  state()._loggingEnabled = options.enableLogging;
  setCustomIdString(options.customIdString);
  if (loggingEnabled()) log(initMethod, 722, "Marlune library - in init");

  const bool attributionRequested = options.retrieveAttribution && retrieveAttribution().isNull();
  // Written before the identity is checked: it holds even when this start fails.
  store().setObject(attributionRequested, key::requestAttribution);

  if (!options.hasIdentity()) {
    if (loggingEnabled()) {
      log(initMethod, 741, "Marlune library - you MUST send and appId OR a partner Id/Name pair");
      log(initMethod, 742, "Marlune library - library initialized failed");
    }
    store().synchronize();
    return false;
  }
  storeUserAgent();
  state().disabledDeviceTypes.store(Array());
  state().blacklistedEventNames.store(Array());
  storeDefaults(options);
  subscribe();
  // A network collaborator that throws leaves the request in its queue: no reason to have no tracker.
  guarded([&] { initOrResumeAttribution(options); });
  return true;
}

/// References to timers are dropped, not stopped: a timer of an earlier tracker that is still armed fires.
void MarluneTracker::resetProcessState() {
  state().locMgr.store(nullptr);
  state().rcascadeTimerDelay = 0;
  state().rcascadeTimer.store(nullptr);
  setIAdAttributionManager(nullptr);
  state().iAdAttributionAttempts = 0;
  state().triggerRetryiAdRetrieval = false;
  state().marluneAttributionCheckTimer.store(nullptr);
  state().marluneAttributionTimer.store(nullptr);
  state().mlTrackerWaitTimer.store(nullptr);
}

void MarluneTracker::subscribe() {
  const auto on = [this](ApplicationNotification notification, void (MarluneTracker::*handler)()) {
    platform().notificationCenter().addObserver(this, notification, [weak = weak_from_this(), handler] {
      if (const auto self = weak.lock()) self->guarded([&] { ((*self).*handler)(); });
    });
  };
  on(ApplicationNotification::didFinishLaunching, &MarluneTracker::appDidLaunch);
  on(ApplicationNotification::didBecomeActive, &MarluneTracker::appDidBecomeActive);
  on(ApplicationNotification::willResignActive, &MarluneTracker::appWillResignActive);
  on(ApplicationNotification::willTerminate, &MarluneTracker::appWillTerminate);
}

/// What was never reported, or is missing from the bundle, counts as changed.
bool MarluneTracker::appVersionChanged() const {
  const Dictionary reported = store().objectForKey(key::watchProperties).dictionary();
  const Value shortVersion = platform().bundle().infoEntry("CFBundleShortVersionString");
  if (reported["app_short_string"] != (shortVersion.isText() ? shortVersion : Value(""))) return true;
  const Value version = platform().bundle().infoEntry("CFBundleVersion");
  return !version.isText() || reported["app_version"] != version;
}

void MarluneTracker::initOrResumeAttribution(const Options& options) {
  // Unsigned on purpose: a clock set back before the last init yields a huge difference, and so a new init.
  const std::uint64_t sinceLastInit = now() - static_cast<std::uint64_t>(store().integerForKey(key::lastMLInitSent));
  const auto wait = static_cast<std::uint64_t>(store().integerForKey(key::mlinitWait));
  if (sinceLastInit > wait || appVersionChanged()) {
    initEvent(options.marluneAppId, options.partnerId, options.partnerName, options.currency,
              options.generateAnonymousMarluneDeviceId);
    return;
  }
  if (store().boolForKey(key::requestAttribution) && retrieveAttribution().isNull()) {
    if (loggingEnabled()) {
      log(initMethod, 958, "Marlune library - starting attribution timer (not resending mlinit)");
    }
    armAttributionCheckTimer();
  }
  if (const auto names = store().arrayForKey(key::blacklistedEventNames)) state().blacklistedEventNames.store(*names);
}

/// The tasks outlive this tracker, so they hold on to the process's state alone.
void MarluneTracker::tearDown() {
  platform().notificationCenter().removeObserver(this);
  if (const auto manager = state().locMgr.load()) guarded([&] { manager->setLocationManagerDelegate({}); });
  ProcessState& process = state();
  platform().mainQueue().async([&process] {
    stop(process.rcascadeTimer);
    stop(process.mlTrackerWaitTimer);
    stop(process.marluneAttributionCheckTimer);
    stop(process.marluneAttributionTimer);
  });
  const std::lock_guard lock(monitor_);
  platform().mainQueue().async([&process] {
    stop(process.retryiAdAttributionTimer);
    stop(process.iAdAttributionPayloadTimer);
  });
}

}  // namespace fliprugair
