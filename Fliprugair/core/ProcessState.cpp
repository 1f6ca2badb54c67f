#include "Fliprugair/core/ProcessState.h"

#include "Fliprugair/collaborators/Environment.h"

namespace fliprugair {

Environment::Environment() : processState_(std::make_unique<ProcessState>()) {}
Environment::~Environment() = default;

}  // namespace fliprugair
