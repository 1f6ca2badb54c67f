#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// The application's key-value store, which survives the process.
///
/// Reads are answered from memory. A write is seen by every later read at once and becomes durable with the next
/// `synchronize`. Values are shared, not copied: what is stored, enqueued and sent is one object.
///
/// Threads: every operation may be called from any thread and is atomic by itself; sequences of them are not, except
/// `update`. Failures of the medium are the store's own affair: it says so in the log, throws nothing and goes on from
/// memory.
class FLIPRUGAIR_EXPORT UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  /// Null when the key is absent. A key that is present but empty ("", {} or []) is not null.
  virtual Value objectForKey(std::string_view key) const = 0;

  /// Null removes the key.
  virtual void setObject(Value value, std::string_view key) = 0;

  /// Replaces what `key` holds (null when absent) by what `change` makes of it, with no other write in between.
  /// `change` is called once, must be quick and must not touch this store.
  virtual void update(std::string_view key, const std::function<Value(const Value&)>& change) = 0;

  /// Makes every write so far durable before it returns: they survive the end of the process at any instant, together
  /// or not at all. Between beginGroup and endGroup of the calling thread it only notes that this is wanted.
  virtual void synchronize() = 0;

  /// Groups nest. The endGroup that closes the outermost one of the calling thread synchronizes once, if that was
  /// wanted in between. Use StoreGroup.
  virtual void beginGroup() = 0;
  virtual void endGroup() = 0;

  /// Runs `action` on the calling thread once everything that this thread has written or seen so far is durable: before
  /// it returns when no group of the thread is open (which includes a synchronization), else when the outermost one
  /// has ended, synchronized, and all actions that were given before have run. It runs with no lock held and may use
  /// this store; it must not throw. When the medium refuses, it runs all the same.
  ///
  /// A store that has no use for groups need not override it.
  virtual void whenDurable(std::function<void()> action) {
    synchronize();
    action();
  }

  /// As Value::boolValue and Value::integerValue of the object; NO and 0 when absent.
  bool boolForKey(std::string_view key) const;
  std::int64_t integerForKey(std::string_view key) const;

  /// None when the key is absent or holds something else than an array.
  std::optional<Array> arrayForKey(std::string_view key) const;

  void setBool(bool truth, std::string_view key);

  /// An unsigned integer, such as a time, in the signed form that integerForKey reads.
  void setInteger(std::uint64_t number, std::string_view key);

  void removeObject(std::string_view key);
};

/// The writes of one scope become durable together, when it ends; earlier, as far as they have come, if another thread
/// synchronizes meanwhile.
class StoreGroup {
 public:
  explicit StoreGroup(UserDefaults& store) : store_(store) { store_.beginGroup(); }
  ~StoreGroup() { store_.endGroup(); }
  StoreGroup(const StoreGroup&) = delete;
  StoreGroup& operator=(const StoreGroup&) = delete;

 private:
  UserDefaults& store_;
};

}  // namespace fliprugair
