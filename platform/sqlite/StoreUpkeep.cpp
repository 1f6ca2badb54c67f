// What the store's background thread does: it brings the journal into the file and the log after it, removes what is
// left over and gives room back.
#include <chrono>
#include <iterator>
#include <span>
#include <thread>
#include <utility>

#include "platform/sqlite/LogCopier.h"
#include "platform/sqlite/RowChanges.h"
#include "platform/sqlite/StoreDisk.h"

namespace fliprugair {

namespace {

/// Bytes of the journal. Some three hundred records are filed at a time, which the next start does if this life ends
/// before.
constexpr std::size_t longJournal = std::size_t{128} * 1024;

// Rows. A batch at a time, so that a call that waits for one waits no longer than for another call, and more together
// with what the journal has; in all not much more than the log may take up.
constexpr std::size_t leftoversAtATime = 25;
constexpr std::size_t mostLeftovers = 50'000;

}  // namespace

/// By who has only the lock of what is staged.
void StoreDisk::requestFiling() {
  const std::size_t leftovers = mirror_.leftovers();
  if (journal_.size() >= longJournal || leftovers > mostLeftovers) {
    checkpointer_.request(Checkpointer::Urgency::now);
  } else if (leftovers > 0) {
    checkpointer_.request(Checkpointer::Urgency::afterPause);
  }
}

/// By who has both locks.
void StoreDisk::requestCheckpoint() {
  requestFiling();
  if (!file_->logIsLong()) return;
  checkpointer_.request(file_->logIsAtItsLimit() ? Checkpointer::Urgency::now : Checkpointer::Urgency::afterPause);
}

/// The background thread's work. Most of the waiting for the disk is done without the lock of the file; under it only
/// for what was written meanwhile. Answers whether all is done.
bool StoreDisk::checkpoint(bool hasPaused) noexcept {
  try {
    std::unique_lock lock(fileMutex_);
    while (file_ && !isTidy()) {
      if (staged().hasLongJournal) fileJournal(mostLeftoversOfALife);
      const std::uint64_t commits = commits_;
      const bool pauses = std::exchange(commitsSeen_, commits) == commits && hasPaused;
      const bool isPressed = file_->logIsAtItsLimit() || staged().leftovers > mostLeftovers;
      if (!pauses && !isPressed) return isTidy();
      removeLeftovers(lock, pauses);
      const bool hasGivenBack = giveBackRoom(lock);
      const bool isToBeCopied = file_ && (file_->logIsLong() || hasGivenBack);
      if (isToBeCopied && !copyLog(lock, pauses)) return false;
      if (!pauses || writersThatWait_ > 0) return false;
    }
    return true;
  } catch (...) {
    return true;  // the next write that the medium refuses says so
  }
}

StoreDisk::Staged StoreDisk::staged() {
  const std::lock_guard lock(stagingMutex_);
  return {mirror_.leftovers(), journal_.size() >= longJournal};
}

bool StoreDisk::isTidy() {
  const Staged left = staged();
  return !file_->logIsLong() && !file_->hasMuchRoom() && left.leftovers == 0 && !left.hasLongJournal;
}

bool StoreDisk::isQuiet() const { return commits_ == commitsSeen_; }

/// Brings what the journal has into the file, while calls go on appending to the journal.
void StoreDisk::fileJournal(std::size_t leftovers) {
  JournalMark mark;
  {
    const std::lock_guard lock(stagingMutex_);
    if (isStagedInPart_) throw StoreError(StoreError::Kind::unavailable, "a write is to be repeated");
    const std::size_t before = changes_.size();
    mirror_.stageLeftovers(leftovers, changes_);
    arrays_->keepErased(std::span(changes_).subspan(before));
    filing_.swap(changes_);
    mark = journal_.mark();
    journal_.turn();
  }
  try {
    leaveOutUndone(filing_);
    file_->write(filing_, mark);
  } catch (...) {
    takeBackFiling();
    throw;
  }
  filing_.clear();
  journal_.clearFiled();
}

/// The next call tries it, and says what the medium says.
void StoreDisk::takeBackFiling() noexcept {
  const std::lock_guard lock(stagingMutex_);
  journal_.close();
  try {
    filing_.insert(filing_.end(), std::move_iterator(changes_.begin()), std::move_iterator(changes_.end()));
    changes_.swap(filing_);
  } catch (...) {
    isStagedInPart_ = true;
  }
  filing_.clear();
}

/// Whether it has been emptied.
bool StoreDisk::copyLog(std::unique_lock<std::mutex>& lock, bool pauses) {
  const LogCopier copier(path_.string());
  lock.unlock();
  copier.copy();
  copier.copy();  // what was written during the first, so that little is left to be done under the lock
  lock.lock();
  if (!file_) return true;
  if (!file_->emptyLog(pauses ? RowFile::LogRoom::givenBack : RowFile::LogRoom::kept)) return false;
  // A writer that waits for the lock has waited enough: it begins the new log itself, which is shorter than both.
  if (pauses) file_->touch();
  return true;
}

/// As many as there are while nobody writes; when they are too many, those beyond that also while somebody does.
void StoreDisk::removeLeftovers(std::unique_lock<std::mutex>& lock, bool pauses) {
  const auto goesOn = [&] {
    const std::size_t leftovers = staged().leftovers;
    if (!file_ || leftovers == 0 || file_->logIsAtItsLimit()) return false;
    return leftovers > mostLeftovers || (pauses && isQuiet());
  };
  while (goesOn()) {
    fileJournal(leftoversAtATime);
    giveWay(lock);
  }
}

/// A writer that waits is to have the lock: who lets go of it and takes it again at once is faster than any other.
void StoreDisk::giveWay(std::unique_lock<std::mutex>& lock) {
  lock.unlock();
  if (writersThatWait_ > 0) {
    // The lock wakes the writer and is free meanwhile: that takes some tens of microseconds, and nothing tells when it
    // is done, since the writer could come too late for any sign but the lock itself.
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  } else {
    std::this_thread::yield();
  }
  lock.lock();
}

/// As much as there is, while nobody writes. The file becomes shorter when the log has been copied.
bool StoreDisk::giveBackRoom(std::unique_lock<std::mutex>& lock) {
  bool any = false;
  while (file_ && staged().leftovers == 0 && file_->hasMuchRoom() && !file_->logIsLong() && isQuiet()) {
    file_->giveBackRoom();
    any = true;
    giveWay(lock);
  }
  return any;
}

}  // namespace fliprugair
