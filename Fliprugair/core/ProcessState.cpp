#include "Fliprugair/core/ProcessState.h"

#include "collaborators/Environment.h"

namespace fliprugair {

Environment::Environment() : processState_(std::make_unique<ProcessState>()) {}
Environment::~Environment() = default;

}  // namespace fliprugair
