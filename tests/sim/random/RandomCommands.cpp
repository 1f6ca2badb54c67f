#include "RandomCommands.h"

#include <array>

#include "platform/PairList.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::sim {

namespace {

using Names = std::vector<std::string_view>;

struct Signature {
  std::string_view selector;
  std::string_view
      kinds;  ///< t text, b boolean, f real, d dictionary, p payload, u URL, s standard, a anything, i code
};

constexpr std::array signatures{
    Signature{"trackEvent::", "tt"},
    Signature{"trackEvent::", "tt"},
    Signature{"trackEvent::", "tt"},
    Signature{"trackEvent:withValue:andReceipt:", "ttt"},
    Signature{"trackEventWithEventTitleString:eventValueString:standardBool:", "ttb"},
    Signature{"trackEventWithEventStandardParameters:", "s"},
    Signature{"identityLinkEvent:", "d"},
    Signature{"spatialEvent::::", "tfff"},
    Signature{"sendDeepLink::", "ut"},
    Signature{"setLimitAdTracking:", "b"},
    Signature{"enableConsoleLogging:", "b"},
    Signature{"retrieveAttribution", ""},
    Signature{"handleWatchEvents", ""},
    Signature{"handleWatchEvents:", "t"},
    Signature{"handleWatchEvents::", "tb"},
    Signature{"trackWatchEvent::", "tt"},
    Signature{"cellularConnectedBool", ""},
    Signature{"setCustomIdString:", "t"},
    Signature{"customIdString", ""},
    Signature{"iAdAttributionManager", ""},
    Signature{"swiftTrackEvent::", "aa"},
    Signature{"swiftIdentityLinkEvent:", "a"},
    Signature{"swiftSpatialEvent::::", "afff"},
    Signature{"swiftSendDeepLink::", "aa"},
    Signature{"swiftRetrieveAttribution", ""},
    Signature{"swiftInitMarluneWithParams:", "a"},
    Signature{"initWithMarluneAppId:", "t"},
    Signature{"initWithMarluneAppId:::::", "ttbbb"},
    Signature{"getMarluneDeviceId", ""},
    Signature{"createDeviceId", ""},
    Signature{"enqueueMarluneEvent:", "p"},
    Signature{"isEventSending:", "t"},
    Signature{"sendQueueEvents", ""},
    Signature{"appendBatchEvent:", "d"},
    Signature{"flushBatchQueue:", "b"},
    Signature{"returnUptime", ""},
    Signature{"returnAndSetUptimeDelta", ""},
    Signature{"networkConnectedBool", ""},
    Signature{"locationServicesApproved", ""},
    Signature{"checkReportLocation", ""},
    Signature{"checkWatchPropertiesChanged", ""},
    Signature{"getFullFilename:", "t"},
    Signature{"UIInterfaceOrientationIsLandscape", "i"},
};

const Names texts{"",
                  "0",
                  "1",
                  "7",
                  "-1",
                  "x",
                  "location",
                  "idfa",
                  "idfv",
                  "screen_size",
                  "full",
                  "none",
                  "usd",
                  "level",
                  "resonance_cascade",
                  "yes",
                  "9.3",
                  "\xC3\xA9\xF0\x9F\x98\x80",
                  "a/b\"\\\n",
                  "99999999999999999999",
                  "com.marlune.MarluneTracker.deviceId",
                  "watch"};
const Names optionNames{
    "trackerHostname", "versionExtension", "currency",      "limitAdTracking",     "isNewUser",
    "partnerId",       "partnerName",      "enableLogging", "retrieveAttribution", "generateAnonymousMarluneDeviceId",
    "customIdString",  "identityLink",     "unknown"};
const Names flagNames{
    "marlune_app_id",       "marlune_device_id",  "mlinit_wait",     "mltracker_wait",   "iad_attribution_attempts",
    "iad_attribution_wait", "iad_retry_wait",     "send_id_updates", "resend_initial",   "location_accuracy",
    "location_timeout",     "location_staleness", "currency",        "session_tracking", "getattribution_wait"};
const Names storedNames{"MarluneTracker.requestAttribution",
                        "MarluneTracker.userAgent",
                        "MarluneTracker.appId",
                        "MarluneTracker.currency",
                        "MarluneTracker.sessionTracking",
                        "MarluneTracker.attribution",
                        "MarluneTracker.firstInitReceived",
                        "MarluneTracker.sendInitial",
                        "MarluneTracker.deviceLatitude",
                        "MarluneTracker.deviceLongitude",
                        "MarluneTracker.lastUpdateTime",
                        "MarluneTracker.lastPostTime",
                        "MarluneTracker.timeAppBecameActive",
                        "MarluneTracker.idfaBlacklisted",
                        "MarluneTracker.initialIdentityLink",
                        "MarluneTracker.idfa",
                        "MarluneTracker.pairedAppleWatches",
                        "MarluneTracker.mlinitWait",
                        "MarluneTracker.lastMLInitSent",
                        "MarluneTracker.mltrackerWait",
                        "MarluneTracker.lastMLTrackerQueued",
                        "MarluneTracker.iAdAttributionAttempts",
                        "MarluneTracker.iAdAttributionWait",
                        "MarluneTracker.iAdRetryWait",
                        "MarluneTracker.sendIdUpdates",
                        "MarluneTracker.lastLocationTime",
                        "MarluneTracker.origDeviceId",
                        "MarluneTracker.deviceId",
                        "MarluneTracker.watchProperties",
                        "MarluneTracker.blacklistedEventNames",
                        "MarluneTracker.INIT_PAYLOAD",
                        "MarluneTracker.attributionWait",
                        "MarluneTracker.iAdAttribution_INITIAL_PASSTHROUGH",
                        "MarluneTracker.initialPayload",
                        "MarluneTracker.handleWatchEventsDeferred",
                        "MarluneTracker.trackWatchEventDeferred",
                        "marluneTracker.eventsSending",
                        "marluneTracker.batchEventQueue",
                        "marluneTracker.networkQueue",
                        "other"};

}  // namespace

