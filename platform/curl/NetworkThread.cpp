#include "platform/curl/NetworkThread.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "platform/posix/Threads.h"

namespace fliprugair {

namespace {

CurlNetworkOptions withinLimits(CurlNetworkOptions options) {
  const CurlNetworkOptions standard;
  options.requestsAtATime = std::clamp<std::size_t>(options.requestsAtATime, 1, standard.requestsAtATime);
  // To libcurl 0 means other times than ours, and what is below 0 is an error.
  if (options.connectTimeout <= options.connectTimeout.zero()) options.connectTimeout = standard.connectTimeout;
  if (options.timeout <= options.timeout.zero()) options.timeout = standard.timeout;
  return options;
}

}  // namespace

NetworkThread::Library::Library() {
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::runtime_error("libcurl cannot be initialized");
}

NetworkThread::NetworkThread(CurlNetworkOptions options, const JSONSerialization& json, RequestLedger ledger)
    : options_(withinLimits(std::move(options))), json_(json), ledger_(std::move(ledger)), multi_(curl_multi_init()) {
  headers_.reset(curl_slist_append(nullptr, "Content-Type: application/json; charset=utf-8"));
  // Without this line libcurl asks for leave before it sends a large body, and waits for the answer.
  if (headers_ == nullptr || curl_slist_append(headers_.get(), "Expect:") == nullptr || multi_ == nullptr) {
    throw std::bad_alloc();
  }
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(options_.requestsAtATime));
  thread_ = startThread("fliprugair-net", [this] { run(); });
}

bool NetworkThread::send(NetworkRequest request) {
  unfinished_.begin();
  ledger_.list(request);
  {
    const std::lock_guard lock(mutex_);
    if (!stopping_) {
      const bool asleep = queued_.empty();  // else somebody has woken the thread, and it has not come to look yet
      queued_.push_back(std::move(request));
      if (asleep) curl_multi_wakeup(multi_.get());
      return true;
    }
  }
  end(request, {false, "", "failed, the network has been stopped"});
  return false;
}

void NetworkThread::stop() {
  {
    const std::lock_guard lock(mutex_);
    if (!stopping_) curl_multi_wakeup(multi_.get());
    stopping_ = true;
  }
  if (thread_.joinable()) thread_.join();
}

void NetworkThread::run() {
  id_ = std::this_thread::get_id();
  while (takeQueued()) {
    startWaiting();
    int running = 0;
    curl_multi_perform(multi_.get(), &running);
    // Ended requests have made room, and their delegates may have sent new ones.
    if (endFinished()) continue;
    curl_multi_poll(multi_.get(), nullptr, 0, std::numeric_limits<int>::max(), nullptr);
  }
  abandonAll();
  multi_.reset();
}

/// False when the thread is to end.
bool NetworkThread::takeQueued() {
  std::deque<NetworkRequest> queued;
  bool stopping = false;
  {
    const std::lock_guard lock(mutex_);
    queued_.swap(queued);
    stopping = stopping_;
  }
  std::move(queued.begin(), queued.end(), std::back_inserter(waiting_));
  return !stopping;
}

void NetworkThread::startWaiting() {
  while (!waiting_.empty() && running_.size() < options_.requestsAtATime) {
    NetworkRequest request = std::move(waiting_.front());
    waiting_.pop_front();
    start(std::move(request));
  }
}

void NetworkThread::start(NetworkRequest request) {
  // What was stored reads the same after a restart: a number that JSON has none for must not hold up a whole batch.
  std::string body = json_.textOfAny(request.payload);
  auto transfer = std::make_unique<CurlTransfer>(std::move(request), std::move(body), options_, headers_.get());
  CURLcode failure = transfer->prepared();
  if (failure == CURLE_OK && curl_multi_add_handle(multi_.get(), transfer->handle()) != CURLM_OK) {
    failure = CURLE_FAILED_INIT;
  }
  if (failure != CURLE_OK) {
    end(transfer->request(), transfer->outcome(failure));
    return;
  }
  running_.push_back(std::move(transfer));
}

/// Whether there was one.
bool NetworkThread::endFinished() {
  bool any = false;
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    const std::unique_ptr<CurlTransfer> transfer = takeRunning(message->easy_handle);
    end(transfer->request(), transfer->outcome(result));
    any = true;
  }
  return any;
}

/// What a delegate sends in its call is begun before this ends: the network is not idle in between.
void NetworkThread::end(const NetworkRequest& request, const NetworkOutcome& outcome) {
  ledger_.end(request, outcome);
  unfinished_.end();
}

std::unique_ptr<CurlTransfer> NetworkThread::takeRunning(CURL* handle) {
  const auto place = std::find_if(running_.begin(), running_.end(),
                                  [&](const auto& transfer) { return transfer->handle() == handle; });
  std::unique_ptr<CurlTransfer> transfer = std::move(*place);
  running_.erase(place);
  curl_multi_remove_handle(multi_.get(), handle);
  return transfer;
}

void NetworkThread::abandonAll() {
  std::vector<NetworkRequest> requests;
  while (!running_.empty()) requests.push_back(takeRunning(running_.front()->handle())->request());
  std::move(waiting_.begin(), waiting_.end(), std::back_inserter(requests));
  waiting_.clear();
  ledger_.endAll(requests, {false, "", "failed, the network has been stopped"});
  unfinished_.end(requests.size());
}

}  // namespace fliprugair
