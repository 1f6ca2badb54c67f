#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Fliprugair/controlhost/Fault.h"
#include "Fliprugair/controlhost/Finding.h"
#include "Fliprugair/controlhost/HostSettings.h"
#include "Fliprugair/controlhost/ReceivedRequest.h"
#include "Fliprugair/controlhost/Waited.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

struct ControlHostOptions {
  std::string address = "127.0.0.1";  ///< an IP address of this machine; "0.0.0.0": all that it has
  int port = 0;                       ///< 0: any free one
  std::size_t capacity = 10000;       ///< requests that are kept in memory
  std::string savePath = {};          ///< SQLite file in which all are kept; "": none
  /// What is answered, asked at every request until other answers are set.
  std::function<controlhost::HostSettings()> settings = [] { return controlhost::HostSettings(); };
  /// Told of each request before its reply goes out.
  std::function<void(const controlhost::ReceivedRequest&)> arrived = [](const controlhost::ReceivedRequest&) {};
  /// Told when other answers are set on the page or over the interface: `settings` is not asked until a reset.
  std::function<void()> answersSet = [] {};
  /// Told when requests can no longer be saved.
  std::function<void(const std::string&)> complain = [](const std::string&) {};
};

/// A control host for development: answers trackers as told, checks and keeps what they send, and serves its page and
/// its interface. For tests of a host app it needs no process of its own:
///
///     fliprugair::ControlHost host;
///     ... options: {"trackerHostname", host.hostname()} ...
///     EXPECT_TRUE(host.waitFor("event:level").matched) << host.waitFor("event:level").text;
///
/// Runs from construction to stop. The functions in its options are called on threads of its own, several at a time,
/// with no lock held. All operations: any thread.
class ControlHost {
 public:
  /// Throws std::runtime_error when it cannot listen, or cannot use the file to save in.
  explicit ControlHost(ControlHostOptions options = {});
  ~ControlHost();
  ControlHost(const ControlHost&) = delete;
  ControlHost& operator=(const ControlHost&) = delete;

  int port() const;
  /// With the port, as a tracker's "trackerHostname" on this machine.
  std::string hostname() const;
  /// Of the page.
  std::string url() const { return "http://" + hostname(); }

  /// What came and is kept, the oldest first.
  std::vector<controlhost::ReceivedRequest> requests() const;
  /// What is wrong, or worth a look, in all of it.
  std::vector<controlhost::Finding> findings() const;

  /// Waits until `count` records satisfy `match` ("event:level device:MI0123", as of GET /api/wait); those that are
  /// there already count. A match that cannot be meant is not waited for: then the text says what is wrong with it.
  controlhost::Waited waitFor(const std::string& match, std::int64_t count = 1,
                              std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

  // What is answered from here on.

  /// The reply to "init" alone; the rest stays as `options.settings` says now, which is not asked again until a reset.
  void setInitReply(Value reply);
  /// In place of what `options.settings` says, which is not asked again until a reset.
  void setSettings(controlhost::HostSettings settings);
  /// In place of those that hold. For what no rule matches the settings hold.
  void setRules(std::vector<controlhost::AnswerRule> rules);

  // What goes wrong from here on.

  /// In place of those that hold. Of those that match a request the first one strikes.
  void setFaults(std::vector<controlhost::Fault> faults);
  /// Every connection is reset before a reply.
  void setOffline(bool offline);

  /// Forgets what came, in the file that it saves in, too.
  void clear();
  /// As at the start: nothing came, and what was set above is gone.
  void reset();

  /// Returns when the last handler has. Replies that are being delayed go out at once.
  void stop();

 private:
  struct Implementation;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace fliprugair
