// Which other services have left their traces in the application.

#include <functional>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

/// Adds the names of those services of which at least one trace is found, in the dictionary's order.
/// Every trace is looked at, even when one was found already.
void addFound(Array& found, const Dictionary& services, const std::function<bool(const std::string&)>& isPresent) {
  for (const Dictionary::Entry& service : services.entries()) {
    bool any = false;
    for (const Value& trace : service.value.array()) {
      if (trace.isText() && isPresent(trace.text())) any = true;
    }
    if (any) found = found.appending(service.key());
  }
}

}  // namespace

void MarluneTracker::determineOutsideServices(const Dictionary& services) {
  Array found;
  addFound(found, services["ios_nsud"].dictionary(),
           [&](const std::string& name) { return !store().objectForKey(name).isNull(); });
  addFound(found, services["ios_docs"].dictionary(),
           [&](const std::string& name) { return platform().documents().unarchivesAsObject(getFullFilename(name)); });
  if (found.empty()) return;
  appendBatchEvent(PairList()
                       .add("marlune_device_id", store().objectForKey(key::deviceId))
                       .add("marlune_app_id", store().objectForKey(key::appId))
                       .add("action", "update")
                       .add("data", PairList().add("outside_services", found).dictionary())
                       .add("sdk_version", state().sdkVersion.load())
                       .add("sdk_protocol", "4")
                       .dictionary());
}

std::string MarluneTracker::getFullFilename(std::string_view name) const {
  return platform().documents().pathForFile(name);
}

}  // namespace fliprugair
