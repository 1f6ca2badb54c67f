#pragma once

#include "platform/virtual/VirtualDevice.h"

namespace fliprugair {

/// Stores what a finished first visit of `device` leaves behind: an identifier that is always the same, the settings'
/// arrival just now, and the device's properties as reported. A tracker that is constructed next has nothing to send.
void storeFirstVisit(VirtualDevice& device);

}  // namespace fliprugair
