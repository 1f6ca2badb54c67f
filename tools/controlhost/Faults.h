#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "Fliprugair/platform/Value.h"
#include "tools/controlhost/HttpServer.h"
#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

/// What goes wrong on purpose.
struct Fault {
  enum class Kind { status, delay, hang, resetBefore, resetDuring, truncate, garbage };
  Kind kind = Kind::status;
  std::string action = {};  ///< "" in these three: any
  std::string device = {};
  std::string app = {};
  int status = 503;
  std::chrono::milliseconds delay{0};
  std::int64_t times = 0;  ///< 0: without end
  int percent = 100;       ///< of the requests that match
  std::int64_t hits = 0;   ///< so far
  std::int64_t id = 0;     ///< given by the host; never used again
};

/// Decides which requests meet which fault. Any thread.
class Faults {
 public:
  /// Changes the reply as the first fault that matches says, and returns that in words; "" when none does.
  std::string apply(const ReceivedRequest& request, HttpReply& reply);

  void set(std::vector<Fault> faults);
  /// Behind the others.
  void add(Fault fault);
  /// False when there is none of that id.
  bool remove(std::int64_t id);
  void setOffline(bool offline);
  void reset();

  Value json() const;
  /// Sets them from what json() gives. Returns what is wrong with it; then nothing has changed.
  std::vector<std::string> setJSON(const Value& json);
  /// Adds one of those that json() gives. Returns what is wrong with it; then nothing has changed.
  std::vector<std::string> addJSON(const Value& json);

 private:
  mutable std::mutex mutex_;  ///< around the rest
  std::vector<Fault> faults_;
  std::int64_t lastId_ = 0;
  bool offline_ = false;
  std::minstd_rand random_{1};  ///< the same faults in every run
};

}  // namespace fliprugair::controlhost
