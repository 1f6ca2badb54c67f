#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "support/TemporaryFolder.h"

namespace fliprugair::test {

/// One second of a receiver: its sentences of NMEA 0183 carry the horizontal dilution of precision, out of which gpsd
/// makes 19 metres for each 1.0. A receiver without a fix says so and gives no position.
struct Epoch {
  bool fix = true;
  double horizontalDilution = 0.8;
};

/// A real gpsd that gpsfake feeds with `epochs`, over and over, on `port` or else one of its own. Ready once
/// constructed.
class GpsFake {
 public:
  explicit GpsFake(const std::vector<Epoch>& epochs, const std::string& port = "");
  ~GpsFake();
  GpsFake(const GpsFake&) = delete;
  GpsFake& operator=(const GpsFake&) = delete;

  const std::string& port() const { return port_; }

  /// Ends gpsd without warning, as a crash would.
  void kill();

 private:
  void start(const std::string& port);
  bool hasReceiver() const;
  std::string controlSocket() const;

  const TemporaryFolder folder_;
  std::string port_;
  pid_t process_ = -1;
};

/// A port of the loopback address that nothing listens on.
std::string freePort();

}  // namespace fliprugair::test