RandomCommands::RandomCommands(std::uint64_t seed)
    : random_(seed), writesTheStore_(oneIn(3)), keeps_(oneIn(2)), spoils_(oneIn(2)) {}

std::string RandomCommands::text() {
  if (oneIn(40)) return std::string(random_() % 5000, 'x');
  return std::string(pick(texts));
}

Value RandomCommands::scalar() {
  static const std::array<Value, 20> odd{Value(), true,   false,     0,         1,         -1,  2,
                                         60,      25,     INT64_MAX, INT64_MIN, INT32_MAX, 0.5, -0.5,
                                         1e300,   -1e300, 1e18,      604801,    90.99,     -0.0};
  return oneIn(2) ? pick(odd) : Value(text());
}

Value RandomCommands::anything(int depth) {
  if (depth == 0 || !oneIn(3)) return scalar();
  const std::size_t count = random_() % 4;
  if (oneIn(2)) {
    Array list;
    for (std::size_t index = 0; index < count; ++index) list = list.appending(anything(depth - 1));
    return list;
  }
  Dictionary dictionary;
  for (std::size_t index = 0; index < count; ++index) dictionary = dictionary.setting(text(), anything(depth - 1));
  return dictionary;
}

Value RandomCommands::options() {
  if (oneIn(12)) return oneIn(2) ? Value() : Value(Dictionary());
  Dictionary options;
  if (!oneIn(10)) options = options.setting("marluneAppId", oneIn(8) ? anything() : Value("demo"));
  for (std::size_t count = random_() % 4; count > 0; --count) {
    const std::string_view name = pick(optionNames);
    options = options.setting(name, oneIn(2) ? Value(true) : anything());
  }
  return options;
}

