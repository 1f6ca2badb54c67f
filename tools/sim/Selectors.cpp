#include "tools/sim/Selectors.h"

#include <algorithm>
#include <array>

#include "tools/sim/Arguments.h"
#include "tools/sim/Nearest.h"
#include "tools/sim/Simulator.h"
#include "tools/sim/TrackerInternals.h"

namespace fliprugair::sim {

namespace {

/// Reads its arguments and answers with what is to be done with the tracker, so that a call is checked even while there
/// is none.
using Work = std::function<Value(MarluneTracker&)>;
using Bind = Work (*)(Simulator&, const Arguments&);
using Make = std::function<std::shared_ptr<MarluneTracker>()>;
using BindConstructor = Make (*)(Environment&, const Arguments&);

struct Selector {
  std::string_view name;
  std::size_t arguments;
  Bind bind;
};

struct Constructor {
  std::string_view name;
  std::size_t arguments;
  BindConstructor bind;
};

using S = Simulator;
using A = Arguments;
using T = MarluneTracker;

/// Work without a result.
template <class Action>
Work doing(Action action) {
  return [action = std::move(action)](T& tracker) {
    action(tracker);
    return Value();
  };
}

constexpr std::array constructors{
    Constructor{"initMarluneWithParams:", 1,
                [](Environment& e, const A& a) -> Make {
                  return [&e, options = a.dictionary(0)] { return T::initMarluneWithParams(e, options); };
                }},
    Constructor{"initWithMarluneAppId:", 1,
                [](Environment& e, const A& a) -> Make {
                  return [&e, id = a.text(0)] { return T::initWithMarluneAppId(e, id); };
                }},
    Constructor{"initWithMarluneAppId::", 2,
                [](Environment& e, const A& a) -> Make {
                  return [&e, id = a.text(0), code = a.text(1)] { return T::initWithMarluneAppId(e, id, code); };
                }},
    Constructor{"initWithMarluneAppId:::", 3,
                [](Environment& e, const A& a) -> Make {
                  return [&e, id = a.text(0), code = a.text(1), logging = a.boolean(2)] {
                    return T::initWithMarluneAppId(e, id, code, logging);
                  };
                }},
    Constructor{"initWithMarluneAppId::::", 4,
                [](Environment& e, const A& a) -> Make {
                  return [&e, id = a.text(0), code = a.text(1), logging = a.boolean(2), limit = a.boolean(3)] {
                    return T::initWithMarluneAppId(e, id, code, logging, limit);
                  };
                }},
    Constructor{"initWithMarluneAppId:::::", 5,
                [](Environment& e, const A& a) -> Make {
                  return [&e, id = a.text(0), code = a.text(1), logging = a.boolean(2), limit = a.boolean(3),
                          isNew = a.boolean(4)] { return T::initWithMarluneAppId(e, id, code, logging, limit, isNew); };
                }},
    Constructor{"swiftInitMarluneWithParams:", 1,
                [](Environment& e, const A& a) -> Make {
                  return [&e, options = a.any(0)] { return T::swiftInitMarluneWithParams(e, options); };
                }},
};

constexpr std::array publicCalls{
    Selector{"enableConsoleLogging:", 1,
             [](S&, const A& a) { return doing([on = a.boolean(0)](T& t) { t.enableConsoleLogging(on); }); }},
    Selector{"trackEvent::", 2,
             [](S&, const A& a) {
               return doing([title = a.text(0), value = a.text(1)](T& t) { t.trackEvent(title, value); });
             }},
    Selector{"trackEvent:withValue:andReceipt:", 3,
             [](S&, const A& a) {
               return doing([title = a.text(0), value = a.text(1), receipt = a.text(2)](T& t) {
                 t.trackEvent(title, value, receipt);
               });
             }},
    Selector{"trackEventWithEventTitleString:eventValueString:standardBool:", 3,
             [](S&, const A& a) {
               return doing([title = a.text(0), value = a.text(1), standard = a.boolean(2)](T& t) {
                 t.trackEventWithEventTitleString(title, value, standard);
               });
             }},
    Selector{"trackEventWithEventStandardParameters:", 1,
             [](S&, const A& a) {
               return doing([parameters = std::shared_ptr(a.standard(0))](T& t) {
                 t.trackEventWithEventStandardParameters(parameters.get());
               });
             }},
    Selector{"identityLinkEvent:", 1,
             [](S&, const A& a) { return doing([link = a.dictionary(0)](T& t) { t.identityLinkEvent(link); }); }},
    Selector{"spatialEvent::::", 4,
             [](S&, const A& a) {
               return doing([title = a.text(0), x = a.real(1), y = a.real(2), z = a.real(3)](T& t) {
                 t.spatialEvent(title, x, y, z);
               });
             }},
    Selector{"sendDeepLink::", 2,
             [](S&, const A& a) {
               return doing([url = a.url(0), source = a.text(1)](T& t) { t.sendDeepLink(url, source); });
             }},
    Selector{"setLimitAdTracking:", 1,
             [](S&, const A& a) { return doing([limit = a.boolean(0)](T& t) { t.setLimitAdTracking(limit); }); }},
    Selector{"retrieveAttribution", 0, [](S&, const A&) { return Work([](T& t) { return t.retrieveAttribution(); }); }},
    Selector{"handleWatchEvents", 0, [](S&, const A&) { return doing([](T& t) { t.handleWatchEvents(); }); }},
    Selector{"handleWatchEvents:", 1,
             [](S&, const A& a) { return doing([link = a.text(0)](T& t) { t.handleWatchEvents(link); }); }},
    Selector{"handleWatchEvents::", 2,
             [](S&, const A& a) {
               return doing([link = a.text(0), passive = a.boolean(1)](T& t) { t.handleWatchEvents(link, passive); });
             }},
    Selector{"trackWatchEvent::", 2,
             [](S&, const A& a) {
               return doing([title = a.text(0), value = a.text(1)](T& t) { t.trackWatchEvent(title, value); });
             }},
};

constexpr std::array properties{
    Selector{"trackerDelegate", 0, [](S& s, const A&) { return Work([&s](T&) { return s.trackerDelegateKind(); }); }},
    Selector{"setTrackerDelegate:", 1,
             [](S& s, const A& a) {
               const std::string kind = a.text(0).isNull() ? "none" : a.text(0).string();
               if (kind != "listening" && kind != "mute" && kind != "none") a.fail(0, "listening, mute, none or null");
               return doing([&s, kind](T&) { s.setTrackerDelegate(kind); });
             }},
    Selector{"customIdString", 0, [](S&, const A&) { return Work([](T& t) { return t.customIdString(); }); }},
    Selector{"setCustomIdString:", 1,
             [](S&, const A& a) { return doing([id = a.text(0)](T& t) { t.setCustomIdString(id); }); }},
    Selector{"iAdAttributionManager", 0,
             [](S&, const A&) {
               return Work([](T& t) { return t.iAdAttributionManager() != nullptr ? Value(true) : Value(); });
             }},
    Selector{"setIAdAttributionManager:", 1,
             [](S& s, const A& a) {
               const bool isTrue = a.trueOrNull(0, "true for a new search-ad object, or null");
               return doing([&s, isTrue](T& t) {
                 t.setIAdAttributionManager(isTrue ? s.process().makeSearchAdOfTheHostApp() : nullptr);
               });
             }},
};

constexpr std::array adapters{
    Selector{"swiftEnableConsoleLogging:", 1,
             [](S&, const A& a) { return doing([on = a.anyBoolean(0)](T& t) { t.swiftEnableConsoleLogging(on); }); }},
    Selector{"swiftTrackEvent::", 2,
             [](S&, const A& a) {
               return doing([title = a.any(0), value = a.any(1)](T& t) { t.swiftTrackEvent(title, value); });
             }},
    Selector{"swiftIdentityLinkEvent:", 1,
             [](S&, const A& a) { return doing([link = a.any(0)](T& t) { t.swiftIdentityLinkEvent(link); }); }},
    Selector{"swiftSpatialEvent::::", 4,
             [](S&, const A& a) {
               return doing([title = a.any(0), x = a.anyReal(1), y = a.anyReal(2), z = a.anyReal(3)](T& t) {
                 t.swiftSpatialEvent(title, x, y, z);
               });
             }},
    Selector{
        "swiftSetLimitAdTracking:", 1,
        [](S&, const A& a) { return doing([limit = a.anyBoolean(0)](T& t) { t.swiftSetLimitAdTracking(limit); }); }},
    Selector{"swiftSendDeepLink::", 2,
             [](S&, const A& a) {
               return doing([url = a.any(0), source = a.any(1)](T& t) { t.swiftSendDeepLink(url, source); });
             }},
    Selector{"swiftRetrieveAttribution", 0,
             [](S&, const A&) { return Work([](T& t) { return Value(t.swiftRetrieveAttribution()); }); }},
};

constexpr std::array innerCalls{
    Selector{"getMarluneDeviceId", 0,
             [](S&, const A&) { return Work([](T& t) { return internalsOf(t).identity.getMarluneDeviceId(); }); }},
    Selector{"createDeviceId", 0,
             [](S&, const A&) { return Work([](T& t) { return internalsOf(t).identity.createDeviceId(); }); }},
    Selector{"enqueueMarluneEvent:", 1,
             [](S&, const A& a) {
               return Work([payload = a.payload(0)](T& t) {
                 return Value(internalsOf(t).requests.enqueueMarluneEvent(payload));
               });
             }},
    Selector{"isEventSending:", 1,
             [](S&, const A& a) {
               return Work([timestamp = a.text(0)](T& t) {
                 return Value(!timestamp.isNull() && internalsOf(t).requests.isEventSending(timestamp.string()));
               });
             }},
    Selector{"sendQueueEvents", 0,
             [](S&, const A&) { return doing([](T& t) { internalsOf(t).lifecycle.sendQueueEvents(); }); }},
    Selector{"appendBatchEvent:", 1,
             [](S&, const A& a) {
               return doing([record = a.dictionary(0)](T& t) { internalsOf(t).batch.appendBatchEvent(record); });
             }},
    Selector{"flushBatchQueue:", 1,
             [](S&, const A& a) {
               return doing([resigns = a.boolean(0)](T& t) { internalsOf(t).batch.flushBatchQueue(resigns); });
             }},
    Selector{"currentLocalTime", 0,
             [](S&, const A&) { return Work([](T& t) { return Value(internalsOf(t).clock.currentLocalTime()); }); }},
    Selector{"returnUptime", 0,
             [](S&, const A&) { return Work([](T& t) { return Value(internalsOf(t).clock.returnUptime()); }); }},
    Selector{
        "returnAndSetUptimeDelta", 0,
        [](S&, const A&) { return Work([](T& t) { return Value(internalsOf(t).clock.returnAndSetUptimeDelta()); }); }},
    Selector{"networkConnectedBool", 0,
             [](S&, const A&) {
               return Work([](T& t) { return Value(internalsOf(t).connectivity.networkConnectedBool()); });
             }},
    Selector{"cellularConnectedBool", 0,
             [](S&, const A&) {
               return Work([](T& t) { return Value(internalsOf(t).connectivity.cellularConnectedBool()); });
             }},
    Selector{
        "wiFiConnectedBool", 0,
        [](S&, const A&) { return Work([](T& t) { return Value(internalsOf(t).connectivity.wiFiConnectedBool()); }); }},
    Selector{"locationServicesApproved", 0,
             [](S&, const A&) {
               return Work([](T& t) { return Value(internalsOf(t).location.locationServicesApproved()); });
             }},
    Selector{"checkReportLocation", 0,
             [](S&, const A&) { return doing([](T& t) { internalsOf(t).location.checkReportLocation(); }); }},
    Selector{"checkWatchPropertiesChanged", 0,
             [](S&, const A&) { return doing([](T& t) { internalsOf(t).properties.checkWatchPropertiesChanged(); }); }},
    Selector{"isOSGenuine", 0,
             [](S&, const A&) { return Work([](T& t) { return Value(internalsOf(t).facts.isOSGenuine()); }); }},
    Selector{"getFullFilename:", 1,
             [](S&, const A& a) {
               return Work(
                   [name = a.text(0)](T& t) { return Value(internalsOf(t).services.getFullFilename(name.string())); });
             }},
    Selector{"UIInterfaceOrientationIsLandscape", 1,
             [](S&, const A& a) {
               return Work([orientation = a.code(0)](T&) {
                 return Value(InstallData::UIInterfaceOrientationIsLandscape(orientation));
               });
             }},
};

void checkCount(const Arguments& arguments, std::string_view selector, std::size_t wanted) {
  if (arguments.size() == wanted) return;
  throw CommandError(std::string(selector) + " wants " + std::to_string(wanted) + " arguments, found " +
                     std::to_string(arguments.size()));
}

template <class Table>
auto find(const Table& table, std::string_view name) {
  const auto found = std::ranges::find_if(table, [&](const auto& one) { return one.name == name; });
  return found == table.end() ? nullptr : &*found;
}

std::vector<std::string_view> selectorNames() {
  std::vector<std::string_view> names;
  const auto add = [&](const auto& table) {
    for (const auto& one : table) names.push_back(one.name);
  };
  add(constructors);
  add(publicCalls);
  add(properties);
  add(adapters);
  add(innerCalls);
  return names;
}

const Selector* selectorNamed(std::string_view name) {
  if (const Selector* found = find(publicCalls, name)) return found;
  if (const Selector* found = find(properties, name)) return found;
  if (const Selector* found = find(adapters, name)) return found;
  return find(innerCalls, name);
}

}  // namespace

std::optional<Value> callSelector(Simulator& simulator, std::string_view name, const Array& values) {
  const Arguments arguments(name, values);
  if (const Constructor* constructor = find(constructors, name)) {
    checkCount(arguments, name, constructor->arguments);
    simulator.construct(false, constructor->bind(simulator.environment(), arguments));
    return std::nullopt;
  }
  const Selector* selector = selectorNamed(name);
  if (selector == nullptr) {
    throw CommandError("the tracker has no selector " + shown(name) + suggestion(name, selectorNames()) +
                       "; selectors are written whole, as in \"trackEvent::\"");
  }
  checkCount(arguments, name, selector->arguments);
  const Work work = selector->bind(simulator, arguments);
  return simulator.tracker() != nullptr ? work(*simulator.tracker()) : Value();
}

}  // namespace fliprugair::sim
