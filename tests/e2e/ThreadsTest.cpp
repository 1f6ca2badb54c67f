// Sixteen threads report at once, flushes, replies, resignations and activations between, in lives that end by kill -9.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <vector>

#include "Fliprugair/core/ProcessState.h"
#include "e2e/HostApp.h"
#include "e2e/Hosts.h"
#include "e2e/Victim.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::e2e {
namespace {

/// In which requests each event has arrived: a request that came twice is one whose confirmation had not reached the
/// store.
class Arrivals {
 public:
  /// Any thread.
  void add(const controlhost::ReceivedRequest& request) {
    const std::string body = RapidJSONSerialization().textOfAny(request.body());
    const std::lock_guard lock(mutex_);
    if (request.action == "init") identifiers_.insert(request.body().dictionary()["marlune_device_id"].text());
    if (request.action != "batch") return;
    std::vector<std::string> events;
    for (const Value& record : request.body().array()) {
      const Value name = record.dictionary()["data"].dictionary()["event_name"];
      if (name.isText()) events.push_back(name.text());
    }
    if (events.empty()) return;  // two sessions of one second are equal without being one
    if (!bodies_.insert(body).second) {
      ++resent_;
    } else {
      for (const std::string& event : events) ++requestsOf_[event];
    }
  }

  bool has(const std::string& event) const { return requestsOf_.contains(event); }
  /// How many events stand in two requests, or twice in one.
  std::ptrdiff_t doubled() const {
    return std::ranges::count_if(requestsOf_, [](const auto& each) { return each.second > 1; });
  }
  int resent() const { return resent_; }
  std::size_t identifiers() const { return identifiers_.size(); }

 private:
  std::mutex mutex_;
  std::set<std::string> bodies_;
  std::map<std::string, int> requestsOf_;
  std::set<std::string> identifiers_;  ///< of the device
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

class SixteenThreads : public testing::TestWithParam<HostKind> {
 protected:
  SixteenThreads() { install(folder_.path(), host_.hostname()); }

  ControlHostOptions options() {
    ControlHostOptions options;
    options.settings = [this] {
      controlhost::HostSettings settings = settingsOf(isWell_ ? HostKind::plain : GetParam());
      settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}}}};
      return settings;
    };
    options.arrived = [this](const controlhost::ReceivedRequest& request) { arrivals_.add(request); };
    return options;
  }

  /// Whatever the host was like, in the end it answers; then all has arrived.
  void recover() {
    isWell_ = true;
    sendTheRest(folder_.path(), host_.hostname());
    host_.stop();
  }

  const TemporaryFolder folder_;
  std::atomic<bool> isWell_ = false;
  Arrivals arrivals_;
  CheckedHost host_{options(), withUnfinishedRequests(findingsOfThreads)};
};

/// Reports "0", "1", ... to a host that answers at once; a soak reports more.
class OneThread : public testing::Test {
 protected:
  OneThread() { install(folder_.path(), host_.hostname()); }

  static int many(int usual) {
    const char* given = std::getenv("FLIPRUGAIR_EVENTS");
    return given != nullptr ? std::atoi(given) : usual;
  }

  void report(int count, const std::function<void(HostApp&)>& before, const std::function<void(HostApp&)>& after) {
    {
      HostApp app(optionsIn(folder_.path()), {{"marluneAppId", "demo"}, {"trackerHostname", host_.hostname()}});
      for (int number = 0; number < count; ++number) {
        before(app);
        app.tracker().trackEvent(std::to_string(number), "value");
        after(app);
      }
      app.resign();
      app.terminate();
    }
    sendTheRest(folder_.path(), host_.hostname());
    host_.stop();
    int lost = 0;
    for (int number = 0; number < count; ++number) lost += arrivals_.has(std::to_string(number)) ? 0 : 1;
    std::printf("soak: %d events of one thread, %d lost, %td in two requests, %d requests repeated\n", count, lost,
                arrivals_.doubled(), arrivals_.resent());
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(arrivals_.doubled(), 0);
    EXPECT_EQ(arrivals_.resent(), 0);
  }