Value RandomCommands::initReply() {
  Dictionary flags;
  if (oneIn(2)) flags = flags.setting("resend_initial", oneIn(4));
  for (std::size_t count = random_() % 4; count > 0; --count) flags = flags.setting(pick(flagNames), anything(1));
  Dictionary reply = Dictionary().setting("success", oneIn(4) ? anything(1) : Value(1));
  reply = reply.setting("flags", oneIn(20) ? anything() : Value(flags));
  if (oneIn(6)) reply = reply.setting("msg", oneIn(2) ? Value(Array({text(), "resonance_cascade"})) : anything());
  if (oneIn(4)) reply = reply.setting("whitelist", oneIn(2) ? Value(Array({"location"})) : anything());
  if (oneIn(4)) reply = reply.setting("blacklist", oneIn(2) ? Value(Array({text(), text()})) : anything());
  if (oneIn(4)) reply = reply.setting("eventname_blacklist", oneIn(2) ? Value(Array({text()})) : anything());
  if (oneIn(4)) {
    const Value traces = Value{{"service", Array({text(), anything(1)})}};
    reply =
        reply.setting("outside_services", oneIn(3) ? anything() : Value({{"ios_nsud", traces}, {"ios_docs", traces}}));
  }
  return reply;
}

Value RandomCommands::attributionReply() {
  const Value retry = oneIn(3) ? Value(-1) : anything(1);
  return {{"success", oneIn(4) ? anything(1) : Value(1)},
          {"data", oneIn(8) ? anything() : Value({{"retry", retry}, {"attribution", anything()}})}};
}

Value RandomCommands::body() {
  switch (random_() % 4) {
    case 0:
      return attributionReply();
    case 1:
      return oneIn(3) ? anything() : Value(Dictionary());
    default:
      return initReply();
  }
}

Value RandomCommands::argument(char kind) {
  if (spoils_ && oneIn(30)) return anything();
  switch (kind) {
    case 't':
      return oneIn(8) ? Value() : Value(text());
    case 'b':
      return oneIn(2);
    case 'f':
      return static_cast<double>(static_cast<std::int64_t>(random_() % 2000) - 1000) / 8;
    case 'i':
      return random_() % 6;
    case 'd': {
      const Value value = anything();
      return value.isDictionary() ? value : Value({{text(), value}});
    }
    case 'p':
      return oneIn(2) ? Value(Array({anything()})) : Value({{"action", anything(1)}});
    case 'u':
      return oneIn(4) ? Value() : Value({{"$url", text()}});
    case 's': {
      if (oneIn(6)) return {};
      Dictionary parameters = PairList().add("name", text()).add("data", Value({{text(), anything()}})).dictionary();
      if (oneIn(4)) parameters = parameters.setting("raises", text());
      return {{"$standard", parameters}};
    }
    default:
      return oneIn(3) ? Value({{"$url", text()}}) : anything();
  }
}

Dictionary RandomCommands::call() {
  const Signature& signature = signatures[random_() % signatures.size()];
  Array arguments;
  for (const char kind : signature.kinds) arguments = arguments.appending(argument(kind));
  return PairList().add("do", "call").add("method", signature.selector).add("args", arguments).dictionary();
}

Dictionary RandomCommands::store() {
  const std::string key = "com.marlune." + std::string(pick(storedNames));
  if (!writesTheStore_ || oneIn(3)) return PairList().add("do", "store").add("get", Array({key})).dictionary();
  if (oneIn(4)) return PairList().add("do", "store").add("remove", Array({key})).dictionary();
  return Dictionary({{"do", "store"}, {"set", Value(Dictionary({{key, anything()}}))}});
}

Dictionary RandomCommands::answer(const WatchedSimulator& simulator) {
  std::int64_t request = static_cast<std::int64_t>(random_() % static_cast<std::uint64_t>(simulator.requests() + 2));
  if (!simulator.pending().empty() && !oneIn(8)) {
    auto pending = simulator.pending().begin();
    std::advance(pending, random_() % simulator.pending().size());
    request = pending->first;
  }
  if (oneIn(4)) return PairList().add("do", "fail").add("request", request).dictionary();
  return Dictionary({{"do", "reply"}, {"request", request}, {"body", body()}});
}

