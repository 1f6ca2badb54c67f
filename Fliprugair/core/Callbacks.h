#pragma once

#include "Fliprugair/collaborators/MarluneLocationManager.h"
#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/collaborators/MarluneRetrieveiAdAttribution.h"

namespace fliprugair {

/// What the collaborators call when they have something for the tracker: the tracker as they see it. They hold it
/// weakly.
class Callbacks : public MarluneNetworkAccessDelegate,
                  public MarluneiAdAttributionDelegate,
                  public MarluneLocationManagerDelegate {};

}  // namespace fliprugair
