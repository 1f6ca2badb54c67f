#include "Fliprugair/install/OutsideServices.h"

#include "platform/FunctionRef.h"

namespace fliprugair {

namespace {

/// Adds the names of those services of which at least one trace is found, in the dictionary's order.
/// Every trace is looked at, even when one was found already.
void addFound(Array& found, const Dictionary& services, FunctionRef<bool(const std::string&)> isPresent) {
  for (const Dictionary::Entry& service : services.entries()) {
    bool any = false;
    for (const Value& trace : service.value.array()) {
      if (trace.isText() && isPresent(trace.text())) any = true;
    }
    if (any) found = found.appending(service.key());
  }
}

}  // namespace

void OutsideServices::determineOutsideServices(const Dictionary& services) {
  Array found;
  addFound(found, services["ios_nsud"].dictionary(),
           [&](const std::string& name) { return !context_.store().objectForKey(name).isNull(); });
  addFound(found, services["ios_docs"].dictionary(), [&](const std::string& name) {
    try {
      return documents_.unarchivesAsObject(getFullFilename(name));
    } catch (...) {
      return false;  // What a reader cannot stand is no archive, and nothing worth a line in the log.
    }
  });
  if (found.empty()) return;
  PairText data(context_.json());
  data.add("outside_services", found);
  batch_.appendBatchEvent(envelope_.request("update", RequestEnvelope::Form::full, data));
}

}  // namespace fliprugair
