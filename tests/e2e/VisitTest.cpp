// A host app against a control host: real sockets, the real store.

#include <fstream>
#include <random>

#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/platform/Text.h"
#include "e2e/HostApp.h"

namespace fliprugair::e2e {
namespace {

using controlhost::HostSettings;

void trackEvents(HostApp& app, const std::string& prefix, int count) {
  for (int number = 0; number < count; ++number) app.tracker().trackEvent(prefix + std::to_string(number), "value");
}

TEST(Visit, IsReportedWholeAndLeavesEmptyQueues) {
  ControlHostOptions hostOptions;
  hostOptions.settings = [] {
    HostSettings settings;
    settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}, {"mltracker_wait", 90}}}};
    return settings;
  };
  CheckedHost host(hostOptions);
  const TemporaryFolder folder;
  HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
  ASSERT_TRUE(eventually([&] { return requestsOf(host, "initial").size() == 1; }));
  EXPECT_EQ(requestsOf(host, "init").size(), 1U);
  EXPECT_EQ(app.stored(key::mltrackerWait), Value(90));

  trackEvents(app, "full", 25);
  ASSERT_TRUE(eventually([&] { return requestsOf(host, "batch").size() == 1; }));
  EXPECT_EQ(requestsOf(host, "batch")[0].records, 25);

  app.tracker().trackEvent("last", "value");
  app.resign();
  ASSERT_TRUE(eventually([&] { return requestsOf(host, "batch").size() == 2; }));
  const Array last = requestsOf(host, "batch")[1].body().array();
  ASSERT_EQ(last.size(), 2U);
  EXPECT_EQ(last[0].dictionary()["data"].dictionary()["event_name"], Value("last"));
  EXPECT_EQ(last[1].dictionary()["data"].dictionary()["state"], Value("pause"));

  EXPECT_TRUE(eventually([&] { return app.stored(key::networkQueue) == Value(Dictionary()); }));
  EXPECT_TRUE(eventually([&] { return app.stored(key::eventsSending) == Value(Dictionary()); }));
  EXPECT_TRUE(app.stored(key::batchEventQueue).isNull());
}

TEST(Visit, ThatTheHostMissesIsReportedAtTheNextOne) {
  const TemporaryFolder folder;
  const int port = freePort();
  const std::string hostname = "127.0.0.1:" + std::to_string(port);
  {
    HostApp app(optionsIn(folder.path()), optionsFor(hostname));
    trackEvents(app, "offline", 25);
    EXPECT_TRUE(eventually([&] { return app.stored(key::eventsSending).dictionary().empty(); }));
    EXPECT_EQ(app.stored(key::networkQueue).dictionary().size(), 1U);
    app.tracker().trackEvent("offline25", "value");
  }
  ControlHostOptions hostOptions;
  hostOptions.port = port;
  hostOptions.settings = [] {
    HostSettings settings;
    settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}, {"mltracker_wait", 90}}}};
    return settings;
  };
  CheckedHost host(hostOptions);
  HostApp app(optionsIn(folder.path()), optionsFor(hostname));
  ASSERT_TRUE(eventually([&] { return app.stored(key::firstInitReceived).boolValue(); }));
  app.activate();
  ASSERT_TRUE(eventually([&] { return eventNames(host).size() == 25; }));
  EXPECT_EQ(eventNames(host).front(), "offline0");
  EXPECT_EQ(eventNames(host).back(), "offline24");
  ASSERT_TRUE(eventually([&] { return requestsOf(host, "initial").size() == 1; }));
  EXPECT_EQ(app.stored(key::mltrackerWait), Value(90));

  app.tracker().trackEvent("online", "value");
  app.resign();
  ASSERT_TRUE(eventually([&] { return eventNames(host).size() == 27; }));
  EXPECT_EQ(eventNames(host)[25], "offline25");
  EXPECT_EQ(eventNames(host)[26], "online");
  EXPECT_TRUE(eventually([&] { return app.stored(key::networkQueue) == Value(Dictionary()); }));
  EXPECT_TRUE(eventually([&] { return app.stored(key::eventsSending) == Value(Dictionary()); }));
  EXPECT_TRUE(app.stored(key::batchEventQueue).isNull());
}

