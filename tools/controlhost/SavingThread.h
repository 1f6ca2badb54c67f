#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "tools/controlhost/RequestLog.h"
#include "tools/controlhost/SavedRequests.h"

namespace fliprugair::controlhost {

/// Writes requests into their file on a thread of its own, in the order in which they were given, so that nobody is
/// held up but who waits for what was given to be there. Its destruction returns when all is written. Any thread.
class SavingThread {
 public:
  /// `complain` is told, on that thread, when the file begins to refuse. Throws std::runtime_error when the file cannot
  /// be used.
  SavingThread(const std::string& path, std::function<void(const std::string&)> complain);
  ~SavingThread();
  SavingThread(const SavingThread&) = delete;
  SavingThread& operator=(const SavingThread&) = delete;

  /// What the file holds from before: only before anything is given.
  std::vector<ReceivedRequest> latest(std::size_t most) { return file_.latest(most); }

  void add(RequestPointer request);
  void clear();
  void forget(const std::string& device);

  /// Returns when all that has been given until now is in the file, or was refused by it.
  void waitUntilWritten();

 private:
  using Work = std::function<void(SavedRequests&)>;

  void give(Work work);
  void run();
  void attempt(const Work& work);

  SavedRequests file_;
  const std::function<void(const std::string&)> complain_;
  bool hasComplained_ = false;  ///< of the thread alone
  std::mutex mutex_;            ///< around the rest
  std::condition_variable given_;
  std::condition_variable done_;
  std::deque<Work> waiting_;
  std::size_t countGiven_ = 0;
  std::size_t countDone_ = 0;
  bool ends_ = false;
  std::thread thread_;  ///< last: uses what stands above
};

}  // namespace fliprugair::controlhost
