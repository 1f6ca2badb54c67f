#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/UserDefaults.h"
#include "platform/curl/NetworkRequest.h"

namespace fliprugair {

/// What is due around a request besides its transport: the entries in the store, the delegate's call, the end of the
/// background task, the log line. Owned by the network thread; `begin` and `refuse` are called by the senders' threads.
/// Holds no lock; what any of these throws, or a lack of memory, costs its own call alone, and nothing gets out.
class RequestLedger {
 public:
  using Log = std::function<void(std::string_view)>;

  /// `advises`: whether the first request that cannot be delivered is said on the log also while logging is off.
  RequestLedger(UserDefaults& store, const JSONSerialization& json, Application& application, Log log, bool advises)
      : store_(store),
        json_(json),
        application_(application),
        log_(std::move(log)),
        advises_(std::make_unique<std::atomic<bool>>(advises)) {}

  /// Lists the request as being sent, and calls `leave` once everything that the sender has written is durable: a
  /// process that is killed afterwards knows what it has sent, as whom. False when the store threw; then `leave` is not
  /// called.
  bool begin(const NetworkRequest& request, const std::function<void()>& leave);

  /// A request that could not be begun, and was not listed.
  void refuse(const NetworkRequest& request, std::string_view reason);

  /// Has what is confirmed by `confirmations`, of which `first` is the first, made durable together.
  void together(const NetworkRequest& first, const std::function<void()>& confirmations);

  /// The host has accepted the request, while its reply may still be coming: from now on it is not sent again, also
  /// after a kill. Before `end`, so that the request is listed as long as it is queued.
  void confirm(const NetworkRequest& request);

  /// That it is no longer listed is not made durable: every start of the tracker empties the list.
  void end(const NetworkRequest& request, const NetworkOutcome& outcome);

  /// Any thread.
  void adviseNoMore() { advises_->store(false); }

 private:
  void deliver(const NetworkRequest& request, const std::string& reply);
  void endBackgroundTask(const NetworkRequest& request);
  void report(const NetworkRequest& request, std::string_view message);
  void advise(const NetworkRequest& request, std::string_view message);

  /// Without memory for `line()` there is no line.
  template <class Line>
  void log(const Line& line) noexcept;

  /// Whether `call` returned. `what` is for the log, as in "the reply to ...".
  template <class Call>
  bool guarded(std::string_view what, const NetworkRequest& request, const Call& call) noexcept;
  void logException(std::string_view what, const NetworkRequest& request, std::string_view reason) noexcept;

  UserDefaults& store_;
  const JSONSerialization& json_;
  Application& application_;
  Log log_;
  std::unique_ptr<std::atomic<bool>> advises_;  ///< false from the end of the first request on
};

}  // namespace fliprugair
