#include "tools/controlhost/RequestLog.h"

#include <algorithm>
#include <utility>

namespace fliprugair::controlhost {

namespace {

/// About what it takes of the memory.
std::size_t sizeOf(const ReceivedRequest& request) {
  constexpr std::size_t allocation = 64;
  std::size_t size = 1024 + request.bytes.size() + request.compressed.size() + request.reply.size() +
                     request.path.size() + request.action.size() + request.device.size() + request.app.size();
  for (const auto& [name, value] : request.headers) size += name.size() + value.size() + allocation;
  for (const std::string& name : request.names) size += name.size() + allocation;
  for (const Finding& finding : request.findings) {
    size += sizeof finding + finding.path.size() + finding.expected.size() + finding.got.size() + finding.hint.size() +
            finding.text.size();
  }
  return size;
}

}  // namespace

RequestPointer RequestLog::add(ReceivedRequest request) {
  const std::lock_guard lock(mutex_);
  request.id = last_ + 1;
  auto kept = std::make_shared<const ReceivedRequest>(std::move(request));
  keep(kept);
  return kept;
}

void RequestLog::restore(RequestPointer request) {
  const std::lock_guard lock(mutex_);
  keep(std::move(request));
}

/// With the lock held.
void RequestLog::keep(RequestPointer request) {
  last_ = request->id;
  bytes_ += sizeOf(*request);
  requests_.push_back(std::move(request));
  while (requests_.size() > capacity_ || (bytes_ > room_ && requests_.size() > 1)) {
    bytes_ -= sizeOf(*requests_.front());
    dropped_ = requests_.front()->id;
    requests_.pop_front();
  }
  ++change_;
  changed_.notify_all();
}

/// With the lock held: where those behind `id` begin.
std::size_t RequestLog::positionBehind(std::int64_t id) const {
  const auto found = std::upper_bound(requests_.begin(), requests_.end(), id,
                                      [](std::int64_t wanted, const RequestPointer& one) { return wanted < one->id; });
  return static_cast<std::size_t>(found - requests_.begin());
}

std::vector<RequestPointer> RequestLog::requests(std::int64_t since, std::size_t most) const {
  const std::lock_guard lock(mutex_);
  const std::size_t begin = positionBehind(since);
  const std::size_t count = std::min(most, requests_.size() - begin);
  const auto from = requests_.begin() + static_cast<std::ptrdiff_t>(begin);
  return {from, from + static_cast<std::ptrdiff_t>(count)};
}

std::vector<RequestPointer> RequestLog::requestsBefore(std::int64_t before, std::size_t most) const {
  const std::lock_guard lock(mutex_);
  const std::size_t end = positionBehind(before - 1);
  const std::size_t count = std::min(most, end);
  const auto from = requests_.rbegin() + static_cast<std::ptrdiff_t>(requests_.size() - end);
  return {from, from + static_cast<std::ptrdiff_t>(count)};
}

RequestPointer RequestLog::request(std::int64_t id) const {
  const std::vector<RequestPointer> found = requests(id - 1, 1);
  return found.empty() || found[0]->id != id ? nullptr : found[0];
}

std::int64_t RequestLog::first() const {
  const std::lock_guard lock(mutex_);
  return requests_.empty() ? 0 : requests_.front()->id;
}

std::int64_t RequestLog::last() const {
  const std::lock_guard lock(mutex_);
  return last_;
}

std::int64_t RequestLog::dropped() const {
  const std::lock_guard lock(mutex_);
  return dropped_;
}

void RequestLog::clear() {
  const std::lock_guard lock(mutex_);
  dropped_ = 0;
  requests_.clear();
  bytes_ = 0;
}

void RequestLog::forget(const std::string& device) {
  const std::lock_guard lock(mutex_);
  for (const RequestPointer& request : requests_) {
    if (request->device == device) bytes_ -= sizeOf(*request);
  }
  std::erase_if(requests_, [&](const RequestPointer& request) { return request->device == device; });
}

std::int64_t RequestLog::waitForChange(std::int64_t change, std::chrono::milliseconds time) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, time, [&] { return change_ > change || ended_; });
  return change_;
}

void RequestLog::noteChange() {
  const std::lock_guard lock(mutex_);
  ++change_;
  changed_.notify_all();
}

std::int64_t RequestLog::change() const {
  const std::lock_guard lock(mutex_);
  return change_;
}

void RequestLog::end() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  changed_.notify_all();
}

bool RequestLog::hasEnded() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

}  // namespace fliprugair::controlhost
