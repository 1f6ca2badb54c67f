// Sixteen threads report at once, flushes, replies, resignations and activations between, in lives that end by kill -9.

#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "Fliprugair/core/ProcessState.h"
#include "e2e/HostApp.h"
#include "e2e/Victim.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::e2e {
namespace {

/// In which bodies each event has arrived: a body that came twice is a request whose confirmation had not reached the
/// store when the process ended.
class Arrivals {
 public:
  explicit Arrivals(const ControlHost& host) {
    const RapidJSONSerialization json;
    for (const auto& batch : requestsOf(host, "batch")) {
      const std::string body = json.text(batch.body()).value_or("");
      bool hasEvents = false;
      for (const Value& record : batch.body().array()) {
        const Value name = record.dictionary()["data"].dictionary()["event_name"];
        if (!name.isText()) continue;
        ++inBodies_[name.text()][body];
        hasEvents = true;
      }
      // Two sessions of one second are equal without being one.
      if (hasEvents && !bodies_.insert(body).second) ++resent_;
    }
  }

  bool has(const std::string& event) const { return inBodies_.contains(event); }
  /// How many events stand in two bodies, or twice in one.
  int doubled() const {
    int count = 0;
    for (const auto& [event, bodies] : inBodies_) {
      if (bodies.size() > 1) ++count;
    }
    return count;
  }
  std::size_t events() const { return inBodies_.size(); }
  int resent() const { return resent_; }

 private:
  std::set<std::string> bodies_;
  std::map<std::string, std::map<std::string, int>> inBodies_;
  int resent_ = 0;
};

void sendTheRest(const std::filesystem::path& folder, const std::string& hostname) {
  HostApp app(optionsIn(folder), {{"marluneAppId", "demo"}, {"trackerHostname", hostname}});
  app.resign();
  const auto isSent = [&] {
    return app.stored(key::batchEventQueue).array().empty() && app.stored(key::networkQueue).dictionary().empty();
  };
  // What failed is offered again at an activation, which itself records a session.
  for (int round = 0; round < 5 && !isSent(); ++round) {
    app.activate();
    app.resign();
    eventually(isSent);
  }
  EXPECT_TRUE(isSent());
}

void install(const std::filesystem::path& folder, const std::string& hostname) {
  HostApp app(optionsIn(folder), {{"marluneAppId", "demo"}, {"trackerHostname", hostname}});
  EXPECT_TRUE(eventually([&] { return !app.stored(key::sendInitial).boolValue(); }));
  EXPECT_TRUE(eventually([&] { return app.stored(key::networkQueue).dictionary().empty(); }));
}

ControlHostOptions installedOnce() {
  ControlHostOptions options;
  options.settings = [] {
    controlhost::HostSettings settings;
    settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}}}};
    return settings;
  };
  return options;
}

TEST(SixteenThreads, LoseAndDoubleNothingBesideFlushesAndTheApplicationsLife) {
  ControlHost host(installedOnce());
  const TemporaryFolder folder;
  constexpr int events = 250;
  {
    HostApp app(optionsIn(folder.path()), {{"marluneAppId", "demo"}, {"trackerHostname", host.hostname()}});
    ASSERT_TRUE(eventually([&] { return !app.stored(key::sendInitial).boolValue(); }));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 16; ++thread) {
      threads.emplace_back([&, thread] {
        for (int number = 0; number < events; ++number) {
          app.tracker().trackEvent(std::to_string(thread) + "/" + std::to_string(number), "value");
        }
      });
    }
    for (int round = 0; round < 50; ++round) {
      app.resign();
      app.activate();
    }
    for (std::thread& thread : threads) thread.join();
    app.resign();
    app.terminate();
  }
  sendTheRest(folder.path(), host.hostname());
  const Arrivals arrivals(host);
  for (int thread = 0; thread < 16; ++thread) {
    for (int number = 0; number < events; ++number) {
      const std::string event = std::to_string(thread) + "/" + std::to_string(number);
      EXPECT_TRUE(arrivals.has(event)) << event << " is lost";
    }
  }
  EXPECT_EQ(arrivals.doubled(), 0);
  EXPECT_EQ(arrivals.resent(), 0);
}

TEST(SixteenThreads, LoseNothingWhenTheProcessIsKilledAndDoubleWhatWasNotConfirmedAlone) {
  ControlHost host(installedOnce());
  const TemporaryFolder folder;
  // A soak takes more lives.
  const char* given = std::getenv("FLIPRUGAIR_KILLS");
  const int lives = given != nullptr ? std::atoi(given) : 20;
  // While the installation is not reported, nothing is flushed when the application resigns.
  install(folder.path(), host.hostname());
  std::mt19937 random(20261122);
  std::set<std::string> acknowledged;
  for (int life = 0; life < lives; ++life) {
    Victim victim({"threads", (folder.path() / "store.sqlite").string(), host.hostname(), std::to_string(life)});
    victim.listen(std::chrono::microseconds(random() % 60000));
    victim.kill();
    const std::string& said = victim.said();
    std::size_t begin = 0;
    for (std::size_t end = said.find('\n'); end != std::string::npos; end = said.find('\n', begin)) {
      acknowledged.insert(said.substr(begin, end - begin));
      begin = end + 1;
    }
  }
  sendTheRest(folder.path(), host.hostname());
  const Arrivals arrivals(host);
  int lost = 0;
  for (const std::string& event : acknowledged) {
    if (!arrivals.has(event) && ++lost <= 5) ADD_FAILURE() << "event " << event << " is lost";
  }
  EXPECT_EQ(lost, 0);
  EXPECT_EQ(arrivals.doubled(), 0);
  EXPECT_GT(acknowledged.size(), static_cast<std::size_t>(lives));
  std::set<Value, bool (*)(const Value&, const Value&)> identifiers(
      [](const Value& left, const Value& right) { return left.text() < right.text(); });
  for (const auto& init : requestsOf(host, "init")) identifiers.insert(init.body().dictionary()["marlune_device_id"]);
  EXPECT_EQ(identifiers.size(), 1U);
  RecordProperty("events", static_cast<int>(acknowledged.size()));
  std::cout << "soak: " << lives << " kills, " << acknowledged.size() << " events acknowledged, " << lost << " lost, "
            << arrivals.doubled() << " doubled, " << arrivals.resent() << " requests sent again\n";
}

}  // namespace
}  // namespace fliprugair::e2e
