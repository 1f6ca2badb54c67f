#include "platform/curl/NetworkThread.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "platform/Joined.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Threads.h"

namespace fliprugair {

namespace {

/// How long after a request the thread looks for another by itself: to wake it takes a caller longer than all else.
constexpr std::chrono::milliseconds secondLook{2};

constexpr int connectionDescriptors = 4;  ///< a connection, its name look-up, and the file of certificates
constexpr int descriptorsNeeded = 2 + connectionDescriptors;

bool canConnect() {
  std::array<FileDescriptor, connectionDescriptors> taken;
  return std::all_of(taken.begin(), taken.end(), [](FileDescriptor& each) {
    each = FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    return static_cast<bool>(each);
  });
}

/// The end of a request that got no answer. The log does without a reason that there is no memory for.
template <class... Parts>
NetworkOutcome unanswered(const Parts&... parts) noexcept {
  NetworkOutcome outcome;
  try {
    (outcome.message.append(parts), ...);
  } catch (const std::bad_alloc&) {
    outcome.message.clear();
  }
  return outcome;
}

constexpr const char* hasStoppedText = "failed, the network has been stopped";
constexpr const char* noMemoryText = "not sent, out of memory";

/// What the host has said stands, even when there is no memory for how it said it.
NetworkOutcome outcomeOf(CurlTransfer& transfer, CURLcode result) noexcept {
  try {
    return transfer.outcome(result);
  } catch (const std::bad_alloc&) {
    NetworkOutcome outcome;
    outcome.accepted = outcome.isVerdict = transfer.isAccepted();
    return outcome;
  }
}

}  // namespace

CurlNetworkOptions withinLimits(CurlNetworkOptions options) {
  const CurlNetworkOptions standard;
  options.requestsAtATime = std::clamp<std::size_t>(options.requestsAtATime, 1, standard.requestsAtATime);
  // To libcurl 0 means other times than ours, and what is below 0 is an error.
  if (options.connectTimeout <= options.connectTimeout.zero()) options.connectTimeout = standard.connectTimeout;
  if (options.timeout <= options.timeout.zero()) options.timeout = standard.timeout;
  return options;
}

NetworkThread::Library::Library() {
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::runtime_error("libcurl cannot be initialized");
}

NetworkThread::NetworkThread(CurlNetworkOptions options, const JSONSerialization& json, RequestLedger ledger)
    : options_(withinLimits(std::move(options))), json_(json), ledger_(std::move(ledger)), multi_(curl_multi_init()) {
  if (multi_ == nullptr) throw std::bad_alloc();
  // libcurl says nothing of what it lacks to be woken by, and then nothing would ever be sent, nor the thread end.
  if (curl_multi_wakeup(multi_.get()) != CURLM_OK || !canConnect()) {
    throw std::runtime_error(joined({"The network needs ", std::to_string(descriptorsNeeded),
                                     " free file descriptors and there are fewer: raise the limit (ulimit -n)."}));
  }
  running_.reserve(options_.requestsAtATime);
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(options_.requestsAtATime));
  try {
    thread_ = startThread("fliprugair-net", this, [this] { run(); });
  } catch (const std::system_error& error) {
    throw std::runtime_error(
        joined({"The network needs a thread of its own, and there can be no more: ", error.what()}));
  }
}

bool NetworkThread::send(const NetworkRequest& request) {
  if (isInherited()) return false;
  const auto one = std::make_shared<Requests>();
  one->push_back(request);
  const std::function<void()> leave = [weak = weak_from_this(), one] {
    if (const auto thread = weak.lock()) thread->queue(*one);
  };
  unfinished_.begin();  // from here on nothing throws, so that it ends
  if (hasStopped()) {
    end(request, unanswered(hasStoppedText));
    return false;
  }
  if (ledger_.begin(request, leave) || one->empty()) return true;
  one->clear();  // a store that has thrown may still have kept `leave`
  end(request, unanswered("not sent, the store has failed"));
  return false;
}

bool NetworkThread::hasStopped() {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

/// Takes the request out of `one`.
void NetworkThread::queue(Requests& one) {
  if (isInherited() || one.empty()) return;
  {
    const std::lock_guard lock(mutex_);
    if (!stopping_) {
      queued_.splice(queued_.end(), one);
      // A longer queue means that somebody has woken the thread, and it has not come to look yet.
      if (queued_.size() == 1 && !looksAgain_) curl_multi_wakeup(multi_.get());
      return;
    }
  }
  end(one.front(), unanswered(hasStoppedText));
  one.clear();
}

void NetworkThread::whenIdle(std::function<void()> action) {
  if (isInherited()) {
    action();
  } else {
    unfinished_.whenIdle(std::move(action));
  }
}

void NetworkThread::stop() {
  if (isInherited()) {
    keptInChild_ = shared_from_this();
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    if (!stopping_) curl_multi_wakeup(multi_.get());
    stopping_ = true;
  }
  if (thread_.joinable()) thread_.join();
}

void NetworkThread::run() {
  while (takeQueued()) {
    startWaiting();
    // Ended requests have made room, and their delegates may have sent new ones.
    const int longest = looksAgain_ ? static_cast<int>(secondLook.count()) : std::numeric_limits<int>::max();
    if (!transferSome()) curl_multi_poll(multi_.get(), nullptr, 0, longest, nullptr);
  }
  transferSome();  // what the host has said by now counts
  abandonAll();
  multi_.reset();
}

/// False when the thread is to end.
bool NetworkThread::takeQueued() {
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex_);
  if (!queued_.empty()) looksUntil_ = now + secondLook;
  looksAgain_ = now < looksUntil_;
  waiting_.splice(waiting_.end(), queued_);
  return !stopping_;
}

