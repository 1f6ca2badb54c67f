#pragma once

#include <cstdint>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "Fliprugair/controlhost/Fault.h"
#include "Fliprugair/controlhost/ReceivedRequest.h"
#include "Fliprugair/platform/Value.h"
#include "tools/controlhost/HttpServer.h"

namespace fliprugair::controlhost {

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
