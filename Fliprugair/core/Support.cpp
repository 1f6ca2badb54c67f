// What every part of the tracker uses: store, log, clock and main queue in the tracker's own terms.

#include <exception>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

/// Read in single precision on purpose: the thresholds that it is compared with are chosen for that.
float MarluneTracker::systemVersion() const { return floatOfText(platform().device().systemVersion()); }

std::string MarluneTracker::systemNameAndVersion() const {
  return platform().device().systemName() + " " + platform().device().systemVersion();
}

/// "" when the entry is missing.
Value MarluneTracker::bundleText(std::string_view key) const { return platform().bundle().infoEntry(key).text(); }

/// "" when the list is empty.
std::string MarluneTracker::preferredLanguage() const {
  const auto languages = platform().device().preferredLanguages();
  return languages.empty() ? "" : languages.front();
}

/// A boolean in the form in which reports carry it.
Value MarluneTracker::digitText(bool flag) { return flag ? "1" : "0"; }

bool MarluneTracker::isDisabled(std::string_view deviceType) const {
  return state().disabledDeviceTypes.load().array().containsText(deviceType);
}

bool MarluneTracker::loggingEnabled() const { return state()._loggingEnabled; }

/// Writes the line whether logging is enabled or not. `method` is the method's full name, `line` a number that
/// identifies the message for good, wherever the code moves.
void MarluneTracker::log(std::string_view method, int line, std::string_view message) const {
  std::string text(method);
  text += " [Line " + std::to_string(line) + "] ";
  text += message;
  try {
    platform().log(text);
  } catch (...) {
    // A host app's sink that throws costs the line; there is nowhere left to say so.
  }
}

std::string MarluneTracker::described(const Value& value) const {
  if (value.isNull()) return "(null)";
  if (value.isText()) return value.text();
  return platform().json().text(value).value_or("(null)");
}

/// The task keeps the tracker alive until it has run.
void MarluneTracker::postToMainQueue(std::function<void(MarluneTracker&)> task) {
  platform().mainQueue().async(
      [self = shared_from_this(), task = std::move(task)] { self->guarded([&] { task(*self); }); });
}

/// Main thread only. The timer does not keep the tracker alive.
std::shared_ptr<Timer> MarluneTracker::schedule(double seconds, std::string_view selector,
                                                void (MarluneTracker::*action)()) {
  return platform().mainQueue().scheduleTimer(seconds, selector, [weak = weak_from_this(), action] {
    if (const auto self = weak.lock()) self->guarded([&] { ((*self).*action)(); });
  });
}

/// Every entry into the tracker from outside goes through here: nothing that is thrown inside gets out.
void MarluneTracker::guarded(const std::function<void()>& operation) const {
  constexpr std::string_view method = "-[MarluneTracker guarded:]";
  try {
    operation();
  } catch (const std::exception& exception) {
    log(method, 2604, std::string("EXCEPTION (CAUGHT) 5b1f3a52-6c0e-4d0b-9d3c-0f7f6b2f8a41 - ") + exception.what());
  } catch (...) {
    log(method, 2607, "EXCEPTION (CAUGHT) 8d0a5f0e-3b61-4a0c-8f55-1c6a4c2f9e77 - (null)");
  }
}

/// A public operation: what it writes becomes durable together, before it returns. A request that it sends may be on
/// its way a moment earlier, and another thread may make the first half durable alone; if the process ends in that
/// moment, something is sent twice, and nothing is lost.
void MarluneTracker::perform(const std::function<void()>& operation) const {
  const StoreGroup group(store());
  guarded(operation);
}

}  // namespace fliprugair
