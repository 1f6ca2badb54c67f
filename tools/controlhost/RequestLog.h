#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

using RequestPointer = std::shared_ptr<const ReceivedRequest>;

/// The latest requests, up to a number of them and to so many bytes. Any thread.
class RequestLog {
 public:
  static constexpr std::size_t usualRoom = std::size_t{256} * 1024 * 1024;

  explicit RequestLog(std::size_t capacity, std::size_t room = usualRoom) : capacity_(capacity), room_(room) {}

  /// Numbers the request, and drops the oldest ones while there is no room.
  RequestPointer add(ReceivedRequest request);
  /// One that was numbered before.
  void restore(RequestPointer request);

  /// The oldest first; those behind the request `since`, and at most `most` of them.
  std::vector<RequestPointer> requests(std::int64_t since = 0, std::size_t most = SIZE_MAX) const;
  /// The newest first; those before the request `before`.
  std::vector<RequestPointer> requestsBefore(std::int64_t before, std::size_t most) const;
  /// Null when there is none, or none any more.
  RequestPointer request(std::int64_t id) const;

  std::int64_t first() const;  ///< the oldest that is kept; 0: none is
  std::int64_t last() const;   ///< the latest that ever came
  /// The latest that has gone to make room, since this log was cleared; 0: none has.
  std::int64_t dropped() const;

  void clear();
  void forget(const std::string& device);

  /// Waits for a change behind the one numbered `change`, until the time is over or this log has ended. A request that
  /// comes is a change, and whatever noteChange() is called for. Returns the number of the latest.
  std::int64_t waitForChange(std::int64_t change, std::chrono::milliseconds time) const;
  void noteChange();
  std::int64_t change() const;

  /// Ends all waiting, for good.
  void end();
  bool hasEnded() const;

 private:
  std::size_t positionBehind(std::int64_t id) const;
  void keep(RequestPointer request);

  const std::size_t capacity_;
  const std::size_t room_;    ///< in bytes
  mutable std::mutex mutex_;  ///< around the rest
  mutable std::condition_variable changed_;
  std::deque<RequestPointer> requests_;
  std::size_t bytes_ = 0;
  std::int64_t last_ = 0;
  std::int64_t dropped_ = 0;
  std::int64_t change_ = 0;
  bool ended_ = false;
};

}  // namespace fliprugair::controlhost
