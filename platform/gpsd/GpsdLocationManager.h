#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Fliprugair/collaborators/MarluneLocationManager.h"

namespace fliprugair {

class GpsdSearch;

struct GpsdOptions {
  /// "localhost" or a numeric address. Other names are not looked up: a resolver could hold the search up for longer
  /// than it may last.
  std::string host = "localhost";
  /// A number.
  std::string port = "2947";
};

/// One search for one position with gpsd.
///
/// The search has a thread of its own, which connects, watches gpsd's reports, calls the delegate with the first
/// sufficient fix, and frees everything it holds when it is over: with a fix, by time-out, or because the object was
/// dropped. A gpsd that is not there, or goes away, is tried again every second. What is sufficient: GpsReports.h.
///
/// The delegate and `log` are called on the search's thread. Both the destructor and a change of the delegate wait for
/// a call that is running there, so that none follows; only when made from inside that call do they return at once.
/// Dropping the object inside the call is therefore allowed.
class GpsdLocationManager final : public MarluneLocationManager {
 public:
  using Log = std::function<void(std::string_view)>;

  /// Made by GpsdLocation.
  explicit GpsdLocationManager(std::shared_ptr<GpsdSearch> search);
  ~GpsdLocationManager() override;
  GpsdLocationManager(const GpsdLocationManager&) = delete;
  GpsdLocationManager& operator=(const GpsdLocationManager&) = delete;

  void setLocationManagerDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate) override;

  /// An object searches once: a further call does nothing. Owner's thread.
  void initLocationServices(bool loggingEnabled, std::int64_t accuracy, std::int64_t timeout) override;

 private:
  const std::shared_ptr<GpsdSearch> search_;  ///< shared with the search's thread
};

}  // namespace fliprugair
