#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/platform/Application.h"
#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/UserDefaults.h"
#include "Fliprugair/platform/curl/CurlNetworkOptions.h"

namespace fliprugair {

class NetworkThread;

/// The requests of one environment to its control host, by libcurl: POST https://<hostname>/marlune/v4 with compact
/// JSON. Accepted means HTTP 2xx, whatever comes behind the status line: a reply that is cut off, too long (over 1 MiB,
/// headers over 64 KiB) or too slow (CurlNetworkOptions::timeout) is given up, and reaches its delegate only if what
/// has come is whole JSON. Redirects are not followed.
///
/// No byte leaves before everything is durable that the sender has written (UserDefaults::whenDurable). An accepted
/// request has durably left the queue before its delegate hears of it.
///
/// A host in trouble is left alone: after a 429 or 503 with "Retry-After" for that time (an hour at most), and after
/// five failures in a row for 1, 2, 4, ... up to 60 seconds. What is sent meanwhile fails at once and stays queued;
/// then one request tries how the host is, while the others wait for its end: they follow when the host answers, and
/// fail when it does not. A failure is every end but a 2xx and a 400, 413 or 422, which find fault with one request
/// alone.
///
/// Makes the network collaborators and runs what they send on one thread of its own, which sleeps while there is
/// nothing to do. Replies reach their delegates on that thread, with no lock held. Connections are kept and used again.
/// A reply over 1 MiB, one that is no JSON object and one nested deeper than 64 reach no delegate.
///
/// Owned by the environment. What the constructor is given must outlive it; collaborators may outlive it, and then only
/// answer false. In a child process after fork() there is no such thread: nothing is sent, the network counts as idle,
/// and its end touches none of the parent's connections. `log` may be called from any thread and is called with no lock
/// held; what it throws is dropped.
class CurlNetwork {
 public:
  /// `advises`: whether the first request that cannot be delivered is said on the log also while logging is off.
  /// Throws std::runtime_error with a text for the host app when there are too few file descriptors, or no thread.
  CurlNetwork(CurlNetworkOptions options, UserDefaults& store, const JSONSerialization& json, Application& application,
              std::function<void(std::string_view)> log, bool advises = false);
  ~CurlNetwork();
  CurlNetwork(const CurlNetwork&) = delete;
  CurlNetwork& operator=(const CurlNetwork&) = delete;

  /// A fresh collaborator. It belongs to one thread at a time. Any thread.
  std::shared_ptr<MarluneNetworkAccess> makeAccess();

  /// Ends the thread and returns when it has ended. What has not been answered fails: it stays queued, reaches no
  /// delegate, and its background task is ended. Later sends fail at once. Not from a delegate's method.
  void stop();

  /// A first request that fails from now on is not said: the host app itself cuts it off. Any thread.
  void adviseNoMore();

  /// Whether nothing is being sent: every request that was begun has ended, and so has the call of its delegate. Any
  /// thread.
  bool isIdle() const;

  /// Calls `action` once when the network is idle: before it returns when it is, else on the network's thread, or on
  /// the one that ends the last request after a stop. `action` must be quick, must not throw and must not call stop().
  /// Any thread.
  void whenIdle(std::function<void()> action);

  /// Whether this is the network's thread, so that a delegate's method is running further up. Any thread.
  bool isOwnThread() const;

 private:
  std::shared_ptr<NetworkThread> thread_;
};

}  // namespace fliprugair
