#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

/// What is known of each device: what it is, how much it sent, and its sessions. Any thread.
class Devices {
 public:
  void note(const ReceivedRequest& request, const Value& body);

  /// The last seen first; those that have changed behind the change `since`.
  Array json(std::int64_t since = 0) const;
  /// The number of the latest change.
  std::int64_t change() const;

  void clear();
  /// False when it is not known.
  bool forget(const std::string& device);

 private:
  struct Session {
    std::int64_t start;
    std::optional<std::int64_t> end;
    std::int64_t records;
  };
  struct Device {
    std::string app;
    double first = 0;
    double last = 0;
    std::int64_t requests = 0;
    std::int64_t records = 0;
    std::array<std::int64_t, 3> findings{};  ///< by severity
    std::string system;
    std::string model;
    std::string version;
    std::string package;
    std::deque<Session> sessions;
    std::int64_t change = 0;
  };

  static void noteRecord(Device& device, const Value& record, double received);
  static Session& openSession(Device& device, std::int64_t time);
  static void noteSession(Device& device, const Dictionary& data, std::int64_t time);
  static Value json(const std::string& name, const Device& device);

  mutable std::mutex mutex_;  ///< around the rest
  std::map<std::string, Device> devices_;
  std::int64_t change_ = 0;
};

}  // namespace fliprugair::controlhost
