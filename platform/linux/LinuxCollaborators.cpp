#include "platform/linux/LinuxCollaborators.h"

#include <atomic>
#include <utility>

namespace fliprugair {

void LinuxSearchAdAttribution::setIAdAttributionDelegate(std::weak_ptr<MarluneiAdAttributionDelegate> delegate) {
  delegate_.store(std::move(delegate));
}

void LinuxSearchAdAttribution::retrieveiAdAttribution(bool /*loggingEnabled*/) {
  // What answers knows the delegate, not this object, which may be gone by then. A second answer has no question.
  auto answered = std::make_shared<std::atomic<bool>>(false);
  auto answer = [delegate = delegate_.load(), answered = std::move(answered), answers = answers_](const Value& details,
                                                                                                  bool unknown) {
    if (answered->exchange(true)) return;
    answers->pass([&] {
      if (const auto listener = delegate.lock()) listener->iAdAttributionData(details, unknown);
    });
  };
  queue_.async([source = source_, answer = std::move(answer)] {
    if (source) {
      source(answer);
    } else {
      answer(nullptr, false);
    }
  });
}

}  // namespace fliprugair
