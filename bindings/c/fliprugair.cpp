#include "Fliprugair/fliprugair.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "Fliprugair/Fliprugair"
#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "bindings/c/Options.h"
#include "platform/json/RapidJSONSerialization.h"

using namespace fliprugair;

namespace {

/// Hands the attribution result on as text.
class Listener final : public MarluneTrackerClientDelegate {
 public:
  explicit Listener(const fliprugair_callbacks& callbacks) : callbacks_(callbacks) {}

  void Marlune_attributionResult(const Value& attribution) override {
    if (callbacks_.attribution == nullptr) return;
    callbacks_.attribution(callbacks_.user, RapidJSONSerialization().textOfAny(attribution).c_str());
  }

 private:
  const fliprugair_callbacks callbacks_;
};

/// Only malloc's memory may be freed by C; a null pointer when there is none left.
char* copyOf(const std::string& text) {
  // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): the pointer's owner is a C program
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

void say(char** error, const char* text) {
  if (error != nullptr) *error = copyOf(text);
}

constexpr double longestWait = 86400;  // seconds

fliprugair_waiting plain(const Waiting& waiting) {
  fliprugair_waiting result{};
  result.install_report = waiting.installReport ? 1 : 0;
  result.records = waiting.records;
  result.requests = waiting.requests;
  result.bytes = waiting.bytes;
  if (waiting.oldest) result.oldest = std::chrono::duration<double>(waiting.oldest->time_since_epoch()).count();
  return result;
}

/// Runs `body`, out of which no exception comes.
template <class Body>
fliprugair_status guarded(char** error, Body body) noexcept {
  if (error != nullptr) *error = nullptr;
  try {
    body();
    return FLIPRUGAIR_OK;
  } catch (const std::invalid_argument& refused) {
    say(error, refused.what());
    return FLIPRUGAIR_INVALID_ARGUMENT;
  } catch (const std::exception& exception) {
    say(error, exception.what());
  } catch (...) {
    say(error, "what a callback threw is no std::exception");
  }
  return FLIPRUGAIR_FAILED;
}

void require(const void* argument, const char* name) {
  if (argument == nullptr) throw std::invalid_argument(std::string(name) + " is a null pointer");
}

Dictionary dictionaryOf(const char* json, const char* name) {
  require(json, name);
  const auto value = RapidJSONSerialization().value(json);
  if (!value || !value->isDictionary()) throw std::invalid_argument(std::string(name) + " is not a JSON object");
  return value->dictionary();
}

}  // namespace

struct fliprugair_tracker {
  std::shared_ptr<MarluneTracker> tracker;
};

struct fliprugair_app {
  std::shared_ptr<Listener> listener;
  std::unique_ptr<LinuxEnvironment> environment;
  std::mutex mutex;  ///< around the list
  std::vector<std::unique_ptr<fliprugair_tracker>> trackers;
  std::atomic<bool> launched = false;  ///< the main thread may be one of the platform's
};

namespace {

template <class Call>
fliprugair_status onApp(fliprugair_app* app, Call call) noexcept {
  return guarded(nullptr, [&] {
    require(app, "app");
    call();
  });
}

template <class Call>
fliprugair_status onTracker(fliprugair_tracker* tracker, char** error, Call call) noexcept {
  return guarded(error, [&] {
    require(tracker, "tracker");
    call(*tracker->tracker);
  });
}

}  // namespace

void fliprugair_free(char* text) {
  // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): copyOf took it from malloc
  std::free(text);
}

const char* fliprugair_version(void) { return FLIPRUGAIR_VERSION_TEXT; }

fliprugair_app* fliprugair_open(const char* options, const fliprugair_callbacks* callbacks, char** error) {
  std::unique_ptr<fliprugair_app> app;
  guarded(error, [&] {
    const fliprugair_callbacks heard = callbacks != nullptr ? *callbacks : fliprugair_callbacks{};
    LinuxOptions platform = optionsOf(dictionaryOf(options, "options"));
    if (heard.log != nullptr) {
      platform.log = [heard](std::string_view line) { heard.log(heard.user, std::string(line).c_str()); };
    }
    auto made = std::make_unique<fliprugair_app>();
    made->listener = std::make_shared<Listener>(heard);
    auto opened = LinuxEnvironment::open(std::move(platform));
    if (!opened.environment) throw std::runtime_error(opened.error);
    made->environment = std::move(opened.environment);
    app = std::move(made);
  });
  return app.release();
}

void fliprugair_close(fliprugair_app* app) {
  const std::unique_ptr<fliprugair_app> owned(app);
  onApp(app, [&] {
    app->environment->terminate();
    app->trackers.clear();
  });
}

fliprugair_status fliprugair_stop_for_good(fliprugair_app* app, char** error) {
  const std::unique_ptr<fliprugair_app> owned(app);
  return guarded(error, [&] {
    require(app, "app");
    app->trackers.clear();
    const std::string left = LinuxEnvironment::stopForGood(std::move(app->environment));
    if (!left.empty()) throw std::runtime_error(left);
  });
}

fliprugair_status fliprugair_erase(const char* options, char** error) {
  return guarded(error, [&] {
    const std::string left = LinuxEnvironment::erase(optionsOf(dictionaryOf(options, "options")));
    if (!left.empty()) throw std::runtime_error(left);
  });
}

fliprugair_status fliprugair_did_finish_launching(fliprugair_app* app) {
  return onApp(app, [&] {
    app->launched = true;
    app->environment->applicationDidFinishLaunching();
  });
}

fliprugair_status fliprugair_did_become_active(fliprugair_app* app) {
  return onApp(app, [&] {
    app->launched = true;
    app->environment->applicationDidBecomeActive();
  });
}

fliprugair_status fliprugair_will_resign_active(fliprugair_app* app) {
  return onApp(app, [&] {
    app->launched = true;
    app->environment->applicationWillResignActive();
  });
}

fliprugair_status fliprugair_wait_until_sent(fliprugair_app* app, double timeout, fliprugair_waiting* waiting,
                                             char** error) {
  return guarded(error, [&] {
    require(app, "app");
    if (!(timeout >= 0 && timeout <= longestWait)) {
      throw std::invalid_argument("timeout is from 0 to 86400 seconds");
    }
    const Waiting left = app->environment->waitUntilSent(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(timeout)));
    if (waiting != nullptr) *waiting = plain(left);
  });
}

