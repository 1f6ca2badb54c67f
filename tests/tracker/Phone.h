#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "platform/virtual/VirtualDevice.h"
#include "platform/virtual/VirtualProcess.h"
#include "tools/sim/TrackerInternals.h"

namespace fliprugair {

/// A virtual device with one process, whose events are kept.
class Phone {
 public:
  Phone();

  VirtualDevice device;
  VirtualProcess process;

  std::shared_ptr<MarluneTracker> construct(const Value& options = Value{{"marluneAppId", "demo"}});
  /// The pending request `number` is answered, and what follows from it runs.
  void reply(std::uint64_t number, const Value& body);

  std::vector<Dictionary> events() const;
  /// The events of that name.
  std::vector<Dictionary> events(std::string_view name) const;
  void forgetEvents();
  /// The payloads of the requests of that action that were sent, in order.
  std::vector<Dictionary> requests(std::string_view action) const;
  /// The log lines that end so.
  int logged(std::string_view ending) const;
  /// In how many seconds each armed timer of that name is due.
  std::vector<double> timers(std::string_view selector);
  /// The records that wait in the batch queue.
  Array batch() const;
  Value stored(std::string_view name) const;
  void store(std::string_view name, const Value& value);
  /// Its installation was reported in an earlier life: with the facts that a new device has, nothing is due.
  void storeReportedInstall();

  /// From here on this test makes the tracker send what no host app would: it need not satisfy the schemas of the wire
  /// protocol, as everything else that a phone sends has to.
  void sendsOddities() { sendsOddities_ = true; }
  /// This test brings about findings of that kind ("batch-size"). Before there are threads.
  void mayCause(const std::string& finding) { expected_.insert(finding); }

  Platform& platform() { return process.platform(); }
  /// What the trackers of this process share.
  ProcessState& state() { return *ProcessState::of(process); }

 private:
  void look(const Dictionary& event) const;

  std::atomic<bool> sendsOddities_ = false;
  std::set<std::string, std::less<>> expected_;  ///< kinds of findings
  mutable std::mutex mutex_;
  std::vector<Dictionary> events_;
};

/// A reply to the init request that sets nothing and asks for nothing.
inline const Value neutralFlags{{"resend_initial", false}};
inline const Value neutral{{"success", 1}, {"flags", neutralFlags}};

/// A phone whose installation was reported and whose tracker has had its init reply: nothing waits.
class InstalledPhone : public Phone {
 public:
  explicit InstalledPhone(const Value& options = Value{{"marluneAppId", "demo"}}, const Value& initReply = neutral);

  TrackerImplementation& parts() const { return internalsOf(*tracker); }

  std::shared_ptr<MarluneTracker> tracker;
};

/// What is reported as the installation in storeReportedInstall.
Value reportedInstall();

/// Everything that a process and its store hold, as paths with the JSON text of what stands there.
using Snapshot = std::map<std::string, std::string>;

/// The store, the process-wide values with the armed timers, and the events but for log lines.
Snapshot snapshotOf(Phone& phone);

/// Puts `value` at `path` (and below) in `snapshot`; nothing removes what is there.
void put(Snapshot& snapshot, const std::string& path, const Value& value);

/// Fails for every path at which the two differ.
void expectSame(const Snapshot& found, const Snapshot& expected);

/// The path of a stored key by its short name.
std::string storePath(std::string_view name);

/// `dictionary` with `value` under `key`.
Value with(const Value& dictionary, std::string_view key, const Value& value);

/// A line for messages: which case of a table this is.
std::string traceOf(std::string_view name, const Value& value);

/// A megabyte of one character.
std::string megabyteOf(char character);

}  // namespace fliprugair
