// A host app on a platform of its own, of which nothing is known here: the tracker alone. To be linked, not to be run.

#include <Fliprugair/Fliprugair>

fliprugair::Environment* volatile ownEnvironment = nullptr;

int main() {
  const auto tracker = fliprugair::MarluneTracker::initMarluneWithParams(*ownEnvironment, {{"marluneAppId", "demo"}});
  tracker->trackEvent("level", "7");
}