fliprugair_status fliprugair_what_waits(fliprugair_app* app, fliprugair_waiting* waiting) {
  return onApp(app, [&] {
    require(waiting, "waiting");
    *waiting = plain(app->environment->waiting());
  });
}

int fliprugair_file_descriptor(fliprugair_app* app) { return app != nullptr ? app->environment->fileDescriptor() : -1; }

int fliprugair_wait_milliseconds(fliprugair_app* app) {
  int wait = -1;
  onApp(app, [&] {
    const auto deadline = app->environment->nextDeadline();
    if (!deadline) return;
    const auto left = *deadline - std::chrono::steady_clock::now();
    wait = static_cast<int>(
        std::clamp<std::int64_t>(std::chrono::ceil<std::chrono::milliseconds>(left).count(), 0, INT_MAX));
  });
  return wait;
}

fliprugair_status fliprugair_poll(fliprugair_app* app) {
  return onApp(app, [&] { app->environment->poll(); });
}

fliprugair_tracker* fliprugair_start(fliprugair_app* app, const char* parameters, char** error) {
  fliprugair_tracker* started = nullptr;
  guarded(error, [&] {
    require(app, "app");
    const Value options = dictionaryOf(parameters, "parameters");
    auto handle = std::make_unique<fliprugair_tracker>();
    const auto start = [&] {
      handle->tracker = MarluneTracker::swiftInitMarluneWithParams(*app->environment, options);
      if (handle->tracker) handle->tracker->setTrackerDelegate(app->listener);
    };
    if (!app->launched) {
      start();
    } else if (!app->environment->onMain(start)) {
      throw std::runtime_error("there is no thread for the tracker to start on");
    }
    if (!handle->tracker) {
      throw std::invalid_argument("parameters hold neither marluneAppId nor partnerId and partnerName");
    }
    const std::lock_guard lock(app->mutex);
    app->trackers.push_back(std::move(handle));
    started = app->trackers.back().get();
  });
  return started;
}

fliprugair_status fliprugair_track_event(fliprugair_tracker* tracker, const char* title, const char* value,
                                         char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(title, "title");
    require(value, "value");
    target.swiftTrackEvent(Value(title), Value(value));
  });
}

fliprugair_status fliprugair_track_purchase(fliprugair_tracker* tracker, const char* title, const char* value,
                                            const char* encoded_receipt, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(title, "title");
    require(value, "value");
    require(encoded_receipt, "encoded_receipt");
    target.trackEvent(title, value, encoded_receipt);
  });
}

fliprugair_status fliprugair_track_spatial_event(fliprugair_tracker* tracker, const char* title, float x, float y,
                                                 float z, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(title, "title");
    target.swiftSpatialEvent(Value(title), x, y, z);
  });
}

fliprugair_status fliprugair_identity_link(fliprugair_tracker* tracker, const char* identities, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    target.swiftIdentityLinkEvent(Value(dictionaryOf(identities, "identities")));
  });
}

fliprugair_status fliprugair_deep_link(fliprugair_tracker* tracker, const char* url, const char* source_application,
                                       char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(url, "url");
    require(source_application, "source_application");
    target.swiftSendDeepLink(URL(Text(url)), Value(source_application));
  });
}

fliprugair_status fliprugair_limit_ad_tracking(fliprugair_tracker* tracker, int limited, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) { target.swiftSetLimitAdTracking(limited != 0); });
}

fliprugair_status fliprugair_enable_logging(fliprugair_tracker* tracker, int enabled, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) { target.swiftEnableConsoleLogging(enabled != 0); });
}

char* fliprugair_attribution(fliprugair_tracker* tracker) {
  char* result = nullptr;
  onTracker(tracker, nullptr, [&](MarluneTracker& target) {
    const std::string text = target.swiftRetrieveAttribution();
    if (!text.empty()) result = copyOf(text);
  });
  return result;
}
