#include "bindings/c/Options.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fliprugair {

namespace {

[[noreturn]] void refuse(const std::string& key, std::string_view why) {
  throw std::invalid_argument("option \"" + key + "\" " + std::string(why));
}

std::string textOf(const std::string& key, const Value& value) {
  if (!value.isText()) refuse(key, "is a text");
  return value.text();
}

double numberOf(const std::string& key, const Value& value) {
  if (!value.isNumber()) refuse(key, "is a number");
  return value.realValue();
}

bool truthOf(const std::string& key, const Value& value) {
  if (value.kind() != Value::Kind::boolean) refuse(key, "is true or false");
  return value.boolValue();
}

Dictionary objectOf(const std::string& key, const Value& value) {
  if (!value.isDictionary()) refuse(key, "is an object");
  return value.dictionary();
}

/// A whole number that the type can hold, from `least` on.
template <class Integer>
Integer wholeOf(const std::string& key, const Value& value, Integer least = std::numeric_limits<Integer>::min(),
                Integer most = std::numeric_limits<Integer>::max()) {
  if (value.kind() != Value::Kind::integer || !std::in_range<Integer>(value.integerValue()) ||
      std::cmp_less(value.integerValue(), least) || std::cmp_greater(value.integerValue(), most)) {
    const bool isOpen = most == std::numeric_limits<Integer>::max();
    refuse(key, "is a whole number from " + std::to_string(least) + (isOpen ? " on" : " to " + std::to_string(most)));
  }
  return static_cast<Integer>(value.integerValue());
}

std::chrono::milliseconds secondsOf(const std::string& key, const Value& value) {
  const double seconds = numberOf(key, value);
  if (!(seconds >= 0 && seconds <= 3600)) refuse(key, "is from 0 to 3600 seconds");
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

/// What the text stands for, one of two words.
template <class Choice>
Choice choiceOf(const std::string& key, const Value& value, const std::pair<std::string, Choice>& first,
                const std::pair<std::string, Choice>& second) {
  const std::string word = textOf(key, value);
  if (word == first.first) return first.second;
  if (word != second.first) refuse(key, "is \"" + first.first + "\" or \"" + second.first + '"');
  return second.second;
}

/// A key, and how its value goes into what is filled in.
template <class Target>
struct Entry {
  std::string_view key;
  void (*take)(Target& target, const std::string& key, const Value& value);
};

template <class Target, std::size_t count>
Target filled(Target target, const Dictionary& dictionary, const std::array<Entry<Target>, count>& table) {
  for (const auto& given : dictionary.entries()) {
    const Entry<Target>* found = nullptr;
    std::string keys;
    for (const Entry<Target>& entry : table) {
      if (entry.key == given.key()) found = &entry;
      keys += (keys.empty() ? "" : ", ") + std::string(entry.key);
    }
    if (found == nullptr) refuse(given.key(), "is not known; there are " + keys);
    found->take(target, given.key(), given.value);
  }
  return target;
}

/// Takes a text into a member, of whatever type a text converts to.
template <auto member, class Target>
void text(Target& target, const std::string& key, const Value& value) {
  target.*member = textOf(key, value);
}

template <auto member, class Target>
void number(Target& target, const std::string& key, const Value& value) {
  target.*member = numberOf(key, value);
}

template <auto member, class Target>
void truth(Target& target, const std::string& key, const Value& value) {
  target.*member = truthOf(key, value);
}

/// Takes a value into a member of the network's options.
template <auto member, auto take>
void network(LinuxOptions& options, const std::string& key, const Value& value) {
  options.network.*member = take(key, value);
}

constexpr std::array screenTable{
    Entry<Screen>{"width", &number<&Screen::width>},
    Entry<Screen>{"height", &number<&Screen::height>},
    Entry<Screen>{"brightness", &number<&Screen::brightness>},
};

void preferredLanguages(HostFacts& facts, const std::string& key, const Value& value) {
  if (!value.isArray()) refuse(key, "is a list of texts");
  facts.preferredLanguages.emplace();
  for (const Value& language : value.array()) facts.preferredLanguages->push_back(textOf(key, language));
}

void screen(HostFacts& facts, const std::string& key, const Value& value) {
  facts.screen = filled(Screen(), objectOf(key, value), screenTable);
}

void pasteboards(HostFacts& facts, const std::string& key, const Value& value) {
  const Dictionary boards = objectOf(key, value);
  for (const auto& board : boards.entries()) {
    auto& content = facts.pasteboards[board.key()];
    if (!board.value.isNull()) content = textOf(board.key(), board.value);
  }
}

void statusBarOrientation(HostFacts& facts, const std::string& key, const Value& value) {
  facts.statusBarOrientation = wholeOf<int>(key, value, 0, 4);
}

void locationAuthorizationStatus(HostFacts& facts, const std::string& key, const Value& value) {
  facts.locationAuthorizationStatus = wholeOf<int>(key, value, 0, 4);
}

void reachabilityFlags(HostFacts& facts, const std::string& key, const Value& value) {
  facts.reachabilityFlags = wholeOf<std::uint32_t>(key, value);
}

constexpr std::array factTable{
    Entry<HostFacts>{"systemName", &text<&HostFacts::systemName>},
    Entry<HostFacts>{"systemVersion", &text<&HostFacts::systemVersion>},
    Entry<HostFacts>{"hardware", &text<&HostFacts::hardware>},
    Entry<HostFacts>{"foundationVersionNumber", &number<&HostFacts::foundationVersionNumber>},
    Entry<HostFacts>{"vendorIdentifier", &text<&HostFacts::vendorIdentifier>},
    Entry<HostFacts>{"advertisingIdentifier", &text<&HostFacts::advertisingIdentifier>},
    Entry<HostFacts>{"advertisingTrackingEnabled", &truth<&HostFacts::advertisingTrackingEnabled>},
    Entry<HostFacts>{"preferredLanguages", &preferredLanguages},
    Entry<HostFacts>{"screen", &screen},
    Entry<HostFacts>{"statusBarOrientation", &statusBarOrientation},
    Entry<HostFacts>{"reachabilityFlags", &reachabilityFlags},
    Entry<HostFacts>{"locationServicesEnabled", &truth<&HostFacts::locationServicesEnabled>},
    Entry<HostFacts>{"locationAuthorizationStatus", &locationAuthorizationStatus},
    Entry<HostFacts>{"userAgent", &text<&HostFacts::userAgent>},
    Entry<HostFacts>{"pasteboards", &pasteboards},
};

void mainThread(LinuxOptions& options, const std::string& key, const Value& value) {
  options.mainThread = choiceOf<MainThread>(key, value, {"own", MainThread::own}, {"host", MainThread::host});
}

void backgroundTaskTime(LinuxOptions& options, const std::string& key, const Value& value) {
  options.backgroundTaskTime = secondsOf(key, value);
}

void facts(LinuxOptions& options, const std::string& key, const Value& value) {
  options.facts = factsOf(objectOf(key, value));
}

void durability(LinuxOptions& options, const std::string& key, const Value& value) {
  options.store.durability = choiceOf<StoreDurability>(key, value, {"process", StoreDurability::process},
                                                       {"powerCut", StoreDurability::powerCut});
}

void unreadableStore(LinuxOptions& options, const std::string& key, const Value& value) {
  options.store.unreadable = choiceOf<UnreadableStore>(key, value, {"isRefused", UnreadableStore::isRefused},
                                                       {"isJoined", UnreadableStore::isJoined});
}

void mostWaitingRequests(LinuxOptions& options, const std::string& key, const Value& value) {
  options.mostWaitingRequests = wholeOf<std::size_t>(key, value, 1);
}

LoopbackScheme loopbackScheme(const std::string& key, const Value& value) {
  return choiceOf<LoopbackScheme>(key, value, {"http", LoopbackScheme::http}, {"https", LoopbackScheme::https});
}

std::size_t requestsAtATime(const std::string& key, const Value& value) {
  return wholeOf<std::size_t>(key, value, 1, 8);
}

constexpr std::array optionTable{
    Entry<LinuxOptions>{"bundleIdentifier", &text<&LinuxOptions::bundleIdentifier>},
    Entry<LinuxOptions>{"shortVersion", &text<&LinuxOptions::shortVersion>},
    Entry<LinuxOptions>{"version", &text<&LinuxOptions::version>},
    Entry<LinuxOptions>{"receiptPath", &text<&LinuxOptions::receiptPath>},
    Entry<LinuxOptions>{"mainThread", &mainThread},
    Entry<LinuxOptions>{"backgroundTaskTime", &backgroundTaskTime},
    Entry<LinuxOptions>{"advises", &truth<&LinuxOptions::advises>},
    Entry<LinuxOptions>{"facts", &facts},
    Entry<LinuxOptions>{"storePath", &text<&LinuxOptions::storePath>},
    Entry<LinuxOptions>{"durability", &durability},
    Entry<LinuxOptions>{"unreadableStore", &unreadableStore},
    Entry<LinuxOptions>{"mostWaitingRequests", &mostWaitingRequests},
    Entry<LinuxOptions>{"documentsFolder", &text<&LinuxOptions::documentsFolder>},
    Entry<LinuxOptions>{"caFile", &network<&CurlNetworkOptions::caFile, &textOf>},
    Entry<LinuxOptions>{"proxy", &network<&CurlNetworkOptions::proxy, &textOf>},
    Entry<LinuxOptions>{"loopbackScheme", &network<&CurlNetworkOptions::loopbackScheme, &loopbackScheme>},
    Entry<LinuxOptions>{"connectTimeout", &network<&CurlNetworkOptions::connectTimeout, &secondsOf>},
    Entry<LinuxOptions>{"requestTimeout", &network<&CurlNetworkOptions::timeout, &secondsOf>},
    Entry<LinuxOptions>{"requestsAtATime", &network<&CurlNetworkOptions::requestsAtATime, &requestsAtATime>},
    Entry<LinuxOptions>{"allowControlHostFromEnvironment", &truth<&LinuxOptions::allowControlHostFromEnvironment>},
    Entry<LinuxOptions>{"gpsdHost", &text<&LinuxOptions::gpsdHost>},
    Entry<LinuxOptions>{"gpsdPort", &text<&LinuxOptions::gpsdPort>},
};

}  // namespace

LinuxOptions optionsOf(const Dictionary& dictionary) { return filled(LinuxOptions(), dictionary, optionTable); }

HostFacts factsOf(const Dictionary& dictionary) { return filled(HostFacts(), dictionary, factTable); }

}  // namespace fliprugair
