#pragma once

#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Fliprugair/platform/JSONSerialization.h"
#include "platform/curl/CurlTransfer.h"
#include "platform/curl/Gzip.h"
#include "platform/curl/HostTrouble.h"
#include "platform/curl/IdleWatch.h"
#include "platform/curl/RequestContent.h"
#include "platform/curl/RequestLedger.h"
#include "platform/posix/ProcessMark.h"
#include "platform/posix/Threads.h"

namespace fliprugair {

/// What a host app asks for, as far as it can be had.
CurlNetworkOptions withinLimits(CurlNetworkOptions options);

/// The thread that all requests of one environment run on, over one curl multi handle. Senders leave their requests in
/// `queued_` and wake it; everything without a comment below is the thread's own. Owned by CurlNetwork; a sender holds
/// it for the length of a call.
///
/// A lack of memory costs a request its sending or its reply; the thread lives on, and each request that began ends.
/// That is why requests wait in lists, between which they go without a new allocation.
class NetworkThread : public std::enable_shared_from_this<NetworkThread> {
 public:
  NetworkThread(CurlNetworkOptions options, const JSONSerialization& json, RequestLedger ledger);
  ~NetworkThread() { stop(); }
  NetworkThread(const NetworkThread&) = delete;
  NetworkThread& operator=(const NetworkThread&) = delete;

  /// The request leaves once what its sender has written is durable. Any thread. False when the thread has been
  /// stopped, or the store failed.
  bool send(const NetworkRequest& request);

  /// Could not be begun. Any thread.
  void refuse(const NetworkRequest& request, std::string_view reason) { ledger_.refuse(request, reason); }

  /// Any thread.
  void adviseNoMore() { ledger_.adviseNoMore(); }

  LoopbackScheme loopbackScheme() const { return options_.loopbackScheme; }

  bool isIdle() const { return isInherited() || unfinished_.isIdle(); }
  void whenIdle(std::function<void()> action);

  /// Waits for the thread, so not from there.
  void stop();

  /// Whether this is a child of the process that made it, which has inherited neither the thread nor what its locks
  /// guard.
  bool isInherited() const { return !process_.isOwnProcess(); }

  /// Whether a delegate's method or the log is running further up. Any thread.
  bool isOwnThread() const { return isThreadOf(this); }

 private:
  using Requests = std::list<NetworkRequest>;

  /// libcurl counts its users itself.
  struct Library {
    Library();
    ~Library() { curl_global_cleanup(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
  };
  struct Cleanup {
    void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
  };

  struct Host {
    HostTrouble trouble;
    GzipConsent gzip;
  };

  struct Running {
    std::unique_ptr<CurlTransfer> transfer;
    bool isConfirmed = false;

    bool isToBeConfirmed() const { return !isConfirmed && transfer->isAccepted(); }
  };

  bool hasStopped();
  void queue(Requests& one);
  void run();
  bool takeQueued();
  void startWaiting();
  Host* hostOf(const NetworkRequest& request) noexcept;
  void start(const NetworkRequest& request);
  bool transferSome();
  void confirmAccepted();
  void end(const NetworkRequest& request, const NetworkOutcome& outcome);
  void endSent(const NetworkRequest& request, const NetworkOutcome& outcome);
  std::unique_ptr<CurlTransfer> takeRunning(std::vector<Running>::iterator place);
  void abandonAll();

  const ProcessMark process_;
  std::shared_ptr<NetworkThread> keptInChild_;  ///< itself: to take it apart would close the parent's connections
  const Library library_;
  const CurlNetworkOptions options_;
  const JSONSerialization& json_;
  RequestLedger ledger_;
  IdleWatch unfinished_;
  const RequestContents contents_;
  std::unique_ptr<CURLM, Cleanup> multi_;
  Requests waiting_;
  std::map<std::string, Host> hosts_;  ///< by URL
  std::vector<Running> running_;
  std::chrono::steady_clock::time_point looksUntil_;

  std::mutex mutex_;  ///< around the next two, and around waking: the thread frees the multi handle when it ends
  Requests queued_;
  bool looksAgain_ = false;  ///< soon and by itself
  bool stopping_ = false;

  std::thread thread_;
};

}  // namespace fliprugair
