#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/UserDefaults.h"
#include "platform/NameHash.h"
#include "platform/virtual/ShortLock.h"

namespace fliprugair {

/// A store in memory that is always durable: it belongs to the device and outlives its processes.
class VirtualStore final : public UserDefaults {
 public:
  /// Learns of every write, in order, on whatever thread writes: what stood under the key, and what stands there now.
  /// It must not write itself.
  using Observer = std::function<void(std::string_view key, const Value& before, const Value& after)>;

  VirtualStore() = default;
  explicit VirtualStore(Observer observer) : observer_(std::move(observer)) {}

  Value objectForKey(std::string_view key) const override;
  void setObject(Value value, std::string_view key) override;
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override;
  void synchronize() override {}
  void beginGroup() override {}
  void endGroup() override {}
  void whenDurable(std::function<void()> action) override { action(); }

  /// All keys with their values, in the order in which they were first written.
  Dictionary all() const;

  /// Keeps everything as one text until somebody asks for a value: a fraction of the memory, for a device that rests.
  /// `json` must outlive the store.
  void pack(const JSONSerialization& json);

 private:
  struct Stored {
    std::uint64_t number;  ///< of the write that was the key's first
    Value value;
  };
  using Values = std::unordered_map<std::string, Stored, NameHash, std::equal_to<>>;

  static Dictionary inOrder(const Values& values);
  /// Only with the lock.
  void unpack() const {
    if (!packed_.empty()) unpackAll();
  }
  void unpackAll() const;

  const Observer observer_;
  std::mutex writing_;       ///< by which the observer learns of the writes in their order
  mutable ShortLock mutex_;  ///< around the rest
  mutable Values values_;
  mutable std::uint64_t lastNumber_ = 0;
  mutable std::string packed_;  ///< "" while values_ hold
  const JSONSerialization* json_ = nullptr;
};

}  // namespace fliprugair
