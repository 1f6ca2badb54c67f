#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <variant>

#include "Fliprugair/MarluneTrackerClientDelegate.h"
#include "Fliprugair/collaborators/Environment.h"
#include "Fliprugair/collaborators/EventStandardParameters.h"
#include "Fliprugair/platform/Locked.h"
#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/URL.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// An untyped object, as callers from another language runtime hand it over.
using AnyObject = std::variant<Value, URL>;

/// The install-attribution and analytics tracker: the one object through which a host app uses the library.
///
/// A host app constructs it once, at launch, on its main thread. From then on it follows the application's
/// notifications: it asks the control host for settings ("init"), reports the installation once ("initial"), batches
/// what the calls below report, and, when asked to, fetches the attribution result and hands it to the delegate.
///
/// Ownership: the caller's; dropping the last reference ends it. The environment must outlive it.
/// Threads: the constructors belong on the main thread, every other public operation may be called from any thread.
/// Blocking: no operation waits for the network. What an operation writes is durable when it returns, all or nothing.
/// Errors: nothing is thrown. A missing argument ("nothing", `nullptr`) is safe everywhere.
class MarluneTracker final : public MarluneNetworkAccessDelegate,
                             public MarluneiAdAttributionDelegate,
                             public MarluneLocationManagerDelegate,
                             public std::enable_shared_from_this<MarluneTracker> {
 public:
  // Construction. Each answers with a null pointer when there is neither an application identifier nor a partner
  // identifier with a partner name. The positional forms leave out, from the end, what has the default shown:
  // currency "usd", enableLogging NO, limitAdTracking NO, isNewUser NO. A currency of nothing drops what follows it.

  static std::shared_ptr<MarluneTracker> initWithMarluneAppId(Environment& environment, const Text& appId);
  static std::shared_ptr<MarluneTracker> initWithMarluneAppId(Environment& environment, const Text& appId,
                                                              const Text& currency);
  static std::shared_ptr<MarluneTracker> initWithMarluneAppId(Environment& environment, const Text& appId,
                                                              const Text& currency, bool enableLogging);
  static std::shared_ptr<MarluneTracker> initWithMarluneAppId(Environment& environment, const Text& appId,
                                                              const Text& currency, bool enableLogging,
                                                              bool limitAdTracking);
  static std::shared_ptr<MarluneTracker> initWithMarluneAppId(Environment& environment, const Text& appId,
                                                              const Text& currency, bool enableLogging,
                                                              bool limitAdTracking, bool isNewUser);

  /// `options` is a dictionary; every key is optional, and one of another type counts as not given.
  ///
  /// | key | type, default | effect |
  /// |---|---|---|
  /// | "marluneAppId" | text, "" | the application identifier |
  /// | "partnerId", "partnerName" | text, "" | together an alternative to it |
  /// | "trackerHostname" | text | the control host, with a port if need be |
  /// | "currency" | text, "usd" | currency code |
  /// | "limitAdTracking" | boolean, NO | the app's limit-ad-tracking choice |
  /// | "isNewUser" | boolean, NO | reported with the installation |
  /// | "enableLogging" | boolean, NO | diagnostic lines |
  /// | "retrieveAttribution" | boolean, NO | fetch the attribution result |
  /// | "generateAnonymousMarluneDeviceId" | boolean, NO | keeps the vendor identifier out of the init request |
  /// | "customIdString" | text, none | reported with the installation |
  /// | "identityLink" | dictionary, none | reported with the installation; kept from the first start |
  /// | "versionExtension" | text, "" | appended to the version text |
  ///
  /// Booleans may be given as numbers or as text ("1", "0").
  static std::shared_ptr<MarluneTracker> initMarluneWithParams(Environment& environment, const Value& options);

  ~MarluneTracker() override;
  MarluneTracker(const MarluneTracker&) = delete;
  MarluneTracker& operator=(const MarluneTracker&) = delete;

  /// Turns diagnostic lines on or off, for every tracker of the process.
  void enableConsoleLogging(bool enabled);

  // Events. All travel in the next batch: after 25 records, when nothing was reported for the wait that the control
  // host set (60 seconds unless it says otherwise), or when the application resigns.

  /// A custom event. A title of nothing is refused with a log line; without a value, currency and position stay out.
  void trackEvent(const Text& eventTitle, const Text& eventValue);

  /// A purchase with its store receipt, encoded by the caller.
  void trackEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt);

  /// As trackEvent, marked as standard or not.
  void trackEventWithEventTitleString(const Text& eventTitleString, const Text& eventValueString, bool standardBool);

  /// A standard event; a null pointer is refused with a log line. The object is only used during the call.
  void trackEventWithEventStandardParameters(const EventStandardParameters* eventStandardParameters);

  /// Links the device to identities that the host app knows. `identityLinkData` is a dictionary.
  void identityLinkEvent(const Value& identityLinkData);

  /// An event at a place.
  void spatialEvent(const Text& eventTitle, float x, float y, float z);

  /// The URL that the application was opened with, and who opened it.
  void sendDeepLink(const URL& url, const Text& sourceApplication);

  /// The user's choice inside the app. Stored, and reported at once when it is news.
  void setLimitAdTracking(bool limitAdTracking);

  /// The stored attribution result: a dictionary, or nothing while there is none. Asks nobody.
  Value retrieveAttribution() const;

  // Watch companion.

  /// A paired watch was seen. Each link is reported once; "" stands for a watch without a link.
  void handleWatchEvents();
  void handleWatchEvents(const Text& watchLink);
  void handleWatchEvents(const Text& watchLink, bool calledByTrackEvent);

  /// An event that happened on the watch. The first one also reports a pairing.
  void trackWatchEvent(const Text& eventTitle, const Text& eventValue);

  // Properties.

  std::shared_ptr<MarluneTrackerClientDelegate> trackerDelegate() const;
  /// The tracker does not keep its delegate alive.
  void setTrackerDelegate(const std::weak_ptr<MarluneTrackerClientDelegate>& delegate);

  Value customIdString() const;
  void setCustomIdString(const Text& customIdString);

  /// The search-ad collaborator in use; a null pointer before the first install report of this process.
  std::shared_ptr<MarluneRetrieveiAdAttribution> iAdAttributionManager() const;
  void setIAdAttributionManager(std::shared_ptr<MarluneRetrieveiAdAttribution> manager);

  // Adapters for callers from another language runtime: they take any objects, and do nothing when one is of another
  // kind than the operation behind them wants.

  static std::shared_ptr<MarluneTracker> swiftInitMarluneWithParams(Environment& environment, const AnyObject& options);
  void swiftEnableConsoleLogging(bool enabled);
  void swiftTrackEvent(const AnyObject& eventTitle, const AnyObject& eventValue);
  void swiftIdentityLinkEvent(const AnyObject& identityLinkData);
  void swiftSpatialEvent(const AnyObject& eventTitle, float x, float y, float z);
  void swiftSetLimitAdTracking(bool limitAdTracking);
  void swiftSendDeepLink(const AnyObject& url, const AnyObject& sourceApplication);
  /// The stored attribution result as compact JSON text; "" when there is none.
  std::string swiftRetrieveAttribution() const;

  // What the collaborators call. Not for host apps.

  void MarluneRetrieveAttribution(const Value& reply) override;
  void MarluneInitResult(const Value& reply) override;
  void MarluneInitialResult(const Value& reply) override;
  void iAdAttributionData(const Value& details, bool unknown) override;
  void currentLocationUpdate(const Value& fix) override;

 private:
  // The simulator's and the tests' way to the operations below.
  friend struct TrackerInternals;

  struct ConstructionKey {};
  struct Options;

 public:
  /// Only the static constructors have the key.
  MarluneTracker(ConstructionKey, Environment& environment);

 private:
  // core/StartUp.cpp, core/PersistedState.cpp
  bool startUp(const Value& options);
  void resetProcessState();
  void storeUserAgent();
  void storeDefaults(const Options& options);
  void storeDefault(std::string_view key, const Value& value);
  void storeDefaultText(std::string_view key, const std::string& text);
  void subscribe();
  bool appVersionChanged() const;
  void initOrResumeAttribution(const Options& options);
  void tearDown();
  Value getMarluneDeviceId() const;
  Value createDeviceId() const;

  // core/Lifecycle.cpp
  void appDidLaunch();
  void appDidBecomeActive();
  void appWillResignActive();
  void appWillTerminate();
  void sessionEvent(std::string_view state);
  void checkDeviceLimitTracking();

  // handshake/InitRequest.cpp, handshake/InitReply.cpp, handshake/ServerSettings.cpp
  void initEvent(const std::string& appId, const std::string& partnerId, const std::string& partnerName,
                 const std::string& currency, bool generateAnonymousMarluneDeviceId);
  void addIdentifiers(Dictionary& data, bool generateAnonymousMarluneDeviceId) const;
  void takeInitReply(const Value& reply);
  bool backOff(const Dictionary& reply);
  void rcascadeTimerFired();
  void adoptSettings(const Dictionary& reply, const Dictionary& flags);
  void adoptIdentifiers(const Dictionary& flags);
  void adoptLists(const Dictionary& reply);
  void adoptLocationSettings(const Dictionary& reply, const Dictionary& flags);
  void adoptCurrencyAndSessionTracking(const Dictionary& flags);
  void adoptAttributionWait(const Dictionary& flags);
  void startAttributionCheckAfterInit();

  // install/InstallPayload.cpp
  void initialEvent();
  bool isOSGenuine() const;
  static bool UIInterfaceOrientationIsLandscape(int orientation);
  void askForSearchAdAttribution(const Dictionary& data, const Dictionary& watched);
  Dictionary installRequest(const Value& data) const;
  Dictionary installData(bool& deviceLimitsTracking);
  void addFacebookAttribution(Dictionary& data, const Value& pasteboardText) const;
  bool addAdvertisingEntries(Dictionary& data);
  void addScreenSize(Dictionary& data) const;
  void addReceipt(Dictionary& data) const;
  void addDeviceState(Dictionary& data) const;
  Dictionary watchDictionary(bool deviceLimitsTracking) const;

  // install/SearchAdAttribution.cpp
  void takeSearchAdAnswer(const Value& details, bool unknown);
  bool searchAdAnswerIsFinal(bool unknown);
  void iAdAttributionPayloadTimeout();
  void retryiAdAttribution();
  void sendInitial(const Value& request);
  void takeInitialReply(const Value& reply);

  // install/PropertyUpdates.cpp, install/OutsideServices.cpp
  void checkWatchPropertiesChanged();
  void refreshUserAgent();
  Value changedAdvertisingIdentifier() const;
  void determineOutsideServices(const Dictionary& services);
  std::string getFullFilename(std::string_view name) const;

  // events/EventRecords.cpp
  void eventNetworkTransactionWithEventStandardParameters(const EventStandardParameters* eventStandardParameters);
  void eventNetworkTransactionWithNameString(const Text& nameString, const Value& dataDictionary, bool standardBool);
  bool refusesEvent(const Text& eventTitle, std::string_view method, int line) const;
  void recordEvent(const Text& eventTitle, const Text& eventValue, bool standardBool);
  void recordReceiptEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt);
  void recordIdentityLink(const Value& identityLinkData);
  void recordSpatialEvent(const Text& eventTitle, float x, float y, float z);
  void recordDeepLink(const URL& url, const Text& sourceApplication);
  void appendEventRecord(Dictionary trackingData);
  void addUptimeDeltaAndLastPostTime(Dictionary& data);

  // events/BatchQueue.cpp
  void appendBatchEvent(const Value& batchEvent);
  void flushBatchQueue(bool isResignActive);
  void flushBatchQueueWithTask(BackgroundTaskIdentifier task);
  void batchQueueTimerFired();
  void armTrackerWaitTimer(double seconds);
  void stopTrackerWaitTimer();
  void sendQueueEvents();
  void resendQueuedRequests();
  void catchUpOnBatchQueue();

  // events/RequestDispatch.cpp
  std::string enqueueMarluneEvent(const Value& trackingObject);
  bool isEventSending(std::string_view eventTimestamp) const;
  void enqueueAndSend(const Value& payload);
  enum class Replies { delivered, ignored };
  void send(const Value& payload, const Text& eventTimestamp, Replies replies, BackgroundTaskIdentifier task);

  // attribution/AttributionRetrieval.cpp
  void armAttributionCheckTimer();
  void armAttributionTimer(double seconds);
  void marluneAttributionCheckTimerFired();
  void marluneAttributionTimerFired();
  void takeAttributionReply(const Dictionary& reply);
  void deliverAttribution(const Value& answer);

  // environment/Connectivity.cpp, environment/Clocks.cpp, environment/Location.cpp
  bool networkConnectedBool() const;
  bool cellularConnectedBool() const;
  bool wiFiConnectedBool() const;
  std::string currentLocalTime() const;
  std::string returnUptime() const;
  std::string returnAndSetUptimeDelta();
  std::uint64_t now() const;
  bool locationServicesApproved() const;
  void checkReportLocation();
  void reportFix(const Value& fix);

  // watch/WatchEvents.cpp
  void reportWatch(const Text& watchLink, bool calledByTrackEvent);
  bool addPairedWatch(const Text& watchLink);
  void reportWatchEvent(const Text& eventTitle, const Text& eventValue);
  void replayDeferredWatchEvents();

  // core/Support.cpp
  Platform& platform() const { return environment_.platform(); }
  UserDefaults& store() const { return platform().userDefaults(); }
  ProcessState& state() const { return environment_.processState(); }
  float systemVersion() const;
  std::string systemNameAndVersion() const;
  Value bundleText(std::string_view key) const;
  std::string preferredLanguage() const;
  static Value digitText(bool flag);
  bool isDisabled(std::string_view deviceType) const;
  bool loggingEnabled() const;
  void log(std::string_view method, int line, std::string_view message) const;
  std::string described(const Value& value) const;
  void postToMainQueue(std::function<void(MarluneTracker&)> task);
  std::shared_ptr<Timer> schedule(double seconds, std::string_view selector, void (MarluneTracker::*action)());
  void guarded(const std::function<void()>& operation) const;
  void perform(const std::function<void()>& operation) const;

  Environment& environment_;
  bool started_ = false;
  Locked<std::weak_ptr<MarluneTrackerClientDelegate>> trackerDelegate_;
  Locked<std::shared_ptr<MarluneRetrieveiAdAttribution>> iAdAttributionManager_;
  Locked<Value> customIdString_;
  std::mutex monitor_;  ///< the tracker's own lock, around the search-ad counters
};

/// Declared beside the tracker; carries nothing.
class Fliprugair {};

}  // namespace fliprugair
