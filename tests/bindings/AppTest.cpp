// The app as C has it: what waits, ends and is erased, and whose thread it runs on. That events reach a host through
// it, the programs in examples/ show.

#include <poll.h>

#include "bindings/CInterface.h"

namespace fliprugair {
namespace {

using AppInC = CInterface;

TEST_F(AppInC, SaysWhatWaits) {
  open();
  fliprugair_waiting before{};
  ASSERT_EQ(fliprugair_what_waits(app, &before, nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(before.install_report, 1);
  EXPECT_EQ(before.records, 0u);
  EXPECT_EQ(before.oldest, 0);
  ASSERT_EQ(fliprugair_track_event(tracker, "level", "7", nullptr), FLIPRUGAIR_OK);
  fliprugair_waiting after{};
  ASSERT_EQ(fliprugair_what_waits(app, &after, nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(after.records, 1u);
  EXPECT_EQ(after.requests, 0u);
  EXPECT_GT(after.bytes, 100u);
  EXPECT_GT(after.oldest, 1.7e9);
}

TEST_F(AppInC, WaitsUntilAllIsSentAndSaysWhatIsNotWhenTheTimeIsOver) {
  open();
  fliprugair_did_become_active(app, nullptr);
  ASSERT_EQ(fliprugair_track_event(tracker, "level", "7", nullptr), FLIPRUGAIR_OK);
  fliprugair_waiting waiting{};
  ASSERT_EQ(fliprugair_wait_until_sent(app, 0.05, &waiting, &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_EQ(waiting.install_report, 1);
  EXPECT_EQ(waiting.records, 1u);
  EXPECT_EQ(fliprugair_wait_until_sent(app, 0, nullptr, nullptr), FLIPRUGAIR_OK);
}

TEST_F(AppInC, RefusesATimeThatIsNone) {
  open();
  for (const double timeout : {-1.0, 1e9, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(fliprugair_wait_until_sent(app, timeout, nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
    EXPECT_EQ(error.taken(), "timeout is from 0 to 86400 seconds");
  }
}

TEST_F(AppInC, RefusesNullPointers) {
  fliprugair_waiting waiting{};
  EXPECT_EQ(fliprugair_what_waits(nullptr, &waiting, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "app is a null pointer");
  for (const auto call : {&fliprugair_did_finish_launching, &fliprugair_did_become_active,
                          &fliprugair_will_resign_active, &fliprugair_run, &fliprugair_stop, &fliprugair_poll}) {
    EXPECT_EQ(call(nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
    EXPECT_EQ(error.taken(), "app is a null pointer");
    EXPECT_EQ(call(nullptr, nullptr), FLIPRUGAIR_INVALID_ARGUMENT);
  }
  for (const auto call : {&fliprugair_file_descriptor, &fliprugair_wait_milliseconds}) {
    EXPECT_EQ(call(nullptr, &error), -1);
    EXPECT_EQ(error.taken(), "app is a null pointer");
  }
  EXPECT_EQ(fliprugair_wait_until_sent(nullptr, 1, nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "app is a null pointer");
  EXPECT_EQ(fliprugair_stop_for_good(nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "app is a null pointer");
  EXPECT_EQ(fliprugair_erase(nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "options is a null pointer");
  open();
  EXPECT_EQ(fliprugair_what_waits(app, nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "waiting is a null pointer");
  EXPECT_EQ(fliprugair_on_main(app, nullptr, nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "task is a null pointer");
}

TEST_F(AppInC, ErasesWhatAnAppHasStored) {
  open();
  fliprugair_close(std::exchange(app, nullptr));
  ASSERT_TRUE(std::filesystem::exists(store));
  EXPECT_EQ(fliprugair_erase(options.c_str(), &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  EXPECT_EQ(fliprugair_erase(options.c_str(), nullptr), FLIPRUGAIR_OK) << "nothing was left to erase";
}

TEST_F(AppInC, SaysWhyNothingWasErased) {
  EXPECT_EQ(fliprugair_erase(R"({"storePaht": "x"})", &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_TRUE(error.taken().starts_with(R"(option "storePaht" is not known; there are bundleIdentifier, )"));
  open();
  EXPECT_EQ(fliprugair_erase(options.c_str(), &error), FLIPRUGAIR_FAILED) << "an app uses the store";
  EXPECT_NE(error.taken(), "");
  EXPECT_TRUE(std::filesystem::exists(store));
}

TEST_F(AppInC, SpeaksOfNoTypeOfCxxWhenItRefuses) {
  EXPECT_EQ(fliprugair_open("{}", nullptr, &error), nullptr);
  EXPECT_EQ(error.taken(), "The store has no place: give a bundle identifier, or the store's path.");
  open();
  EXPECT_EQ(fliprugair_start(app, "{}", &error), nullptr);
  EXPECT_EQ(error.taken(), R"(a tracker needs "marluneAppId", or "partnerId" and "partnerName", as texts)");
}

TEST_F(AppInC, StopsForGoodAndLeavesNothing) {
  open();
  ASSERT_EQ(fliprugair_track_event(tracker, "level", "7", nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_stop_for_good(std::exchange(app, nullptr), &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(AppInC, AdvisesUnlessToldNotTo) {
  fliprugair_callbacks counting{};
  std::atomic<int> lines = 0;
  counting.user = &lines;
  counting.log = [](void* count, const char*) { ++*static_cast<std::atomic<int>*>(count); };
  for (const char* advises : {"true", "false"}) {
    app = fliprugair_open(with("advises", advises).c_str(), &counting, &error);
    ASSERT_NE(app, nullptr) << error.taken();
    EXPECT_EQ(fliprugair_start(app, "{}", nullptr), nullptr);
    fliprugair_close(std::exchange(app, nullptr));
    EXPECT_EQ(lines, 1) << advises;
  }
}

/// Notes on which thread it ran.
void noteThread(void* thread) { *static_cast<std::thread::id*>(thread) = std::this_thread::get_id(); }

TEST_F(AppInC, RunsATaskOnThePlatformsMainThread) {
  open();
  ASSERT_EQ(fliprugair_did_become_active(app, &error), FLIPRUGAIR_OK) << error.taken();
  std::thread::id thread;
  ASSERT_EQ(fliprugair_on_main(app, &noteThread, &thread, &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_NE(thread, std::thread::id());
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(AppInC, RunsTheMainQueueOnTheHostAppsThread) {
  open(with("mainThread", "\"host\""));
  std::thread::id thread;
  std::thread other([&] {
    fliprugair_on_main(app, &noteThread, &thread, nullptr);
    fliprugair_stop(app, nullptr);
  });
  EXPECT_EQ(fliprugair_run(app, &error), FLIPRUGAIR_OK) << error.taken();
  other.join();
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(AppInC, IsTurnedByALoopOfTheHostApps) {
  open(with("mainThread", "\"host\""));
  ASSERT_EQ(fliprugair_did_become_active(app, &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_EQ(fliprugair_wait_milliseconds(app, &error), 0) << "the activation is to be dealt with";
  std::thread::id thread;
  std::thread other([&] { fliprugair_on_main(app, &noteThread, &thread, nullptr); });
  while (thread == std::thread::id()) {
    pollfd readable{fliprugair_file_descriptor(app, &error), POLLIN, 0};
    ::poll(&readable, 1, fliprugair_wait_milliseconds(app, &error));
    ASSERT_EQ(fliprugair_poll(app, &error), FLIPRUGAIR_OK) << error.taken();
  }
  other.join();
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(AppInC, ReplacesWhatTheHostAppStatesAboutTheDevice) {
  open();
  EXPECT_EQ(fliprugair_set_facts(app, R"({"systemName": "Example", "preferredLanguages": ["fi"]})", &error),
            FLIPRUGAIR_OK)
      << error.taken();
  EXPECT_EQ(fliprugair_set_facts(app, R"({"systemName": 1})", &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), R"(option "systemName" is a text)");
  EXPECT_EQ(fliprugair_set_facts(app, "[]", &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "facts is not a JSON object");
}

}  // namespace
}  // namespace fliprugair
