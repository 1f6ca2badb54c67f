#pragma once

#include <functional>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// Whatever knows on this system whether a search ad led to the installation. Called on a thread of the global queue;
/// calls `answer` once, then or later, on any thread: with the details (a dictionary, or null when there are none),
/// and whether they are not known yet. What it throws, and dropping every copy of `answer` without a call, both count
/// as no details. It must not block, since terminate() waits for it: what takes long belongs on a thread of the host
/// app's, which answers later. An answer after the environment's termination has no effect.
using SearchAdSource = std::function<void(std::function<void(const Value& details, bool unknown)> answer)>;

}  // namespace fliprugair
