#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/gpsd/GpsdLocationManager.h"
#include "platform/gpsd/GpsdStop.h"
#include "platform/posix/FileDescriptor.h"

namespace fliprugair {

/// A connection that watches gpsd's reports. Whatever waits is given up at the deadline, and at once when a stop is
/// requested; `stop` must outlive the connection. One thread. (libgps's own connection can be bound to neither; only
/// its reading of reports is used.)
class GpsdConnection {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  GpsdConnection(const GpsdOptions& options, Deadline deadline, GpsdStop& stop);
  ~GpsdConnection();
  GpsdConnection(const GpsdConnection&) = delete;
  GpsdConnection& operator=(const GpsdConnection&) = delete;

  /// Whether gpsd answered and was asked for its reports.
  bool isOpen() const { return static_cast<bool>(socket_); }

  /// The next line, without its end. None when the deadline has passed, a stop was requested or gpsd is gone.
  std::optional<std::string> nextLine();

 private:
  void connect(const std::string& address, const std::string& port);
  bool watch();
  bool receive();
  bool waitFor(short events);

  Deadline deadline_;
  GpsdStop& stop_;
  FileDescriptor wake_;  ///< becomes readable when a stop is requested
  FileDescriptor socket_;
  std::string received_;
};

}  // namespace fliprugair