TEST(Visit, ToAHostInTroubleBringsAHandfulOfFourThousandBatchesThatWait) {
  constexpr std::size_t count = 4000;
  std::atomic<int> status = 200;
  std::atomic<int> batches = 0;
  ControlHostOptions hostOptions;
  hostOptions.settings = [&] {
    HostSettings settings;
    settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}}}};
    settings.status["batch"] = status;
    return settings;
  };
  hostOptions.arrived = [&](const controlhost::ReceivedRequest& request) { batches += request.action == "batch"; };
  ControlHost host(hostOptions);  // what the test puts into the store is no tracker's
  const TemporaryFolder folder;
  HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
  ASSERT_TRUE(eventually([&] { return app.stored(key::firstInitReceived).boolValue(); }));
  ASSERT_TRUE(eventually([&] { return app.stored(key::networkQueue) == Value(Dictionary()); }));
  Dictionary queue;
  for (std::size_t number = 0; number < count; ++number) {
    queue = queue.setting(std::to_string(number) + ".000000", Array{Value{{"action", "event"}, {"number", number}}});
  }
  app.environment().userDefaults().setObject(queue, key::networkQueue);
  status = 503;
  app.activate();
  ASSERT_TRUE(eventually([&] { return batches > 0 && app.stored(key::eventsSending).dictionary().empty(); }));
  EXPECT_LE(batches, 8 + 4 + 1);
  EXPECT_EQ(app.stored(key::networkQueue), Value(queue));

  status = 200;
  EXPECT_TRUE(eventually([&] {
    app.activate();
    return app.stored(key::networkQueue) == Value(Dictionary());
  }));
}

TEST(Visit, LeavesEveryThreadOfThePlatformAsleepWhenNothingIsDue) {
  CheckedHost host;
  const TemporaryFolder folder;
  HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
  ASSERT_TRUE(eventually([&] { return requestsOf(host, "initial").size() == 1; }));
  app.resign();
  ASSERT_TRUE(eventually([&] { return app.stored(key::networkQueue) == Value(Dictionary()); }));
  // The host's closing of a connection that it has kept for some seconds is the last thing that happens.
  std::map<std::string, long> before;
  EXPECT_TRUE(eventually([&] {
    before = sleepsOfThreads("fliprugair-");
    std::this_thread::sleep_for(std::chrono::seconds(2));  // in which one that looks around by itself wakes up
    return sleepsOfThreads("fliprugair-") == before;
  }));
  EXPECT_GE(before.size(), 3U);
}

TEST(Visit, EndsWithItsLastBatchConfirmedBecauseTerminationWaitsForIt) {
  CheckedHost host;
  const TemporaryFolder folder;
  {
    HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
    ASSERT_TRUE(eventually([&] { return requestsOf(host, "initial").size() == 1; }));
    app.tracker().trackEvent("farewell", "value");
    app.resign();
    app.terminate();
    EXPECT_EQ(eventNames(host), std::vector<std::string>{"farewell"});
  }
  HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
  EXPECT_EQ(app.stored(key::networkQueue), Value(Dictionary()));
}

TEST(Visit, WithAnUnknownSearchAdAnswerReportsTheInstallationAfterTheThirdOne) {
  ControlHostOptions hostOptions;
  hostOptions.settings = [] {
    HostSettings settings;
    settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}, {"iad_retry_wait", 1}}}};
    return settings;
  };
  CheckedHost host(hostOptions);
  const TemporaryFolder folder;
  std::atomic<int> questions = 0;
  LinuxOptions options = optionsIn(folder.path());
  options.facts.systemVersion = "9.3";
  options.searchAdSource = [&](const auto& answer) {
    ++questions;
    answer(nullptr, true);
  };
  HostApp app(std::move(options), optionsFor(host.hostname()));
  ASSERT_TRUE(eventually([&] { return requestsOf(host, "initial").size() == 1; }));
  EXPECT_EQ(questions, 3);
  const Dictionary data = requestsOf(host, "initial")[0].body().dictionary()["data"].dictionary();
  EXPECT_FALSE(data.holds("iad_attribution"));
  EXPECT_EQ(data["os_version"].text().substr(data["os_version"].text().size() - 3), "9.3");
}

