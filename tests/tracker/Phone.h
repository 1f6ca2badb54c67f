#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Fliprugair/MarluneTracker.h"
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
  /// The records that wait in the batch queue.
  Array batch() const;
  Value stored(std::string_view name) const;
  void store(std::string_view name, const Value& value);

 private:
  mutable std::mutex mutex_;
  std::vector<Dictionary> events_;
};

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
