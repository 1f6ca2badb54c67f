#include "tools/controlhost/SavingThread.h"

#include <exception>
#include <utility>

namespace fliprugair::controlhost {

SavingThread::SavingThread(const std::string& path, std::function<void(const std::string&)> complain)
    : file_(path), complain_(std::move(complain)), thread_([this] { run(); }) {}

SavingThread::~SavingThread() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  given_.notify_one();
  thread_.join();
}

void SavingThread::add(RequestPointer request) {
  give([request = std::move(request)](SavedRequests& file) { file.add(*request); });
}

void SavingThread::clear() {
  give([](SavedRequests& file) { file.clear(); });
}

void SavingThread::forget(const std::string& device) {
  give([device](SavedRequests& file) { file.forget(device); });
}

void SavingThread::waitUntilWritten() {
  std::unique_lock lock(mutex_);
  done_.wait(lock, [this, given = countGiven_] { return countDone_ >= given; });
}

void SavingThread::give(Work work) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(work));
    ++countGiven_;
  }
  given_.notify_one();
}

void SavingThread::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    given_.wait(lock, [this] { return ends_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    const Work work = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    attempt(work);
    lock.lock();
    ++countDone_;
    done_.notify_all();
  }
}

/// A file that refuses costs the file, not the host; it is said once, until the file takes again what it is given.
void SavingThread::attempt(const Work& work) {
  try {
    work(file_);
    hasComplained_ = false;
  } catch (const std::exception& exception) {
    if (!std::exchange(hasComplained_, true)) complain_(exception.what());
  }
}

}  // namespace fliprugair::controlhost
