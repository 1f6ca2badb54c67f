#include "bindings/c/Options.h"

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

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

using Taker = void (*)(LinuxOptions& options, const std::string& key, const Value& value);

struct Option {
  std::string_view key;
  Taker take;
};

/// Takes a text into a member of the options, of whatever type a text converts to.
template <auto member>
void text(LinuxOptions& options, const std::string& key, const Value& value) {
  options.*member = textOf(key, value);
}

template <auto member>
void networkText(LinuxOptions& options, const std::string& key, const Value& value) {
  options.network.*member = textOf(key, value);
}

template <auto member>
void fact(LinuxOptions& options, const std::string& key, const Value& value) {
  auto& target = options.facts.*member;
  using Type = std::remove_reference_t<decltype(target)>;
  if constexpr (std::is_same_v<Type, bool>) {
    target = truthOf(key, value);
  } else if constexpr (std::is_same_v<Type, int>) {
    target = static_cast<int>(numberOf(key, value));
  } else {
    target = textOf(key, value);
  }
}

void backgroundTaskTime(LinuxOptions& options, const std::string& key, const Value& value) {
  const double seconds = numberOf(key, value);
  if (!(seconds >= 0 && seconds <= 3600)) refuse(key, "is from 0 to 3600 seconds");
  options.backgroundTaskTime = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

void mostWaitingRequests(LinuxOptions& options, const std::string& key, const Value& value) {
  if (value.kind() != Value::Kind::integer || value.integerValue() < 1) refuse(key, "is a whole number from 1 on");
  options.mostWaitingRequests = static_cast<std::size_t>(value.integerValue());
}

void advises(LinuxOptions& options, const std::string& key, const Value& value) {
  options.advises = truthOf(key, value);
}

void mainThread(LinuxOptions& options, const std::string& key, const Value& value) {
  const std::string thread = textOf(key, value);
  if (thread != "own" && thread != "host") refuse(key, "is \"own\" or \"host\"");
  options.mainThread = thread == "own" ? MainThread::own : MainThread::host;
}

constexpr std::array factTable{
    Option{"systemName", &fact<&HostFacts::systemName>},
    Option{"systemVersion", &fact<&HostFacts::systemVersion>},
    Option{"hardware", &fact<&HostFacts::hardware>},
    Option{"vendorIdentifier", &fact<&HostFacts::vendorIdentifier>},
    Option{"advertisingIdentifier", &fact<&HostFacts::advertisingIdentifier>},
    Option{"userAgent", &fact<&HostFacts::userAgent>},
    Option{"advertisingTrackingEnabled", &fact<&HostFacts::advertisingTrackingEnabled>},
    Option{"locationServicesEnabled", &fact<&HostFacts::locationServicesEnabled>},
    Option{"locationAuthorizationStatus", &fact<&HostFacts::locationAuthorizationStatus>},
    Option{"statusBarOrientation", &fact<&HostFacts::statusBarOrientation>},
};

template <class Table>
std::string keysOf(const Table& table) {
  std::string keys;
  for (const Option& option : table) keys += (keys.empty() ? "" : ", ") + std::string(option.key);
  return keys;
}

template <class Table>
void takeAll(LinuxOptions& options, const Dictionary& dictionary, const Table& table) {
  for (const auto& entry : dictionary.entries()) {
    const Option* found = nullptr;
    for (const Option& option : table) {
      if (option.key == entry.key()) found = &option;
    }
    if (found == nullptr) refuse(entry.key(), "is not known; there are " + keysOf(table));
    found->take(options, entry.key(), entry.value);
  }
}

void facts(LinuxOptions& options, const std::string& key, const Value& value) {
  if (!value.isDictionary()) refuse(key, "is an object");
  takeAll(options, value.dictionary(), factTable);
}

constexpr std::array optionTable{
    Option{"bundleIdentifier", &text<&LinuxOptions::bundleIdentifier>},
    Option{"shortVersion", &text<&LinuxOptions::shortVersion>},
    Option{"version", &text<&LinuxOptions::version>},
    Option{"receiptPath", &text<&LinuxOptions::receiptPath>},
    Option{"storePath", &text<&LinuxOptions::storePath>},
    Option{"documentsFolder", &text<&LinuxOptions::documentsFolder>},
    Option{"caFile", &networkText<&CurlNetworkOptions::caFile>},
    Option{"proxy", &networkText<&CurlNetworkOptions::proxy>},
    Option{"gpsdHost", &text<&LinuxOptions::gpsdHost>},
    Option{"gpsdPort", &text<&LinuxOptions::gpsdPort>},
    Option{"backgroundTaskTime", &backgroundTaskTime},
    Option{"advises", &advises},
    Option{"mainThread", &mainThread},
    Option{"mostWaitingRequests", &mostWaitingRequests},
    Option{"facts", &facts},
};

}  // namespace

LinuxOptions optionsOf(const Dictionary& dictionary) {
  LinuxOptions options;
  takeAll(options, dictionary, optionTable);
  return options;
}

}  // namespace fliprugair
