#include "platform/linux/CappedStore.h"

#include <string>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "platform/Joined.h"
#include "platform/UnreadValue.h"

namespace fliprugair {

namespace {

bool isInstallReport(const Value& request) { return request.dictionary()["action"].text() == "initial"; }

}  // namespace

void CappedStore::update(std::string_view key, const std::function<Value(const Value&)>& change) {
  if (key != key::networkQueue) {
    store_->update(key, change);
    return;
  }
  Dropped dropped;
  store_->update(key, [&](const Value& queue) { return withinCap(change(queue), dropped); });
  if (dropped.requests > 0) report(dropped);
}

/// Requests stand in the queue in the order in which they were made.
Value CappedStore::withinCap(const Value& queue, Dropped& dropped) const {
  Dictionary left = queue.dictionary();
  if (left.size() <= mostRequests_) return queue;
  for (const Dictionary::Entry& request : queue.dictionary().entries()) {
    if (left.size() <= mostRequests_) break;
    if (isInstallReport(request.value)) continue;
    left = left.removing(request.key());
    ++dropped.requests;
    dropped.records += UnreadValue::sizeOfArray(request.value);
  }
  return left;
}

void CappedStore::report(const Dropped& dropped) {
  const std::size_t soFar = droppedSoFar_ += dropped.requests;
  log_(joined({"Marlune library - more requests wait than the ", std::to_string(mostRequests_),
               " that this app allows: dropped the oldest, ", std::to_string(dropped.requests), " with ",
               std::to_string(dropped.records), " records; ", std::to_string(soFar), " since it was opened"}));
}

}  // namespace fliprugair
