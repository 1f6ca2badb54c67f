#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include "Fliprugair/Fliprugair"
#include "Fliprugair/fliprugair.h"
#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "bindings/c/Calls.h"
#include "bindings/c/Options.h"
#include "bindings/c/SearchAds.h"
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

constexpr const char* noMainThread = "there is no main thread, or the app terminates";

template <class Call>
fliprugair_status onApp(fliprugair_app* app, char** error, Call call) noexcept {
  return guarded(error, [&] {
    require(app, "app");
    call();
  });
}

}  // namespace

fliprugair_app* fliprugair_open(const char* options, const fliprugair_callbacks* callbacks, char** error) {
  std::unique_ptr<fliprugair_app> app;
  guarded(error, [&] {
    const fliprugair_callbacks heard = callbacks != nullptr ? *callbacks : fliprugair_callbacks{};
    LinuxOptions platform = optionsOf(dictionaryOf(options, "options"));
    if (heard.log != nullptr) {
      platform.log = [heard](std::string_view line) { heard.log(heard.user, std::string(line).c_str()); };
    }
    platform.searchAdSource = searchAdSourceOf(heard);
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
  onApp(app, nullptr, [&] {
    app->environment->terminate();
    app->trackers.clear();
  });
}

fliprugair_status fliprugair_stop_for_good(fliprugair_app* app, char** error) {
  const std::unique_ptr<fliprugair_app> owned(app);
  return onApp(app, error, [&] {
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

fliprugair_status fliprugair_did_finish_launching(fliprugair_app* app, char** error) {
  return onApp(app, error, [&] {
    app->launched = true;
    app->environment->applicationDidFinishLaunching();
  });
}

fliprugair_status fliprugair_did_become_active(fliprugair_app* app, char** error) {
  return onApp(app, error, [&] {
    app->launched = true;
    app->environment->applicationDidBecomeActive();
  });
}

fliprugair_status fliprugair_will_resign_active(fliprugair_app* app, char** error) {
  return onApp(app, error, [&] {
    app->launched = true;
    app->environment->applicationWillResignActive();
  });
}

fliprugair_status fliprugair_wait_until_sent(fliprugair_app* app, double timeout, fliprugair_waiting* waiting,
                                             char** error) {
  return onApp(app, error, [&] {
    if (!(timeout >= 0 && timeout <= longestWait)) {
      throw std::invalid_argument("timeout is from 0 to 86400 seconds");
    }
    const Waiting left = app->environment->waitUntilSent(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(timeout)));
    if (waiting != nullptr) *waiting = plain(left);
  });
}

fliprugair_status fliprugair_what_waits(fliprugair_app* app, fliprugair_waiting* waiting, char** error) {
  return onApp(app, error, [&] {
    require(waiting, "waiting");
    *waiting = plain(app->environment->waiting());
  });
}

fliprugair_status fliprugair_set_facts(fliprugair_app* app, const char* facts, char** error) {
  return onApp(app, error, [&] { app->environment->setFacts(factsOf(dictionaryOf(facts, "facts"))); });
}

fliprugair_status fliprugair_on_main(fliprugair_app* app, void (*task)(void* user), void* user, char** error) {
  return onApp(app, error, [&] {
    if (task == nullptr) throw std::invalid_argument("task is a null pointer");
    if (!app->environment->onMain([&] { task(user); })) throw std::runtime_error(noMainThread);
  });
}

fliprugair_status fliprugair_run(fliprugair_app* app, char** error) {
  return onApp(app, error, [&] { app->environment->run(); });
}

fliprugair_status fliprugair_stop(fliprugair_app* app, char** error) {
  return onApp(app, error, [&] { app->environment->stop(); });
}

int fliprugair_file_descriptor(fliprugair_app* app, char** error) {
  int descriptor = -1;
  onApp(app, error, [&] { descriptor = app->environment->fileDescriptor(); });
  return descriptor;
}

int fliprugair_wait_milliseconds(fliprugair_app* app, char** error) {
  int wait = -1;
  onApp(app, error, [&] {
    const auto deadline = app->environment->nextDeadline();
    if (!deadline) return;
    const auto left = *deadline - std::chrono::steady_clock::now();
    wait = static_cast<int>(
        std::clamp<std::int64_t>(std::chrono::ceil<std::chrono::milliseconds>(left).count(), 0, INT_MAX));
  });
  return wait;
}

fliprugair_status fliprugair_poll(fliprugair_app* app, char** error) {
  return onApp(app, error, [&] { app->environment->poll(); });
}

fliprugair_tracker* fliprugair_start(fliprugair_app* app, const char* parameters, char** error) {
  fliprugair_tracker* started = nullptr;
  onApp(app, error, [&] {
    const Value options = dictionaryOf(parameters, "parameters");
    auto handle = std::make_unique<fliprugair_tracker>();
    const auto start = [&] {
      handle->tracker = MarluneTracker::swiftInitMarluneWithParams(*app->environment, options);
      if (handle->tracker) handle->tracker->setTrackerDelegate(app->listener);
    };
    if (!app->launched) {
      start();
    } else if (!app->environment->onMain(start)) {
      throw std::runtime_error(noMainThread);
    }
    if (!handle->tracker) {
      throw std::invalid_argument(R"(a tracker needs "marluneAppId", or "partnerId" and "partnerName", as texts)");
    }
    const std::lock_guard lock(app->mutex);
    app->trackers.push_back(std::move(handle));
    started = app->trackers.back().get();
  });
  return started;
}
