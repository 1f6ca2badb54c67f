#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "Fliprugair/platform/UserDefaults.h"
#include "Fliprugair/platform/linux/Log.h"

namespace fliprugair {

/// A store in which only so many requests wait for the control host: with one more, the oldest is dropped, and the log
/// says so. The report of the installation is never dropped, for nothing would replace it.
class CappedStore final : public UserDefaults {
 public:
  /// `mostRequests` is at least 1.
  CappedStore(std::shared_ptr<UserDefaults> store, std::size_t mostRequests, Log log)
      : store_(std::move(store)), mostRequests_(mostRequests), log_(std::move(log)) {}

  Value objectForKey(std::string_view key) const override { return store_->objectForKey(key); }
  /// A copy: GCC 12 warns at -O3 of a move that it inlines here.
  void setObject(Value value, std::string_view key) override { store_->setObject(value, key); }
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override;
  void synchronize() override { store_->synchronize(); }
  void beginGroup() override { store_->beginGroup(); }
  void endGroup() override { store_->endGroup(); }
  void whenDurable(std::function<void()> action) override { store_->whenDurable(std::move(action)); }

 private:
  struct Dropped {
    std::size_t requests = 0;
    std::size_t records = 0;  ///< that were in them
  };

  Value withinCap(const Value& queue, Dropped& dropped) const;
  void report(const Dropped& dropped);

  const std::shared_ptr<UserDefaults> store_;
  const std::size_t mostRequests_;
  const Log log_;
  std::atomic<std::size_t> droppedSoFar_ = 0;
};

}  // namespace fliprugair
