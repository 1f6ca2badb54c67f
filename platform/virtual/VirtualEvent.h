#pragma once

#include <string_view>

#include "platform/FunctionRef.h"
#include "platform/PairList.h"

namespace fliprugair {

/// Something that happens on a virtual device, for as long as it is being told. Most are of interest to nobody, so that
/// the dictionary is made for who asks for it alone.
class VirtualEvent {
 public:
  /// `details` is called with the list that what belongs to the event is to be added to. It must outlive this.
  template <class Details>
  VirtualEvent(std::string_view name, const Details& details) : name_(name), details_(details) {}

  std::string_view name() const { return name_; }

  /// The name under "event", and what belongs to it.
  operator Dictionary() const {
    PairList pairs;
    pairs.add("event", name_);
    details_(pairs);
    return pairs.dictionary();
  }

 private:
  std::string_view name_;
  FunctionRef<void(PairList&)> details_;
};

}  // namespace fliprugair
