#include "tools/swarm/Account.h"

#include <algorithm>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/install/InstallReport.h"

namespace fliprugair::swarm {

bool NumberSet::contains(std::uint32_t number) const {
  return number <= upTo_ || std::ranges::binary_search(beyond_, number);
}

bool NumberSet::insert(std::uint32_t number) {
  if (contains(number)) return false;
  beyond_.insert(std::ranges::lower_bound(beyond_, number), number);
  auto next = beyond_.begin();
  while (next != beyond_.end() && *next == upTo_ + 1) {
    ++upTo_;
    ++next;
  }
  beyond_.erase(beyond_.begin(), next);
  if (beyond_.empty()) beyond_.shrink_to_fit();
  return true;
}

Records& Records::operator+=(const Records& other) {
  recorded += other.recorded;
  confirmed += other.confirmed;
  waiting += other.waiting;
  twice += other.twice;
  needless += other.needless;
  unaccounted += other.unaccounted;
  return *this;
}

void forEachNumber(const Value& payload, const std::function<void(std::uint32_t)>& action) {
  for (const Value& record : payload.array()) forEachNumber(record, action);
  const Dictionary request = payload.dictionary();
  if (request["action"] == Value("initial")) action(Account::installation);
  if (request["action"] == Value("event")) {
    action(static_cast<std::uint32_t>(request["data"].dictionary()["event_data"].integerValue()));
  }
}

void Account::arrived(const Value& payload) {
  forEachNumber(payload, [&](std::uint32_t number) {
    if (!arrived_.insert(number)) ++twice_;
    // The host may ask for the installation once more.
    if (number != installation && confirmed_.contains(number)) ++needless_;
  });
}

void Account::confirmed(const Value& payload) {
  forEachNumber(payload, [&](std::uint32_t number) { confirmed_.insert(number); });
}

Records Account::records(const Dictionary& stored) const {
  NumberSet waiting;
  const auto wait = [&](std::uint32_t number) {
    if (!confirmed_.contains(number)) waiting.insert(number);
  };
  if (recorded_ > 0 && stored[key::sendInitial].boolValue()) wait(installation);
  forEachNumber(stored[key::batchEventQueue], wait);
  const Dictionary queue = stored[key::networkQueue].dictionary();
  for (const Dictionary::Entry& entry : queue.entries()) forEachNumber(entry.value, wait);
  return {.recorded = recorded_,
          .confirmed = confirmed_.size(),
          .waiting = waiting.size(),
          .twice = twice_,
          .needless = needless_,
          .unaccounted = recorded_ - confirmed_.size() - waiting.size()};
}

}  // namespace fliprugair::swarm
