#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "Fliprugair/core/Callbacks.h"
#include "Fliprugair/core/TimerReference.h"
#include "Fliprugair/platform/Platform.h"
#include "platform/FunctionRef.h"
#include "platform/Literal.h"
#include "platform/PlainTask.h"

namespace fliprugair {

/// What every part of one tracker stands on: the store, the log, the clock, the main queue, the guard around whatever
/// enters the tracker from outside, and the tracker itself as its collaborators see it.
class Context {
 public:
  struct Shared {
    std::atomic<bool> _loggingEnabled = false;
  };

  Context(Platform& platform, Shared& shared) : platform_(platform), shared_(shared) {}

  UserDefaults& store() const { return store_; }
  /// As UserDefaults::update, without the code of a std::function for each `change`.
  void update(std::string_view key, FunctionRef<Value(const Value&)> change) const;
  bool isInert() const { return platform_.isInert(); }
  const JSONSerialization& json() const { return platform_.json(); }
  double secondsSince1970() const { return platform_.secondsSince1970(); }

  /// The tracker that this belongs to, for collaborators and for whatever must not keep it alive.
  void setOwner(std::weak_ptr<Callbacks> owner) { owner_ = std::move(owner); }
  const std::weak_ptr<Callbacks>& owner() const { return owner_; }

  bool loggingEnabled() const { return shared_._loggingEnabled; }
  void enableLogging(bool enabled) { shared_._loggingEnabled = enabled; }

  /// Writes the line whether logging is enabled or not. `method` is the method's full name, `line` a number that
  /// identifies the message for good, wherever the code moves.
  void log(std::string_view method, int line, std::string_view message) const;

  /// The same while logging is enabled, and nothing otherwise; `value` is described behind the message.
  void logIfEnabled(std::string_view method, int line, std::string_view message) const;
  void logIfEnabled(std::string_view method, int line, std::string_view message, const Value& value) const;

  /// A value as log lines show it.
  std::string described(const Value& value) const;

  /// Whether `given`, which comes from the host app or from foreign code, nests too deep to travel in a request; says
  /// so in the log.
  bool isTooDeep(std::string_view method, int line, const Value& given) const;

  /// Every entry into the tracker from outside goes through here. Nothing that is thrown inside gets out, and what the
  /// operation writes becomes durable together, before this returns. Does nothing where the platform is inert: a lock
  /// that a thread of the parent held when this process was forked off is never given back.
  void perform(FunctionRef<void()> operation) const;

  /// Runs foreign code, or what depends on it, inside of an entry: what it throws is logged, and the entry goes on.
  void guarded(FunctionRef<void()> operation) const;

  /// The task keeps the tracker alive until it has run.
  void postToMainQueue(PlainTask task);

  /// Main thread only. The timer, to which `reference` refers from now on, does not keep the tracker alive.
  void arm(TimerReference& reference, double seconds, Literal selector, PlainTask action);

 private:
  Platform& platform_;
  Shared& shared_;
  UserDefaults& store_ = platform_.userDefaults();
  std::weak_ptr<Callbacks> owner_;
};

}  // namespace fliprugair