TEST(Visit, ReportsAReceiptOfFiveMegabytesWhole) {
  const TemporaryFolder folder;
  std::string receipt(5'000'000, '\0');
  std::minstd_rand random(1);
  for (char& byte : receipt) byte = static_cast<char>(random());
  std::ofstream(folder.path() / "receipt", std::ios::binary) << receipt;
  CheckedHost host(ControlHostOptions{});
  LinuxOptions options = optionsIn(folder.path());
  options.receiptPath = folder.path() / "receipt";
  const HostApp app(options, optionsFor(host.hostname()));
  ASSERT_TRUE(eventually([&] { return requestsOf(host, "initial").size() == 1; }));
  const Dictionary data = requestsOf(host, "initial")[0].body().dictionary()["data"].dictionary();
  EXPECT_TRUE(bytesOfBase64(data["receipt"].text()) == receipt);
}

TEST(Visit, PollsForTheAttributionResultAndDeliversItOnce) {
  ControlHostOptions hostOptions;
  hostOptions.settings = [] {
    HostSettings settings;
    settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}, {"getattribution_wait", 1}}}};
    settings.attribution = {2, 1, Value{{"network", "Example Ads"}}};
    return settings;
  };
  CheckedHost host(hostOptions);
  const TemporaryFolder folder;
  const Value wanted{{"marluneAppId", "demo"}, {"trackerHostname", host.hostname()}, {"retrieveAttribution", true}};
  {
    HostApp app(optionsIn(folder.path()), wanted);
    ASSERT_TRUE(eventually([&] { return app.listener().results().size() == 1; }));
    EXPECT_EQ(app.listener().results()[0], Value({{"network", "Example Ads"}}));
    EXPECT_EQ(app.listener().lastThread(), "fliprugair-net");
    EXPECT_EQ(requestsOf(host, "get_attribution").size(), 3U);
    EXPECT_TRUE(eventually([&] { return app.stored(key::requestAttribution) == Value(false); }));
  }
  HostApp again(optionsIn(folder.path()), wanted);
  EXPECT_EQ(again.tracker().swiftRetrieveAttribution(), R"({"network":"Example Ads"})");
  EXPECT_EQ(again.stored(key::requestAttribution), Value(false));
}

TEST(Visit, ReplaysWatchEventsOnceTheInstallationIsConfirmed) {
  CheckedHost host;
  const TemporaryFolder folder;
  {
    HostApp app(optionsIn(folder.path()), optionsFor("127.0.0.1:1"));
    app.tracker().handleWatchEvents("watch-1");
    app.tracker().trackWatchEvent("steps", "1000");
    EXPECT_EQ(app.stored(key::trackWatchEventDeferred).array().size(), 1U);
  }
  HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
  ASSERT_TRUE(eventually([&] {
    return app.stored(key::trackWatchEventDeferred).isNull() && app.stored(key::handleWatchEventsDeferred).isNull();
  }));
  app.resign();
  ASSERT_TRUE(eventually([&] { return eventNames(host).size() == 2; }));
  EXPECT_EQ(eventNames(host), (std::vector<std::string>{"Watch Install", "steps"}));
  const Array records = requestsOf(host, "batch")[0].body().array();
  bool linked = false;
  for (const Value& record : records) {
    if (record.dictionary()["action"] == Value("identityLink")) {
      linked = record.dictionary()["data"] == Value({{"Apple Watch", "watch-1"}});
    }
  }
  EXPECT_TRUE(linked);
}

}  // namespace
}  // namespace fliprugair::e2e
