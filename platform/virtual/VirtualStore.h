#pragma once

#include "Fliprugair/platform/UserDefaults.h"
#include "platform/Locked.h"

namespace fliprugair {

/// A store in memory that is always durable: it belongs to the device and outlives its processes.
class VirtualStore final : public UserDefaults {
 public:
  /// Learns of every write, in order, on whatever thread writes: what stood under the key, and what stands there now.
  /// It must not write itself.
  using Observer = std::function<void(std::string_view key, const Value& before, const Value& after)>;

  VirtualStore() = default;
  explicit VirtualStore(Observer observer) : observer_(std::move(observer)) {}

  Value objectForKey(std::string_view key) const override { return values_.load()[key]; }
  void setObject(Value value, std::string_view key) override;
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override;
  void synchronize() override {}
  void beginGroup() override {}
  void endGroup() override {}
  void whenDurable(std::function<void()> action) override { action(); }

  /// All keys with their values, in the order in which they were first written.
  Dictionary all() const { return values_.load(); }

 private:
  const Observer observer_;
  std::mutex writing_;
  Locked<Dictionary> values_;
};

}  // namespace fliprugair
