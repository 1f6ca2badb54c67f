#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Fliprugair/fliprugair.h"
#include "support/TemporaryFolder.h"

namespace fliprugair {

/// Takes the text that a function stored, and frees it. "" when it stored none.
class ErrorText {
 public:
  ~ErrorText() { taken(); }
  char** operator&() {
    taken();
    return &text_;
  }
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

  void open() { open(options); }
  void open(const std::string& how) {
    fliprugair_callbacks callbacks{};
    callbacks.user = this;
    callbacks.log = [](void* test, const char* line) { static_cast<CInterface*>(test)->note(line); };
    app = fliprugair_open(how.c_str(), &callbacks, &error);
    ASSERT_NE(app, nullptr) << error.taken();
    tracker = fliprugair_start(app, R"({"marluneAppId": "demo", "trackerHostname": "127.0.0.1:1"})", &error);
    ASSERT_NE(tracker, nullptr) << error.taken();
  }

  /// Options with one more; `value` as JSON.
  std::string with(const std::string& key, const std::string& value) const {
    return options.substr(0, options.size() - 1) + ", \"" + key + "\": " + value + "}";
  }

  /// The last line of the log that has `part` in it.
  std::string lineWith(const std::string& part) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(lines_.rbegin(), lines_.rend(),
                                    [&](const std::string& line) { return line.find(part) != std::string::npos; });
    return found != lines_.rend() ? *found : "";
  }

  TemporaryFolder folder;
  const std::string store = (folder.path() / "store.sqlite").string();
  const std::string options = R"({"storePath": ")" + store + R"(", "backgroundTaskTime": 0})";
  ErrorText error;
  fliprugair_app* app = nullptr;
  fliprugair_tracker* tracker = nullptr;

 private:
  void note(const char* line) {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }

  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace fliprugair
