#include "Fliprugair/testing/Records.h"

#include <algorithm>
#include <iterator>
#include <ostream>

namespace fliprugair {

std::ostream& operator<<(std::ostream& out, const RecordedEvent& event) {
  out << '"' << event.title << '"';
  if (event.value) out << " = \"" << *event.value << '"';
  if (event.receipt) out << ", receipt \"" << *event.receipt << '"';
  if (event.place) out << " at " << event.place->x << ", " << event.place->y << ", " << event.place->z;
  if (event.standard) out << ", standard";
  return out;
}

RecordedEvents RecordedEvents::with(std::string_view title) const {
  RecordedEvents found;
  std::copy_if(begin(), end(), std::back_inserter(found),
               [&](const RecordedEvent& event) { return event.title == title; });
  return found;
}

}  // namespace fliprugair
