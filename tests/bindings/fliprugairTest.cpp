// The interface for C: what waits, ends and is erased. That events reach a host through it, the programs in examples/
// show.

#include "Fliprugair/fliprugair.h"
#include "support/TemporaryFolder.h"

namespace fliprugair {
namespace {

/// Takes the text that a function stored, and frees it. "" when it stored none.
class ErrorText {
 public:
  char** operator&() { return &text_; }
  std::string taken() {
    std::string result = text_ != nullptr ? text_ : "";
    fliprugair_free(std::exchange(text_, nullptr));
    return result;
  }

 private:
  char* text_ = nullptr;
};

/// An app whose host cannot be reached.
class CInterface : public ::testing::Test {
 protected:
  ~CInterface() override { fliprugair_close(app); }

  void open() {
    fliprugair_callbacks silent{};
    silent.log = [](void*, const char*) {};
    app = fliprugair_open(options.c_str(), &silent, &error);
    ASSERT_NE(app, nullptr) << error.taken();
    tracker = fliprugair_start(app, R"({"marluneAppId": "demo", "trackerHostname": "127.0.0.1:1"})", &error);
    ASSERT_NE(tracker, nullptr) << error.taken();
  }

  TemporaryFolder folder;
  const std::string store = (folder.path() / "store.sqlite").string();
  const std::string options = R"({"storePath": ")" + store + R"(", "backgroundTaskTime": 0})";
  ErrorText error;
  fliprugair_app* app = nullptr;
  fliprugair_tracker* tracker = nullptr;
};

TEST_F(CInterface, SaysWhatWaits) {
  open();
  fliprugair_waiting before{};
  ASSERT_EQ(fliprugair_what_waits(app, &before), FLIPRUGAIR_OK);
  EXPECT_EQ(before.install_report, 1);
  EXPECT_EQ(before.records, 0u);
  EXPECT_EQ(before.oldest, 0);
  ASSERT_EQ(fliprugair_track_event(tracker, "level", "7", nullptr), FLIPRUGAIR_OK);
  fliprugair_waiting after{};
  ASSERT_EQ(fliprugair_what_waits(app, &after), FLIPRUGAIR_OK);
  EXPECT_EQ(after.records, 1u);
  EXPECT_EQ(after.requests, 0u);
  EXPECT_GT(after.bytes, 100u);
  EXPECT_GT(after.oldest, 1.7e9);
}

TEST_F(CInterface, WaitsUntilAllIsSentAndSaysWhatIsNotWhenTheTimeIsOver) {
  open();
  fliprugair_did_become_active(app);
  ASSERT_EQ(fliprugair_track_event(tracker, "level", "7", nullptr), FLIPRUGAIR_OK);
  fliprugair_waiting waiting{};
  ASSERT_EQ(fliprugair_wait_until_sent(app, 0.05, &waiting, &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_EQ(waiting.install_report, 1);
  EXPECT_EQ(waiting.records, 1u);
  EXPECT_EQ(fliprugair_wait_until_sent(app, 0, nullptr, nullptr), FLIPRUGAIR_OK);
}

TEST_F(CInterface, RefusesATimeThatIsNone) {
  open();
  for (const double timeout : {-1.0, 1e9, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(fliprugair_wait_until_sent(app, timeout, nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
    EXPECT_EQ(error.taken(), "timeout is from 0 to 86400 seconds");
  }
}

TEST_F(CInterface, RefusesNullPointers) {
  fliprugair_waiting waiting{};
  EXPECT_EQ(fliprugair_what_waits(nullptr, &waiting), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(fliprugair_wait_until_sent(nullptr, 1, nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "app is a null pointer");
  EXPECT_EQ(fliprugair_stop_for_good(nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "app is a null pointer");
  EXPECT_EQ(fliprugair_erase(nullptr, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "options is a null pointer");
  open();
  EXPECT_EQ(fliprugair_what_waits(app, nullptr), FLIPRUGAIR_INVALID_ARGUMENT);
}

TEST_F(CInterface, ErasesWhatAnAppHasStored) {
  open();
  fliprugair_close(std::exchange(app, nullptr));
  ASSERT_TRUE(std::filesystem::exists(store));
  EXPECT_EQ(fliprugair_erase(options.c_str(), &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  EXPECT_EQ(fliprugair_erase(options.c_str(), nullptr), FLIPRUGAIR_OK) << "nothing was left to erase";
}

TEST_F(CInterface, SaysWhyNothingWasErased) {
  EXPECT_EQ(fliprugair_erase(R"({"storePaht": "x"})", &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_TRUE(error.taken().starts_with(R"(option "storePaht" is not known; there are bundleIdentifier, )"));
  open();
  EXPECT_EQ(fliprugair_erase(options.c_str(), &error), FLIPRUGAIR_FAILED) << "an app uses the store";
  EXPECT_NE(error.taken(), "");
  EXPECT_TRUE(std::filesystem::exists(store));
}

TEST_F(CInterface, StopsForGoodAndLeavesNothing) {
  open();
  ASSERT_EQ(fliprugair_track_event(tracker, "level", "7", nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_stop_for_good(std::exchange(app, nullptr), &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(CInterface, TakesHowManyRequestsMayWait) {
  const std::string start = R"({"storePath": ")" + store + R"(", "mostWaitingRequests": )";
  EXPECT_EQ(fliprugair_open((start + "0}").c_str(), nullptr, &error), nullptr);
  EXPECT_EQ(error.taken(), R"(option "mostWaitingRequests" is a whole number from 1 on)");
  app = fliprugair_open((start + "10}").c_str(), nullptr, &error);
  EXPECT_NE(app, nullptr) << error.taken();
}

TEST_F(CInterface, AdvisesUnlessToldNotTo) {
  fliprugair_callbacks counting{};
  std::atomic<int> lines = 0;
  counting.user = &lines;
  counting.log = [](void* count, const char*) { ++*static_cast<std::atomic<int>*>(count); };
  for (const char* advises : {"true", "false"}) {
    const std::string started = options.substr(0, options.size() - 1) + R"(, "advises": )" + advises + "}";
    app = fliprugair_open(started.c_str(), &counting, &error);
    ASSERT_NE(app, nullptr) << error.taken();
    EXPECT_EQ(fliprugair_start(app, "{}", nullptr), nullptr);
    fliprugair_close(std::exchange(app, nullptr));
    EXPECT_EQ(lines, 1) << advises;
  }
}

}  // namespace
}  // namespace fliprugair
