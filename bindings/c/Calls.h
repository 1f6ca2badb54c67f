#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Fliprugair/fliprugair.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

class LinuxEnvironment;
class MarluneTracker;
class MarluneTrackerClientDelegate;

/// A copy that C may free with fliprugair_free; a null pointer when there is no memory left.
char* copyOf(const std::string& text);

/// Runs `body` and stores the text of what it throws in `error`, unless that is a null pointer. Nothing is thrown.
template <class Body>
fliprugair_status guarded(char** error, Body body) noexcept;

/// What has to be there. Throws std::invalid_argument.
void require(const void* argument, const char* name);

/// The object that the JSON text `json` is. Throws std::invalid_argument when it is none.
Dictionary dictionaryOf(const char* json, const char* name);

/// What is being thrown, as a status, with its text in `error`. Called inside a catch.
fliprugair_status failure(char** error) noexcept;

template <class Body>
fliprugair_status guarded(char** error, Body body) noexcept {
  if (error != nullptr) *error = nullptr;
  try {
    body();
    return FLIPRUGAIR_OK;
  } catch (...) {
    return failure(error);
  }
}

}  // namespace fliprugair

struct fliprugair_tracker {
  std::shared_ptr<fliprugair::MarluneTracker> tracker;
};

struct fliprugair_app {
  std::shared_ptr<fliprugair::MarluneTrackerClientDelegate> listener;
  std::unique_ptr<fliprugair::LinuxEnvironment> environment;
  std::mutex mutex;  ///< around the list
  std::vector<std::unique_ptr<fliprugair_tracker>> trackers;
  std::atomic<bool> launched = false;  ///< the main thread may be one of the platform's
};
