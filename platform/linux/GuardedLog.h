#pragma once

#include <string_view>

#include "Fliprugair/platform/linux/Log.h"
#include "platform/FunctionRef.h"

namespace fliprugair {

/// A log that hands every line to `sink` and drops what it throws; an empty sink stands for standard error. Copies
/// share the sink, so that whatever holds one may outlive the environment.
Log guardedLog(Log sink);

/// Runs code that is not ours on a thread that must go on: what it throws is logged with the name of `what`, and
/// dropped.
void runGuarded(FunctionRef<void()> code, std::string_view what, const Log& log);

}  // namespace fliprugair