Value RandomCommands::device() {
  switch (random_() % 8) {
    case 0:
      return {{"system_version", pick(Names{"5.1", "6.0", "7.0.6", "7.1", "8.0", "9.3", "", "x", "1e-50", "nan"})}};
    case 1:
      return {{"reachability", oneIn(3) ? Value() : Value(random_() % 4 * 0x20001)}};
    case 2:
      return {{"languages", oneIn(2) ? Array() : Array({text()})}, {"screen", Value()}};
    case 3:
      return {{"idfa", oneIn(2) ? Value() : Value(text())}, {"idfv", Value()}};
    case 4:
      return {{"bundle", oneIn(3) ? Value(Dictionary()) : Value({{"CFBundleVersion", text()}})}};
    case 5:
      return {{"ad_tracking_enabled", oneIn(2)}, {"location_status", random_() % 5}};
    case 6:
      return {{"receipt", oneIn(2) ? Value() : Value("eHl6")},
              {"pasteboards", Value({{"fb_app_attribution", Value()}})}};
    default:
      return {{"screen", Value({{"width", scalar().realValue()}, {"height", 1e300}, {"brightness", 0.25}})},
              {"orientation", random_() % 5}};
  }
}

Dictionary RandomCommands::command(const WatchedSimulator& simulator) {
  const std::uint64_t choice = random_() % 100;
  if (choice < 35) return call();
  if (choice < 55) return answer(simulator);
  if (choice < 66) {
    static const std::array<double, 10> times{0, 0, 0.5, 1, 1, 7, 10, 60, 61, 200};
    return PairList().add("do", "advance").add("seconds", pick(times)).dictionary();
  }
  if (choice < 76) {
    const auto name = pick(Names{"did-finish-launching", "did-become-active", "did-become-active", "will-resign-active",
                                 "will-terminate"});
    return PairList().add("do", "notify").add("name", name).dictionary();
  }
  if (choice < 81) {
    Dictionary construct({{"do", "construct"}, {"options", options()}});
    if (keeps_ && oneIn(2)) construct = construct.setting("keep", true);
    return construct;
  }
  if (choice < 86) return store();
  if (choice < 89) {
    Dictionary command = Dictionary().setting("do", "device");
    const auto fields = device().dictionary().entries();
    for (const Dictionary::Entry& field : fields) command = command.setting(field.key(), field.value);
    return command;
  }
  if (choice < 92) {
    const Value details = oneIn(2) ? Value() : Value({{"iAdAttribution", anything(1)}, {"appPurchaseDate", text()}});
    return Dictionary({{"do", "search_ad"}, {"details", details}, {"unknown", oneIn(2)}});
  }
  if (choice < 94) {
    return Dictionary({{"do", "location"}, {"fix", Value({{"latitude", 1.5}, {"longitude", -2}, {"accuracy", 10}})}});
  }
  if (choice < 95) return PairList().add("do", "expire").add("task", random_() % 5).dictionary();
  if (choice < 97)
    return PairList().add("do", "delegate").add("kind", pick(Names{"listening", "mute", "none"})).dictionary();
  if (choice < 98) {
    static const std::array<double, 6> times{1700000000, 1700000000.5, 0, -5, 1e300, 1800000000};
    return PairList().add("do", "clock").add("now", pick(times)).dictionary();
  }
  return PairList().add("do", pick(Names{"release", "restart", "state"})).dictionary();
}

/// With a member that is missing, unknown, or of any kind.
Dictionary RandomCommands::spoilt(Dictionary command) {
  std::vector<std::string> names;
  const auto entries = command.entries();
  for (const Dictionary::Entry& entry : entries) names.push_back(entry.key());
  switch (random_() % 3) {
    case 0:
      return command.removing(pick(names));
    case 1:
      return command.setting(text(), anything());
    default: {
      const std::string name = pick(names);
      Value value = anything();
      // The store is left alone by scripts that do not write to it, and a timer that is armed anew each second makes
      // long times long.
      if ((name == "set" && !writesTheStore_) || (name == "seconds" && value.realValue() > 200)) return command;
      return command.setting(name, std::move(value));
    }
  }
}

std::string RandomCommands::next(const WatchedSimulator& simulator) {
  Dictionary made = command(simulator);
  if (spoils_ && oneIn(25)) made = spoilt(made);
  auto text = RapidJSONSerialization().text(made);
  return text ? std::move(*text) : std::string(1, '?');
}

}  // namespace fliprugair::sim
