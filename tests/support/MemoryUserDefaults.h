#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>

#include "Fliprugair/platform/UserDefaults.h"

namespace fliprugair {

/// A store in memory. What it holds is durable at once.
class MemoryUserDefaults : public UserDefaults {
 public:
  Value objectForKey(std::string_view key) const override {
    const std::lock_guard lock(mutex_);
    const auto place = values_.find(key);
    return place == values_.end() ? Value() : place->second;
  }
  void setObject(Value value, std::string_view key) override {
    update(key, [&](const Value&) { return value; });
  }
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override {
    const std::lock_guard lock(mutex_);
    Value& place = values_[std::string(key)];
    place = change(place);
    if (place.isNull()) values_.erase(std::string(key));
  }
  void synchronize() override { ++synchronizations; }
  void beginGroup() override {}
  void endGroup() override {}
  void whenDurable(std::function<void()> action) override { action(); }

  std::atomic<int> synchronizations = 0;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, Value, std::less<>> values_;
};

}  // namespace fliprugair