  const TemporaryFolder folder_;
  Arrivals arrivals_;
  CheckedHost host_{{.arrived = [this](const controlhost::ReceivedRequest& request) { arrivals_.add(request); }},
                    findingsOfThreads};
};

TEST_F(OneThread, HasEachEventArriveOnceWhileBatchesLeave) {
  const auto nothing = [](HostApp&) {};
  report(many(500), nothing, nothing);
}

TEST_F(OneThread, HasEachEventArriveOnceThatFollowsAResignation) {
  std::mt19937 random(20261122);
  const auto resign = [&](HostApp& app) {
    app.resign();
    const auto begin = std::chrono::steady_clock::now();
    const auto pause = std::chrono::microseconds(random() % 1000);  // the flush is at any of its steps
    while (std::chrono::steady_clock::now() - begin < pause) continue;
  };
  report(many(60), resign, [](HostApp& app) { app.activate(); });
}

TEST_P(SixteenThreads, LoseAndDoubleNothingBesideFlushesAndTheApplicationsLife) {
  constexpr int events = 100;
  const bool confirms = GetParam() != HostKind::failing;
  {
    HostApp app(optionsIn(folder_.path()), {{"marluneAppId", "demo"}, {"trackerHostname", host_.hostname()}});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 16; ++thread) {
      threads.emplace_back([&, thread] {
        for (int number = 0; number < events; ++number) {
          app.tracker().trackEvent(std::to_string(thread) + "/" + std::to_string(number), "value");
        }
      });
    }
    for (int round = 0; round < 20; ++round) {
      app.resign();
      app.activate();
    }
    for (std::thread& thread : threads) thread.join();
    app.resign();
    // Under a sanitizer on a busy machine more is on its way than the five seconds of terminate() are enough for.
    if (confirms) app.environment().waitUntilSent(std::chrono::minutes(1));
    app.terminate();
  }
  recover();
  for (int thread = 0; thread < 16; ++thread) {
    for (int number = 0; number < events; ++number) {
      const std::string event = std::to_string(thread) + "/" + std::to_string(number);
      EXPECT_TRUE(arrivals_.has(event)) << event << " is lost";
    }
  }
  EXPECT_EQ(arrivals_.doubled(), 0);
  EXPECT_TRUE(!confirms || arrivals_.resent() == 0) << arrivals_.resent();
}

TEST_P(SixteenThreads, LoseNothingWhenTheProcessIsKilledAndDoubleWhatWasNotConfirmedAlone) {
  // A soak takes more lives.
  const char* given = std::getenv("FLIPRUGAIR_KILLS");
  const int lives = given != nullptr ? std::atoi(given) : 6;
  std::mt19937 random(20261122);
  std::set<std::string> acknowledged;
  std::uintmax_t longest = 0;
  for (int life = 0; life < lives; ++life) {
    Victim victim({"threads", (folder_.path() / "store.sqlite").string(), host_.hostname(), std::to_string(life)});
    victim.listen(std::chrono::microseconds(random() % 60000));
    acknowledged.merge(completeLines(victim.kill()));
    longest = std::max(longest, logSize(folder_.path() / "store.sqlite"));
  }
  recover();
  int lost = 0;
  for (const std::string& event : acknowledged) {
    if (!arrivals_.has(event) && ++lost <= 5) ADD_FAILURE() << "event " << event << " is lost";
  }
  std::printf("soak: %s host: %d kills, %zu events returned, %d lost, %td in two requests, %d requests repeated\n",
              nameOf(GetParam()), lives, acknowledged.size(), lost, arrivals_.doubled(), arrivals_.resent());
  std::printf("soak: longest log %ju bytes\n", longest);
  EXPECT_LT(longest, longestLogAllowed);
  EXPECT_EQ(lost, 0);
  EXPECT_EQ(arrivals_.doubled(), 0);
  EXPECT_GT(acknowledged.size(), static_cast<std::size_t>(lives));
  EXPECT_EQ(arrivals_.identifiers(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Hosts, SixteenThreads, everyHost, nameOfParameter);

}  // namespace
}  // namespace fliprugair::e2e
