#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tools/sim/Simulator.h"

namespace fliprugair::sim {

/// A simulator of which every command is followed by a look at what must hold, whatever the script is.
class WatchedSimulator {
 public:
  explicit WatchedSimulator(std::uint64_t seed);

  /// Runs one command, understood or not. What did not hold afterwards; "" when all is well.
  std::string run(const std::string& command);

  /// The requests of this process that have not ended, with their timestamps ("" for none).
  const std::map<std::int64_t, std::string>& pending() const { return pending_; }
  std::int64_t requests() const { return requests_; }
  std::int64_t tasks() const { return tasks_; }

 private:
  using Events = std::vector<Dictionary>;

  /// The command's events without its "done"; nothing when it was not understood.
  std::optional<Events> eventsOf(const std::string& command);
  Dictionary look(const std::string& command);
  void fail(const std::string& what);

  void takeNote(const Dictionary& command, const Events& events);
  void noteTaints(const Dictionary& command);
  void noteEvent(const Dictionary& event);
  void checkNumbers(const Dictionary& event);
  void checkSends(const Dictionary& command, const Events& events, const Dictionary& store);
  bool isOfThisCommand(const std::string& timestamp) const;
  void checkBatches(const Events& events, const Dictionary& store);
  void checkSending(const Dictionary& store);
  void checkKeys(const Dictionary& command, const Dictionary& store);
  void checkTimers(const Dictionary& state);
  void checkLog(const Dictionary& command, const Events& events, const Dictionary& state);
  void checkWithoutTracker(const Dictionary& command, const Events& events);
  void checkIdentifiers(const Dictionary& store);

  std::vector<std::string> lines_;
  Simulator simulator_;
  std::uint64_t number_ = 0;
  std::string failure_;

  Dictionary storeBefore_;
  double timeBefore_ = 1700000000;
  double time_ = 1700000000;
  bool loggingBefore_ = false;
  std::map<std::int64_t, std::string> pending_;
  std::multiset<std::string> armed_;
  std::int64_t requests_ = 0;
  std::int64_t tasks_ = 0;
  bool holdsTracker_ = false;
  std::size_t kept_ = 0;              ///< trackers, since the last restart
  bool wroteBatch_ = false;           ///< the script wrote the batch queue that is there
  bool wroteNetworkQueue_ = false;    ///< the script wrote to the network queue
  bool sendingIsForeign_ = false;     ///< "eventsSending" is the script's, or of an earlier process
  bool identifierIsForeign_ = false;  ///< the script or the control host gave a device identifier
};

}  // namespace fliprugair::sim
