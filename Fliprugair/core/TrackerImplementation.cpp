#include "Fliprugair/core/TrackerImplementation.h"

namespace fliprugair {

namespace {

constexpr std::string_view initMethod = "-[MarluneTracker initMarluneWithParams:]";

void adviseOn(Environment& environment, const Dictionary& options, bool started) {
  Options::adviseOn(options, [&](std::string_view line) { environment.advise(line); });
  if (started) return;
  environment.advise(
      "Marlune library - no tracker was started: give it the option \"marluneAppId\", or \"partnerId\" and "
      "\"partnerName\", each a text that is not empty.");
}

}  // namespace

TrackerImplementation::TrackerImplementation(Environment& environment)
    : platform_(environment.platform()),
      process_(ProcessState::of(environment)),
      context(platform_, *process_),
      clock(context),
      connectivity(platform_.surroundings()),
      identity(context, [this] { return platform_.randomUUID(); }),
      envelope(identity, *process_, platform_.json()),
      facts(context, *process_, platform_.device(), platform_.bundle()),
      requests(context, *process_, environment),
      batch(context, *process_, requests, clock, platform_.application(), platform_.globalQueue()),
      events(context, *process_, batch, envelope, identity, clock, platform_.json()),
      sessions(context, batch, envelope, clock),
      location(context, *process_, batch, envelope, clock, facts, platform_.surroundings(), environment),
      services(context, batch, envelope, platform_.documents()),
      watch(context, events, requests),
      properties(context, requests, envelope, facts, environment),
      installData(context, *process_, identity, clock, facts, connectivity, platform_.surroundings(),
                  platform_.bundle(), platform_.application(), environment),
      searchAd(context, *process_, envelope, facts, environment),
      installReport(context, requests, envelope, facts, installData, searchAd, watch),
      attribution(context, *process_, requests, envelope, searchAd, installReport, platform_.json()),
      initRequest(context, identity, envelope, facts, sessions, requests),
      settings(context, identity, batch, searchAd, facts, events, location, properties, installReport, attribution),
      handshake(context, *process_, clock, requests, identity, sessions, initRequest, settings, location, services,
                installReport, properties, attribution),
      lifecycle(context, *process_, clock, sessions, batch, requests, properties, location, installReport) {}

TrackerImplementation::~TrackerImplementation() {
  // A start that failed has subscribed to nothing and armed nothing.
  if (started_ && !context.isInert()) context.guarded([this] { tearDown(); });
}

std::shared_ptr<TrackerImplementation> TrackerImplementation::start(Environment& environment, const Value& options) {
  std::shared_ptr<TrackerImplementation> tracker;
  try {
    tracker = std::make_shared<TrackerImplementation>(environment);
  } catch (...) {
    return nullptr;  // An environment that cannot say what it consists of has no log either.
  }
  tracker->context.setOwner(tracker);
  tracker->context.perform([&] { tracker->started_ = tracker->startUp(options); });
  tracker->context.guarded([&] { adviseOn(environment, options.dictionary(), tracker->started_); });
  return tracker->started_ ? tracker : nullptr;
}

bool TrackerImplementation::startUp(const Value& given) {
  resetProcessState();
  const Options options(given.dictionary());
  requests.setTrackerHostname(options.trackerHostname);
  envelope.setVersionExtension(options.versionExtension.text());
  lifecycle.reset();
  installData.setIsNewUser(options.isNewUser);
  context.enableLogging(options.enableLogging);
  installData.setCustomIdString(options.customIdString);
  context.logIfEnabled(initMethod, 722, "Marlune library - in init");

  // Written before the identity is checked: it holds even when this start fails.
  attribution.storeRequest(options.retrieveAttribution);
  if (!options.hasIdentity()) {
    context.logIfEnabled(initMethod, 741, "Marlune library - you MUST send and appId OR a partner Id/Name pair");
    context.logIfEnabled(initMethod, 742, "Marlune library - library initialized failed");
    context.store().synchronize();
    return false;
  }
  storeDefaults(options);
  lifecycle.subscribe(platform_.notificationCenter());
  // A collaborator that throws leaves the request in its queue: no reason to have no tracker.
  context.guarded([&] { initOrResumeAttribution(options); });
  return true;
}

/// References to timers are dropped, not stopped: a timer of an earlier tracker that is still armed fires.
void TrackerImplementation::resetProcessState() {
  location.dropSearch();
  handshake.reset();
  searchAd.reset();
  attribution.reset();
  batch.reset();
}

/// Writes what is absent, in the order in which a new store lists it.
void TrackerImplementation::storeDefaults(const Options& options) {
  properties.storeUserAgent();
  facts.reset();
  events.reset();
  identity.storeApplication(options.marluneAppId, options.currency);
  sessions.storeDefaults();
  requests.storeDefaults();
  installReport.storeDefaults();
  events.clearPosition();
  clock.storeDefaults();
  facts.storeDefaults();
  installData.storeIdentityLink(options.identityLink);
  settings.storeDefaults();
  handshake.storeDefaults();
  batch.storeDefaults();
  searchAd.storeDefaults();
  properties.storeDefaults();
  location.reset();
  facts.setAppLimitsTracking(options.limitAdTracking);
  identity.storeDeviceId();
  requests.forgetSending();
  context.store().synchronize();
}

void TrackerImplementation::initOrResumeAttribution(const Options& options) {
  if (handshake.isDue() || facts.appVersionChanged()) {
    initRequest.initEvent(options);
    return;
  }
  if (attribution.isMissing()) {
    context.logIfEnabled(initMethod, 958, "Marlune library - starting attribution timer (not resending mlinit)");
    attribution.armCheckTimer();
  }
  events.restoreBlacklist();
}

/// The tasks outlive this tracker, so they hold on to the process's state alone.
void TrackerImplementation::tearDown() {
  lifecycle.unsubscribe(platform_.notificationCenter());
  location.tearDown();
  platform_.mainQueue().async([process = process_] {
    process->Handshake::Shared::stopTimers();
    process->BatchQueue::Shared::stopTimers();
    process->AttributionPoll::Shared::stopTimers();
  });
  searchAd.tearDown(platform_.mainQueue(), process_);
}

void TrackerImplementation::MarluneRetrieveAttribution(const Value& reply) {
  context.perform([&] { attribution.MarluneRetrieveAttribution(reply.dictionary()); });
}

void TrackerImplementation::MarluneInitResult(const Value& reply) {
  context.perform([&] { handshake.MarluneInitResult(reply); });
}

void TrackerImplementation::MarluneInitialResult(const Value& reply) {
  context.perform([&] { installReport.MarluneInitialResult(reply); });
}

void TrackerImplementation::iAdAttributionData(const Value& details, bool unknown) {
  context.perform([&] { searchAd.iAdAttributionData(details, unknown); });
}

void TrackerImplementation::currentLocationUpdate(const Value& fix) {
  context.perform([&] { location.currentLocationUpdate(fix); });
}

}  // namespace fliprugair
