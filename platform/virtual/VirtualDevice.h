#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Fliprugair/platform/Device.h"
#include "Fliprugair/platform/Text.h"
#include "platform/virtual/VirtualEvent.h"
#include "platform/virtual/VirtualStore.h"

namespace fliprugair {

/// The facts of a virtual device. Plain values: whoever runs the device sets them.
struct VirtualFacts {
  std::string systemName = "iOS";
  std::string systemVersion = "9.3";
  double foundationVersion = 1280.25;
  Text hardware = "iPhone8,1";
  std::vector<std::string> languages = {"en"};
  std::optional<std::string> idfv = "11111111-2222-4333-8444-555555555555";
  std::optional<std::string> idfa = "66666666-7777-4888-9999-AAAAAAAAAAAA";
  bool adTrackingEnabled = true;
  std::optional<Screen> screen = Screen{750, 1334, 0.5};
  int orientation = 1;
  std::map<std::string, std::string, std::less<>> bundle = {
      {"CFBundleIdentifier", "com.example.app"}, {"CFBundleShortVersionString", "1.0"}, {"CFBundleVersion", "100"}};
  std::optional<std::string> receipt;                     ///< the file's bytes
  std::map<std::string, Value, std::less<>> pasteboards;  ///< name to text, or to nothing for one without
  Text userAgent = "VirtualDevice/1.0";
  Reachability reachability = {true, true, Reachability::reachable};
  bool locationServices = true;
  int locationStatus = 3;
  std::map<std::string, std::string, std::less<>> documents;  ///< file name to bytes
};

/// What of a virtual device outlives its processes: store, clock, facts, files, and the numbers that count on.
/// Time stands still until it is moved. Nothing here sleeps or leaves the process.
class VirtualDevice {
 public:
  /// Wide enough for whatever a script lets pass.
  __extension__ using Nanoseconds = __int128;
  /// Receives what happens, in order; one that takes a dictionary receives each as one. Called on whatever thread it
  /// happens on, with no lock held.
  using EventSink = std::function<void(const VirtualEvent& event)>;
  /// Whether a file's bytes are a keyed archive that can be read as an object.
  using ArchiveReader = std::function<bool(std::string_view bytes)>;

  /// The same seed gives the same random UUIDs.
  VirtualDevice(EventSink events, ArchiveReader archives, std::uint64_t seed = 1,
                VirtualStore::Observer storeObserver = {});

  VirtualFacts facts;
  VirtualStore store;

  void write(const VirtualEvent& event) { events_(event); }
  bool readsAsArchive(std::string_view bytes) const { return archives_(bytes); }

  /// The wall clock, in seconds since 1970.
  double now() const { return now_; }
  void setNow(double secondsSince1970);

  /// Time that has passed since the device was made; no change of the wall clock touches it.
  Nanoseconds uptime() const { return uptime_; }
  void moveTo(Nanoseconds uptime);

  std::string randomUUID();
  std::uint64_t nextRequest() { return ++requests_; }
  std::uint64_t nextTask() { return ++tasks_; }

 private:
  EventSink events_;
  ArchiveReader archives_;
  std::uint64_t seed_;
  std::uint64_t randomNumbers_ = 0;  ///< drawn so far; a generator for each device would be 2.5 kB
  double clockBase_ = 1700000000.0;
  Nanoseconds clockSetAt_ = 0;
  double now_ = clockBase_;  ///< reckoned when time moves, for it is asked more often
  Nanoseconds uptime_ = 0;
  std::atomic<std::uint64_t> requests_ = 0;
  std::atomic<std::uint64_t> tasks_ = 0;
};

}  // namespace fliprugair
