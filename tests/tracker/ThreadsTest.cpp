// What several threads do to one process at a time. The virtual clock stands still meanwhile: it belongs to the thread
// that drives the process.

#include <algorithm>
#include <atomic>
#include <barrier>
#include <set>
#include <thread>

#include "Fliprugair/core/ProcessState.h"
#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

/// Runs `work` on `count` threads that set out together; `work` gets the thread's number.
void onThreads(int count, const std::function<void(int thread)>& work) {
  std::barrier start(count);
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int number = 0; number < count; ++number) {
    threads.emplace_back([&, number] {
      start.arrive_and_wait();
      work(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

const Value quietReply{{"success", 1}, {"flags", Value{{"resend_initial", false}}}};

/// The titles of all records that were sent or still wait.
std::multiset<std::string> titlesOf(Phone& phone) {
  std::multiset<std::string> titles;
  const auto add = [&](const Array& records) {
    for (const Value& record : records) titles.insert(record.dictionary()["data"].dictionary()["event_name"].text());
  };
  for (const Dictionary& send : phone.events("send")) add(send["payload"].array());
  add(phone.batch());
  return titles;
}

TEST(Threads, PublicCallsMayComeFromAnyOfThem) {
  Phone phone;
  phone.mayCause("batch-size");  // several add to a batch before one of them takes it
  const auto tracker = phone.construct({{"marluneAppId", "demo"}, {"enableLogging", true}});
  phone.reply(1, quietReply);
  onThreads(4, [&](int thread) {
    const std::string name = "thread " + std::to_string(thread);
    for (int round = 0; round < 5; ++round) {
      tracker->trackEvent(name, "value");
      tracker->trackEvent(name, "value", "receipt");
      tracker->trackEventWithEventTitleString(name, nullptr, true);
      tracker->identityLinkEvent(Value{{"user", name}});
      tracker->spatialEvent(name, 1, 2, 3);
      tracker->sendDeepLink(URL("app://link"), name);
      tracker->setLimitAdTracking(round % 2 == 0);
      tracker->handleWatchEvents(name);
      tracker->trackWatchEvent(name, "value");
      tracker->enableConsoleLogging(round % 2 == 0);
      tracker->setCustomIdString(name);
      tracker->customIdString();
      tracker->retrieveAttribution();
      tracker->swiftRetrieveAttribution();
      tracker->setTrackerDelegate({});
      tracker->trackerDelegate();
      tracker->setIAdAttributionManager(nullptr);
      tracker->iAdAttributionManager();
    }
  });
  phone.process.runQueues();
  const auto titles = titlesOf(phone);
  for (int thread = 0; thread < 4; ++thread) {
    EXPECT_EQ(titles.count("thread " + std::to_string(thread)), 25U) << "five calls of each round have this title";
  }
}

TEST(Threads, RequestsHaveDifferentNumbers) {
  Phone phone;
  phone.sendsOddities();  // requests with nothing in them
  Environment& environment = phone.process;
  onThreads(4, [&](int) {
    for (int round = 0; round < 200; ++round) {
      environment.makeNetworkAccess()->sendHTTPRequestWithHostname("host.example", Dictionary());
    }
  });
  std::set<std::int64_t> numbers;
  for (const Dictionary& send : phone.events("send")) numbers.insert(send["request"].integerValue());
  EXPECT_EQ(numbers.size(), 800U);
}

TEST(Threads, BackgroundTasksHaveDifferentNumbersAndEnd) {
  Phone phone;
  Application& application = static_cast<Environment&>(phone.process).platform().application();
  onThreads(4, [&](int) {
    for (int round = 0; round < 200; ++round) {
      application.endBackgroundTask(application.beginBackgroundTask("task", [] {}));
    }
  });
  std::set<std::int64_t> begun;
  std::set<std::int64_t> ended;
  for (const Dictionary& event : phone.events("background_task_began")) begun.insert(event["task"].integerValue());
  for (const Dictionary& event : phone.events("background_task_ended")) ended.insert(event["task"].integerValue());
  EXPECT_EQ(begun.size(), 800U);
  EXPECT_EQ(ended, begun);
}

TEST(Threads, FlushesMayComeFromAnyOfThem) {
  Phone phone;
  phone.mayCause("batch-size");  // several add to a batch before one of them takes it
  const auto tracker = phone.construct();
  phone.reply(1, quietReply);
  phone.forgetEvents();
  onThreads(4, [&](int) {
    for (int round = 0; round < 100; ++round) tracker->trackEvent("event", "value");
  });
  phone.process.runQueues();
  std::set<std::int64_t> numbers;
  const auto sends = phone.events("send");
  for (const Dictionary& send : sends) numbers.insert(send["request"].integerValue());
  EXPECT_EQ(numbers.size(), sends.size());
  EXPECT_EQ(titlesOf(phone).count("event"), 400U);
}

TEST(Threads, EachRecordOfSixteenArrivesOnceWhateverFlushesBetween) {
  Phone phone;
  phone.mayCause("batch-size");  // several add to a batch before one of them takes it
  const auto tracker = phone.construct();
  phone.reply(1, quietReply);
  phone.forgetEvents();
  constexpr int events = 200;
  onThreads(17, [&](int thread) {
    for (int round = 0; round < events; ++round) {
      if (thread == 16) {
        phone.process.post(ApplicationNotification::willResignActive);
        phone.process.runQueues();
        phone.process.post(ApplicationNotification::didBecomeActive);
      } else {
        tracker->trackEvent(std::to_string(thread) + " " + std::to_string(round), "value");
      }
    }
  });
  phone.process.runQueues();
  const auto titles = titlesOf(phone);
  for (int thread = 0; thread < 16; ++thread) {
    for (int round = 0; round < events; ++round) {
      EXPECT_EQ(titles.count(std::to_string(thread) + " " + std::to_string(round)), 1U) << thread << " " << round;
    }
  }
}

TEST(Threads, RecordsOfOneThreadArriveWholeAndInOrder) {
  Phone phone;
  const auto tracker = phone.construct();
  phone.reply(1, quietReply);
  phone.forgetEvents();
  std::atomic<bool> done = false;
  std::thread reader([&] {
    while (!done) {
      for (const Value& record : phone.batch()) {
        const Dictionary data = record.dictionary()["data"].dictionary();
        EXPECT_EQ(data["event_name"], data["event_data"]);
      }
    }
  });
  for (int number = 0; number < 240; ++number) {
    const std::string text = std::to_string(number);
    tracker->trackEvent(text, text);
  }
  done = true;
  reader.join();
  std::vector<std::string> names;
  for (const Dictionary& send : phone.events("send")) {
    for (const Value& record : send["payload"].array()) {
      names.push_back(record.dictionary()["data"].dictionary()["event_name"].text());
    }
  }
  for (const Value& record : phone.batch())
    names.push_back(record.dictionary()["data"].dictionary()["event_name"].text());
  ASSERT_EQ(names.size(), 240U);
  for (std::size_t number = 0; number < names.size(); ++number) EXPECT_EQ(names[number], std::to_string(number));
}

/// The four details as they were merged into an install report; "" where there is none.
std::vector<std::string> detailsIn(const Dictionary& report) {
  const Dictionary data = report["data"].dictionary();
  EXPECT_EQ(data["device"], Value("iPhone8,1"));
  std::vector<std::string> details;
  for (const std::string_view name :
       {"iad_attribution_details", "iad_attribution", "app_purchase_date", "iad_impression_date"}) {
    details.push_back(data[name].text());
  }
  return details;
}

/// A tracker that has asked for search-ad details, and counts what is parked.
class SearchAd {
 public:
  explicit SearchAd(std::int64_t attempts) {
    environment.store.onSet = [this](std::string_view key, const Value& value) {
      if (key == key::initialPayload && !value.isNull()) ++parked;
    };
    tracker = MarluneTracker::initMarluneWithParams(environment, Value{{"marluneAppId", "demo"}});
    phone.process.runQueues();
    phone.reply(1, Value{{"success", 1}, {"flags", Value{{"iad_attribution_attempts", attempts}}}});
  }

  std::vector<std::string> mergedDetails() { return detailsIn(phone.stored("initialPayload").dictionary()); }

  Phone phone;
  ObservedEnvironment environment{phone.process};
  std::shared_ptr<MarluneTracker> tracker;
  std::atomic<int> parked = 0;
};

Value detailsOf(int thread) {
  const std::string text = "thread " + std::to_string(thread);
  return {
      {"attributionDetails", text}, {"iAdAttribution", text}, {"appPurchaseDate", text}, {"iAdImpressionDate", text}};
}

TEST(Threads, OfRacingSearchAdAnswersOneIsMergedWhole) {
  for (int round = 0; round < 40; ++round) {
    SearchAd searchAd(3);
    onThreads(4, [&](int thread) { internalsOf(*searchAd.tracker).iAdAttributionData(detailsOf(thread), false); });
    EXPECT_EQ(searchAd.parked, 1);
    const auto details = searchAd.mergedDetails();
    EXPECT_TRUE(details[0].starts_with("thread "));
    for (const std::string& detail : details) EXPECT_EQ(detail, details[0]);
    EXPECT_TRUE(searchAd.phone.stored("iAdAttribution_INITIAL_PASSTHROUGH").isNull());
    EXPECT_EQ(ProcessState::of(searchAd.environment)->iAdAttributionAttempts, 1);
  }
}

TEST(Threads, OfRacingAnswersAndTimeOutsOneIsMerged) {
  for (int round = 0; round < 40; ++round) {
    SearchAd searchAd(3);
    onThreads(4, [&](int thread) {
      if (thread % 2 == 0) {
        internalsOf(*searchAd.tracker).iAdAttributionData(detailsOf(thread), false);
      } else {
        internalsOf(*searchAd.tracker).iAdAttributionData(nullptr, false);  // as the time-out does
      }
    });
    EXPECT_EQ(searchAd.parked, 1);
    const auto details = searchAd.mergedDetails();
    for (const std::string& detail : details) EXPECT_EQ(detail, details[0]);
  }
}

TEST(Threads, AnAnswerThatRacesTheTimersOfARetryIsMergedOnce) {
  for (int round = 0; round < 40; ++round) {
    SearchAd searchAd(10);
    internalsOf(*searchAd.tracker).iAdAttributionData(nullptr, true);
    const auto& timeOut = ProcessState::of(searchAd.environment)->iAdAttributionPayloadTimer;
    for (int second = 0; second < 60 && timeOut.load() == nullptr; ++second) searchAd.phone.process.advance(1);
    ASSERT_NE(timeOut.load(), nullptr);
    onThreads(4, [&](int thread) {
      if (thread == 0) {
        searchAd.phone.process.advance(30);  // in which the time-out is due
      } else {
        internalsOf(*searchAd.tracker).iAdAttributionData(detailsOf(thread), thread == 3);
      }
    });
    searchAd.phone.process.advance(2);
    EXPECT_EQ(searchAd.parked, 1);
    int reports = 0;
    for (const Dictionary& send : searchAd.phone.events("send")) {
      const Dictionary payload = send["payload"].dictionary();
      if (payload["action"] != Value("initial")) continue;
      ++reports;
      const auto details = detailsIn(payload);
      for (const std::string& detail : details) EXPECT_EQ(detail, details[0]);
    }
    EXPECT_EQ(reports, 1);
  }
}

TEST(Threads, OfRacingUnknownAnswersTheLastAllowedIsMerged) {
  for (int round = 0; round < 40; ++round) {
    SearchAd searchAd(3);
    onThreads(4, [&](int) { internalsOf(*searchAd.tracker).iAdAttributionData(nullptr, true); });
    EXPECT_EQ(searchAd.parked, 1);
    EXPECT_EQ(ProcessState::of(searchAd.environment)->iAdAttributionAttempts, 3);
    EXPECT_TRUE(ProcessState::of(searchAd.environment)->iAdDelegateProcessed);
  }
}

TEST(Threads, AnswersMayArriveWhileTrackersComeAndGo) {
  Phone phone;
  std::atomic<bool> done = false;
  std::thread network([&] {
    while (!done) {
      for (const std::uint64_t request : phone.process.network().pending()) {
        phone.process.network().reply(request, Value{{"success", 1}, {"data", Value{{"retry", 5}}}});
      }
    }
  });
  for (int round = 0; round < 100; ++round) {
    auto tracker = MarluneTracker::initMarluneWithParams(
        phone.process,
        Value{{"marluneAppId", "demo"}, {"retrieveAttribution", true}, {"enableLogging", round % 2 == 0}});
    ASSERT_NE(tracker, nullptr);
    tracker->trackEvent(std::to_string(round), "value");
    if (round % 3 == 0) phone.process.runQueues();
    tracker.reset();
    phone.process.runQueues();
  }
  done = true;
  network.join();
  phone.process.runQueues();
  const auto titles = titlesOf(phone);
  for (int round = 0; round < 100; ++round) EXPECT_EQ(titles.count(std::to_string(round)), 1U) << round;
}

TEST(Threads, TheLastReferenceMayBeDroppedOnAnyOfThem) {
  Phone phone;
  phone.mayCause("batch-size");  // several add to a batch before one of them takes it
  for (int round = 0; round < 50; ++round) {
    std::vector<std::shared_ptr<MarluneTracker>> held{phone.construct()};
    const std::weak_ptr<MarluneTracker> weak = held[0];
    held.resize(3, held[0]);
    onThreads(3, [&](int thread) {
      auto& own = held[static_cast<std::size_t>(thread)];
      own->trackEvent("event", "value");
      own.reset();
    });
    phone.process.runQueues();
    EXPECT_TRUE(weak.expired());
  }
}

TEST(Threads, NotificationsMayMeetTeardown) {
  Phone phone;
  std::atomic<bool> done = false;
  std::thread system([&] {
    while (!done) phone.process.post(ApplicationNotification::didBecomeActive);
  });
  for (int round = 0; round < 100; ++round) {
    auto tracker = MarluneTracker::initMarluneWithParams(phone.process, Value{{"marluneAppId", "demo"}});
    tracker.reset();
    phone.process.runQueues();
  }
  done = true;
  system.join();
  phone.process.runQueues();
  EXPECT_EQ(phone.stored("timeAppBecameActive"), Value(1700000000));
}

TEST(Threads, ConstructionsInSeveralProcessesShareNothing) {
  onThreads(4, [&](int thread) {
    Phone phone;
    const std::string appId = "app " + std::to_string(thread);
    for (int round = 0; round < 20; ++round) {
      const auto tracker = phone.construct({{"marluneAppId", appId}, {"versionExtension", appId}});
      EXPECT_EQ(phone.stored("appId"), Value(appId));
      EXPECT_EQ(ProcessState::of(phone.process)->sdkVersion.load(), Value("ios-20160921" + appId));
      tracker->trackEvent("event", "value");
      phone.process.advance(100);
    }
  });
}

}  // namespace
}  // namespace fliprugair
