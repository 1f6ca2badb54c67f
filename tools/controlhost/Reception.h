#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/controlhost/Answers.h"
#include "tools/controlhost/Devices.h"
#include "tools/controlhost/Faults.h"
#include "tools/controlhost/History.h"
#include "tools/controlhost/HttpServer.h"
#include "tools/controlhost/RequestLog.h"
#include "tools/controlhost/SavingThread.h"
#include "tools/controlhost/WireCheck.h"

namespace fliprugair::controlhost {

/// Takes what trackers send: answers it, checks it, keeps it. Any thread.
class Reception {
 public:
  struct Options {
    std::size_t capacity;
    std::function<HostSettings()> settings;
    std::function<void(const ReceivedRequest&)> arrived;
    std::function<void(const std::string&)> complain;
    std::function<void()> answersSet;
    std::string savePath;  ///< "": nowhere
  };

  /// Throws std::runtime_error when the file to save in cannot be used.
  explicit Reception(Options options);

  HttpReply receive(const HttpRequest& request);

  /// Counts what was refused before it was looked at, whether it is kept or not.
  void noteRefusal(const HttpProblem& problem);
  /// By status: {"status": 431, "reason": "...", "count": 2}.
  Array refusals() const;

  /// Differs from one start of a host to the next, which counts its requests from 1 again.
  const std::string& run() const { return run_; }
  std::size_t capacity() const { return options_.capacity; }
  RequestLog& log() { return log_; }
  Answers& answers() { return answers_; }
  Faults& faults() { return faults_; }
  Devices& devices() { return devices_; }
  const WireCheck& check() const { return check_; }

  /// What changed beside the requests, for those who follow: the name of the event and what it says.
  struct Notice {
    std::int64_t number = 0;  ///< counts from 1
    std::string event;
    std::function<Value()> data;  ///< as it is when it is told: what is told last is what holds
  };
  void announceAnswers();
  /// The same of answers that somebody from outside has set.
  void announceAnswersFromOutside();
  void announceFaults();
  std::int64_t lastNotice() const;
  /// How often something was cleared or forgotten: who was away meanwhile may show what is gone.
  std::int64_t erasures() const;
  /// What is new behind a notice and a request, as it is at one moment: the notices first, then what still is kept.
  struct News {
    bool isComplete = true;  ///< false: so much was announced that not all of the notices are kept
    std::vector<Notice> notices;
    std::vector<RequestPointer> requests;
    std::int64_t dropped = 0;  ///< the latest request that has gone to make room
  };
  News news(std::int64_t notice, std::int64_t request, std::size_t mostRequests) const;

  void setPaused(bool paused);
  bool isPaused() const;
  /// Forgets all that came.
  void clear();
  /// As at the start.
  void reset();
  /// False when that device is not known.
  bool forget(const std::string& device);

 private:
  HttpReply replyTo(ReceivedRequest& request, const std::optional<Value>& body);
  void judge(ReceivedRequest& request, const std::optional<Value>& body) const;
  void keep(ReceivedRequest request, const Value& body);
  void restore();
  void announce(std::string event, std::function<Value()> data);
  void note(std::string event, std::function<Value()> data);

  const Options options_;
  const std::string run_;
  const WireCheck check_;
  Answers answers_;
  Faults faults_;
  History history_;
  Devices devices_;
  RequestLog log_;
  mutable std::mutex mutex_;  ///< keeps what is noted of requests in the order of their numbers; around the rest
  bool paused_ = false;
  std::deque<Notice> notices_;
  std::int64_t lastNotice_ = 0;
  std::int64_t erasures_ = 0;
  std::map<int, std::int64_t> refusals_;  ///< by status
  std::unique_ptr<SavingThread> saved_;   ///< null: nowhere; given to with the lock held, so that the order is theirs
};

}  // namespace fliprugair::controlhost
