#pragma once

#include <functional>
#include <thread>

namespace fliprugair {

/// A thread of the platform's that takes no signals but its own faults: a host app's handlers run on its own threads.
/// `name` has at most 15 characters. Throws std::system_error when there can be no more threads.
std::thread startThread(const char* name, std::function<void()> body);

}  // namespace fliprugair
