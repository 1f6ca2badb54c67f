#include "platform/linux/LinuxCollaborators.h"

#include <atomic>
#include <utility>

#include "platform/linux/GuardedLog.h"

namespace fliprugair {

namespace {

/// The answer to one question, on its way to who asked. The source may keep it for longer than the environment lives.
class Answer {
 public:
  Answer(std::weak_ptr<GlobalQueue> queue, std::weak_ptr<MarluneiAdAttributionDelegate> delegate)
      : queue_(std::move(queue)), delegate_(std::move(delegate)) {}
  ~Answer() { giveNoDetails(); }
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;

  /// Only the first time.
  void give(const Value& details, bool unknown) {
    if (given_.exchange(true)) return;
    const std::shared_ptr<GlobalQueue> queue = queue_.lock();
    if (queue == nullptr) return;
    queue->async([delegate = delegate_, details, unknown] {
      if (const auto listener = delegate.lock()) listener->iAdAttributionData(details, unknown);
    });
  }

  void giveNoDetails() noexcept {
    try {
      give(nullptr, false);
    } catch (...) {
      // No memory: the tracker's own time-out ends its waiting.
    }
  }

 private:
  const std::weak_ptr<GlobalQueue> queue_;
  const std::weak_ptr<MarluneiAdAttributionDelegate> delegate_;
  std::atomic<bool> given_ = false;
};

}  // namespace

void LinuxSearchAdAttribution::setIAdAttributionDelegate(std::weak_ptr<MarluneiAdAttributionDelegate> delegate) {
  delegate_.store(std::move(delegate));
}

void LinuxSearchAdAttribution::retrieveiAdAttribution(bool /*loggingEnabled*/) {
  const std::shared_ptr<GlobalQueue> queue = queue_.lock();
  if (queue == nullptr) return;
  auto answer = std::make_shared<Answer>(queue_, delegate_.load());
  queue->async([source = source_, log = log_, answer = std::move(answer)] {
    if (!source) return;  // nobody answers
    const auto ask = [&] {
      try {
        source([answer](const Value& details, bool unknown) { answer->give(details, unknown); });
      } catch (...) {
        answer->giveNoDetails();  // a copy that the source has kept must not keep the tracker waiting
        throw;
      }
    };
    runGuarded(ask, "The search-ad source", log);
  });
}

}  // namespace fliprugair