void NetworkThread::startWaiting() {
  const HostTrouble::Time now = std::chrono::steady_clock::now();
  for (auto place = waiting_.begin(); place != waiting_.end() && running_.size() < options_.requestsAtATime;) {
    Host* const host = hostOf(*place);
    const HostTrouble::Answer answer = host == nullptr ? HostTrouble::Answer::refuse : host->trouble.ask(now);
    if (answer == HostTrouble::Answer::wait) {
      ++place;
      continue;
    }
    Requests one;
    one.splice(one.end(), waiting_, place++);
    const NetworkRequest& request = one.front();
    if (answer == HostTrouble::Answer::send) {
      start(request);
    } else if (host == nullptr) {
      end(request, unanswered(noMemoryText));
    } else {
      const std::string seconds = std::to_string(host->trouble.pauseLeft(now).count());
      end(request, unanswered("not sent, the host is in trouble and left alone for another ", seconds, " s"));
    }
  }
}

/// Null when there is no memory for one that is new.
NetworkThread::Host* NetworkThread::hostOf(const NetworkRequest& request) noexcept {
  try {
    return &hosts_[request.url.text];
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void NetworkThread::start(const NetworkRequest& request) {
  NetworkOutcome failure;
  try {
    // The text is made now, and not when the request was sent: of thousands that wait there are eight at most. What was
    // stored reads the same after a restart: a number that JSON has none for must not hold up a whole batch.
    auto content = contents_.of(json_.textOfAny(request.payload), hosts_[request.url.text].gzip.isGiven());
    auto transfer = std::make_unique<CurlTransfer>(request, std::move(content), options_);
    CURLcode code = transfer->prepared();
    if (code == CURLE_OK && curl_multi_add_handle(multi_.get(), transfer->handle()) != CURLM_OK) {
      code = CURLE_FAILED_INIT;
    }
    if (code == CURLE_OK) {
      running_.push_back({std::move(transfer)});
      return;
    }
    failure = outcomeOf(*transfer, code);
  } catch (const std::exception& exception) {
    hosts_[request.url.text].trouble.notSent();
    return end(request, unanswered("not sent, ", exception.what()));
  }
  endSent(request, failure);
}

/// Whether a request has ended.
bool NetworkThread::transferSome() {
  bool any = false;
  int left = 0;
  curl_multi_perform(multi_.get(), &left);
  confirmAccepted();
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    const auto place = std::find_if(running_.begin(), running_.end(), [&](const Running& running) {
      return running.transfer->handle() == message->easy_handle;
    });
    const std::unique_ptr<CurlTransfer> transfer = takeRunning(place);
    endSent(transfer->request(), outcomeOf(*transfer, result));
    any = true;
  }
  return any;
}

/// A reply may take its time, or never end: what is known already does not wait for it. What came together is made
/// durable together.
void NetworkThread::confirmAccepted() {
  const auto first = std::find_if(running_.begin(), running_.end(), std::mem_fn(&Running::isToBeConfirmed));
  if (first == running_.end()) return;
  ledger_.together(first->transfer->request(), [this] {
    for (Running& running : running_) {
      if (!running.isToBeConfirmed()) continue;
      running.isConfirmed = true;
      ledger_.confirm(running.transfer->request());
    }
  });
}

void NetworkThread::endSent(const NetworkRequest& request, const NetworkOutcome& outcome) {
  Host& host = hosts_[request.url.text];  // which there is since it was asked whether to send
  host.gzip.note(outcome.takesGzip, outcome.isNotRead);
  if (outcome.isVerdict || outcome.isNotRead) {
    host.trouble.answered();
  } else {
    host.trouble.failed(std::chrono::steady_clock::now(), outcome.retryAfter);
  }
  if (!outcome.isNotRead) return end(request, outcome);
  try {
    waiting_.push_front(request);  // as JSON this time
  } catch (const std::bad_alloc&) {
    end(request, unanswered(noMemoryText));
  }
}

/// What a delegate sends in its call is begun before this ends: the network is not idle in between.
void NetworkThread::end(const NetworkRequest& request, const NetworkOutcome& outcome) {
  ledger_.end(request, outcome);
  unfinished_.end();
}

std::unique_ptr<CurlTransfer> NetworkThread::takeRunning(std::vector<Running>::iterator place) {
  std::unique_ptr<CurlTransfer> transfer = std::move(place->transfer);
  running_.erase(place);
  curl_multi_remove_handle(multi_.get(), transfer->handle());
  return transfer;
}

void NetworkThread::abandonAll() {
  while (!running_.empty()) end(takeRunning(running_.begin())->request(), unanswered(hasStoppedText));
  for (const NetworkRequest& request : waiting_) end(request, unanswered(hasStoppedText));
  waiting_.clear();
}

}  // namespace fliprugair
