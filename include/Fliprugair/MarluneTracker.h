#pragma once

#include <memory>
#include <string>

#include "Fliprugair/AnyObject.h"
#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/URL.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

class Environment;
class EventStandardParameters;
class MarluneRetrieveiAdAttribution;
class MarluneTrackerClientDelegate;
class TrackerImplementation;

/// The install-attribution and analytics tracker: the one object through which a host app uses the library.
///
/// A host app constructs it once, at launch, on its main thread. From then on it follows the application's
/// notifications: it asks the control host for settings ("init"), reports the installation once ("initial"), batches
/// what the calls below report, and, when asked to, fetches the attribution result and hands it to the delegate.
///
/// Ownership: the caller's; dropping the last reference ends it, but not before a call that is running on it has
/// returned. The environment must outlive it.
/// Threads: the constructors belong on the main thread, every other public operation may be called from any thread.
/// Blocking: no operation waits for the network. What an operation writes is durable when it returns, all or nothing.
/// Errors: nothing is thrown. A missing argument (null: `nullptr` or `{}`) is safe everywhere.
class FLIPRUGAIR_EXPORT MarluneTracker final {
 public:
  // Construction. Each answers with a null pointer when there is neither an application identifier nor a partner
  // identifier with a partner name. The positional forms leave out, from the end, what has the default shown:
  // currency "usd", enableLogging NO, limitAdTracking NO, isNewUser NO. A null currency drops what follows it.

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
  /// | "trackerHostname" | text, "control.marlune.example" | the control host, with a port if need be |
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

  ~MarluneTracker();
  MarluneTracker(const MarluneTracker&) = delete;
  MarluneTracker& operator=(const MarluneTracker&) = delete;

  /// Turns diagnostic lines on or off, for every tracker of the process.
  void enableConsoleLogging(bool enabled);

  // Events. All travel in the next batch: after 25 records, when nothing was reported for the wait that the control
  // host set (60 seconds unless it says otherwise), or when the application resigns.

  /// A custom event. A null title is refused with a log line; without a value, currency and position stay out.
  void trackEvent(const Text& eventTitle, const Text& eventValue);

  /// A purchase with its store receipt, encoded by the caller.
  void trackEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt);

  /// As trackEvent, marked as standard or not.
  void trackEventWithEventTitleString(const Text& eventTitleString, const Text& eventValueString, bool standardBool);

  /// A standard event; a null pointer is refused with a log line. The object is only used during the call.
  void trackEventWithEventStandardParameters(const EventStandardParameters* eventStandardParameters);

  /// Links the device to identities that the host app knows. `identityLinkData` is a dictionary of at most 500 levels.
  void identityLinkEvent(const Value& identityLinkData);

  /// An event at a place.
  void spatialEvent(const Text& eventTitle, float x, float y, float z);

  /// The URL that the application was opened with, and who opened it.
  void sendDeepLink(const URL& url, const Text& sourceApplication);

  /// The user's choice inside the app. Stored, and reported at once when it is news.
  void setLimitAdTracking(bool limitAdTracking);

  /// The stored attribution result: a dictionary, or null while there is none. Asks nobody.
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
  void setTrackerDelegate(const std::shared_ptr<MarluneTrackerClientDelegate>& delegate);

  Value customIdString() const;
  void setCustomIdString(const Text& customIdString);

  /// The search-ad collaborator in use; a null pointer before the first install report of this tracker.
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

 private:
  explicit MarluneTracker(std::shared_ptr<TrackerImplementation> implementation);

  std::shared_ptr<TrackerImplementation> implementation_;
};

/// Declared beside the tracker; carries nothing.
class Fliprugair {};

}  // namespace fliprugair
