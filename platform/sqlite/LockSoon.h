#pragma once

#include <mutex>

namespace fliprugair {

/// Locks `mutex`, and looks for it a few times before the thread sleeps: what the store does under a lock is shorter
/// than the waking of a thread that sleeps for its end.
std::unique_lock<std::mutex> lockSoon(std::mutex& mutex);

}  // namespace fliprugair
