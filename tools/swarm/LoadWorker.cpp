#include "tools/swarm/LoadWorker.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace fliprugair::swarm {

namespace {

/// A thread looks after its connections again after so many moments of its devices, whether they send or not.
constexpr int momentsAtATime = 200;
constexpr int longestPoll = 50;  ///< milliseconds

ControlHostURL urlOf(const std::string& hostname) {
  const auto url = controlHostURL(hostname, LoopbackScheme::http);
  if (!url) {
    throw std::runtime_error(
        "\"" + hostname + "\" is no host; a name or an address, with a port or without, is one: " + "127.0.0.1:8080");
  }
  return *url;
}

}  // namespace

LoadWorker::LoadWorker(const Fleet& fleet, const LoadOptions& options, std::size_t share)
    : options_(options),
      url_(urlOf(options.hostname)),
      interval_(options.rate > 0 ? static_cast<double>(options.threads) / options.rate : 0),
      multi_(curl_multi_init()) {
  if (multi_ == nullptr) throw std::bad_alloc();
  curlOptions_.caFile = options.caFile;
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(options.connections));
  for (std::size_t number = share; number < options.devices; number += options.threads) {
    devices_.emplace_back(fleet, static_cast<std::uint32_t>(number), static_cast<SwarmDevice::Network&>(*this));
    turns_.emplace(devices_.back().due(), devices_.size() - 1);
  }
  busy_.resize(devices_.size());
}

LoadWorker::~LoadWorker() = default;

void LoadWorker::run() {
  const Clock::time_point begin = Clock::now();
  const Clock::time_point end = begin + std::chrono::duration_cast<Clock::duration>(options_.duration);
  nextSend_ = begin;
  while (true) {
    noteTime(Clock::now() - begin);
    const bool isOver = Clock::now() >= end || hasStopped();
    if (isOver && flights_.empty()) return;
    if (!isOver) letLive(end);
    if (!endTransfers()) curl_multi_poll(multi_.get(), nullptr, 0, millisecondsToNextTurn(end), nullptr);
  }
}

bool LoadWorker::mayLive() const {
  return !turns_.empty() && flights_.size() < options_.connections / options_.threads && Clock::now() >= nextSend_;
}

void LoadWorker::letLive(Clock::time_point end) {
  for (int moments = 0; moments < momentsAtATime && mayLive() && Clock::now() < end; ++moments) {
    const std::uint32_t place = turns_.top().second;
    turns_.pop();
    SwarmDevice& device = devices_[place];
    device.live(device.due());
    takeTurn(place);
    const std::lock_guard lock(mutex_);
    report_.deviceTime = device.now();
    report_.inFlight = flights_.size();
  }
}

void LoadWorker::takeTurn(std::uint32_t place) {
  if (busy_[place] == 0) turns_.emplace(devices_[place].due(), place);
}

void LoadWorker::send(SwarmDevice& device, std::uint64_t request, const Value& payload) {
  RequestContent content = contents_.of(json_.textOfAny(payload), gzip_.isGiven());
  const std::size_t bodySize = content.body.size();
  const Clock::time_point due = interval_.count() > 0 ? nextSend_ : Clock::now();
  nextSend_ = due + std::chrono::duration_cast<Clock::duration>(interval_);
  NetworkRequest onTheWire;
  onTheWire.url = url_;
  onTheWire.payload = payload;
  auto transfer = std::make_unique<CurlTransfer>(std::move(onTheWire), std::move(content), curlOptions_);
  CURL* const handle = transfer->handle();
  CURLcode code = transfer->prepared();
  if (code == CURLE_OK && curl_multi_add_handle(multi_.get(), handle) != CURLM_OK) code = CURLE_FAILED_INIT;
  if (code != CURLE_OK) stillborn_.emplace_back(handle, code);
  const auto place = static_cast<std::uint32_t>(device.number() / options_.threads);
  flights_.emplace(handle, Flight{std::move(transfer), place, request, bodySize, due});
  ++busy_[place];
}

/// Whether a request has ended.
bool LoadWorker::endTransfers() {
  int left = 0;
  curl_multi_perform(multi_.get(), &left);
  auto ended = std::exchange(stillborn_, {});
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg == CURLMSG_DONE) ended.emplace_back(message->easy_handle, message->data.result);
  }
  for (const auto& [handle, result] : ended) end(handle, result);
  return !ended.empty();
}

void LoadWorker::end(CURL* handle, CURLcode result) {
  const Flight flight = std::move(flights_.extract(handle).mapped());
  curl_multi_remove_handle(multi_.get(), handle);
  const NetworkOutcome outcome = flight.transfer->outcome(result);
  note(flight, outcome);
  gzip_.note(outcome.takesGzip, outcome.isNotRead);
  SwarmDevice& device = devices_[flight.place];
  --busy_[flight.place];
  if (outcome.accepted) {
    const Value& sent = flight.transfer->request().payload;
    const Value payload = json_.value(json_.textOfAny(sent)).value_or(sent);  // read once for arrival and answer
    device.noteArrival(payload);
    device.answer(flight.request, payload, json_.value(outcome.reply).value_or(Value()));
  } else {
    device.fail(flight.request);
  }
  takeTurn(flight.place);
}

void LoadWorker::note(const Flight& flight, const NetworkOutcome& outcome) {
  const std::chrono::duration<double> taken = Clock::now() - flight.due;
  const std::lock_guard lock(mutex_);
  report_.traffic.add(flight.transfer->request().payload, flight.bodySize);
  report_.inFlight = flights_.size();
  if (outcome.accepted) {
    report_.latencies.add(taken.count());
  } else {
    ++report_.traffic.failed;
    ++report_.failures[outcome.message];
  }
}

void LoadWorker::noteTime(Duration passed) {
  const std::lock_guard lock(mutex_);
  report_.seconds = passed.count();
}

int LoadWorker::millisecondsToNextTurn(Clock::time_point end) const {
  if (mayLive()) return 0;
  const Clock::time_point next = flights_.size() < options_.connections / options_.threads ? nextSend_ : end;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::min(next, end) - Clock::now()).count();
  return std::clamp(static_cast<int>(left), 1, longestPoll);
}

void LoadWorker::requestStop() {
  const std::lock_guard lock(mutex_);
  isStopping_ = true;
}

bool LoadWorker::hasStopped() const {
  const std::lock_guard lock(mutex_);
  return isStopping_;
}

LoadReport LoadWorker::report() const {
  const std::lock_guard lock(mutex_);
  return report_;
}

Records LoadWorker::records() const {
  Records records;
  for (const SwarmDevice& device : devices_) records += device.records();
  return records;
}

}  // namespace fliprugair::swarm
