#include "platform/linux/Gate.h"

#include <algorithm>

namespace fliprugair {

/// A call's stay inside, also when it throws.
class Gate::Visit {
 public:
  explicit Visit(Gate& gate) : gate_(gate) {
    const std::lock_guard lock(gate_.mutex_);
    if (gate_.closed_) return;
    gate_.inside_.push_back(std::this_thread::get_id());
    admitted_ = true;
  }
  ~Visit() {
    if (!admitted_) return;
    const std::lock_guard lock(gate_.mutex_);
    gate_.inside_.erase(std::find(gate_.inside_.begin(), gate_.inside_.end(), std::this_thread::get_id()));
    gate_.changed_.notify_all();
  }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

  bool isAdmitted() const { return admitted_; }

 private:
  Gate& gate_;
  bool admitted_ = false;
};

void Gate::pass(const std::function<void()>& call) {
  const Visit visit(*this);
  if (visit.isAdmitted()) call();
}

void Gate::close() {
  std::unique_lock lock(mutex_);
  closed_ = true;
  changed_.wait(lock, [this] { return inside_.empty(); });
}

bool Gate::isInside() const {
  const std::lock_guard lock(mutex_);
  return std::find(inside_.begin(), inside_.end(), std::this_thread::get_id()) != inside_.end();
}

}  // namespace fliprugair
