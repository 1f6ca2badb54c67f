#include "platform/sqlite/StoreDisk.h"

#include <chrono>
#include <system_error>
#include <utility>

#include "platform/sqlite/SetAside.h"

namespace fliprugair {

namespace {

/// How long nothing is written before the log is copied: the writes of one occasion are closer together, and the disk
/// is theirs.
constexpr std::chrono::seconds pause{1};

/// How often in a row the log is copied when writes keep adding to it. What is left gets shorter each time.
constexpr int copiesInARow = 4;

/// A copy that took no longer may be made while writes wait for it, lest a huge log grow without end.
constexpr std::chrono::milliseconds aMoment{50};

/// While it lives `flag` is up. Made and destroyed with the lock held that guards the flag.
class Raised {
 public:
  Raised(bool& flag, std::condition_variable& changed) : flag_(flag), changed_(changed) { flag_ = true; }
  ~Raised() {
    flag_ = false;
    changed_.notify_all();
  }
  Raised(const Raised&) = delete;
  Raised& operator=(const Raised&) = delete;

 private:
  bool& flag_;
  std::condition_variable& changed_;
};

}  // namespace

StoreDisk::StoreDisk(std::filesystem::path path, std::function<void(std::string_view)> log)
    : path_(std::move(path)), log_(std::move(log)), checkpointer_([this] { return checkpoint(); }, pause) {}

std::optional<std::string> StoreDisk::open(StoreMemory& memory) {
  Lines lines;
  {
    Lock lock(mutex_);
    try {
      attempt(memory, lines, lock);
    } catch (const StoreError& error) {
      if (auto reason = refusal(error)) return reason;
      noteFailure(error, lines);
      try {
        if (!file_) readUnwritable(memory);
      } catch (const StoreError& unreadable) {
        // The store begins empty, and is joined with the file once that can be read.
        if (auto reason = refusal(unreadable)) return reason;
      }
    }
  }
  say(lines);
  return std::nullopt;
}

void StoreDisk::commit(StoreMemory& memory) {
  Lines lines;
  {
    Lock lock(mutex_);
    try {
      attempt(memory, lines, lock);
      if (std::exchange(isFailing_, false)) lines.push_back("the store " + path_.string() + " is being written again");
    } catch (const std::exception& error) {
      noteFailure(error, lines);
    }
  }
  say(lines);
}

void StoreDisk::attempt(StoreMemory& memory, Lines& lines, Lock& lock) {
  filesAreFree_.wait(lock, [this] { return !isReplacing_; });
  try {
    writeAll(memory);
  } catch (const StoreError& error) {
    // If a fresh file is damaged too, the next one will be no better.
    if (error.kind() != StoreError::Kind::damaged || hasBegunAfresh_) throw;
    const Raised replacing(isReplacing_, filesAreFree_);
    beginAfresh(error, memory, lines, lock);
    writeAll(memory);
    // Until the disk has it there is neither the old file nor the new.
    LogCopy copy(path_.string());
    file_->emptyLog(copy);
  }
  hasBegunAfresh_ = false;
}

void StoreDisk::writeAll(StoreMemory& memory) {
  if (!file_) connect(memory);
  // While the medium refuses, what is written gathers in memory, where a later value replaces an earlier one.
  if (isFailing_) {
    if (file_->logIsLong()) checkpointer_.request();  // on a full disk that makes room
    file_->touch();
  }
  memory.takeWrites(writes_);
  mirror_.stage(writes_, changes_);
  writes_.clear();
  if (!changes_.empty()) file_->write(changes_);
  changes_.clear();
  if (file_->logIsLong()) checkpointer_.request();
}

void StoreDisk::connect(StoreMemory& memory) {
  std::error_code ignored;  // if the folder is missing the lock says why
  std::filesystem::create_directories(path_.parent_path(), ignored);
  switch (lock_.take(path_.string() + ".lock")) {
    case ProcessLock::Outcome::taken:
      break;
    case ProcessLock::Outcome::inUse:
      throw StoreError(StoreError::Kind::inUse, lock_.detail());
    case ProcessLock::Outcome::unavailable:
      throw StoreError(StoreError::Kind::unavailable, lock_.detail());
  }
  auto file = std::make_unique<RowFile>(path_.string());
  try {
    mirror_ = RowMirror(file->rows());
  } catch (const StoreError&) {
    file->leaveFilesAlone();
    throw;
  }
  mirror_.forEachKey([&](const std::string& name, const Value& value) {
    wasRead_ ? memory.adopt(name, value) : memory.merge(name, value);
  });
  wasRead_ = true;
  file_ = std::move(file);
  file_->touch();
}

void StoreDisk::beginAfresh(const StoreError& damage, StoreMemory& memory, Lines& lines, Lock& lock) {
  filesAreFree_.wait(lock, [this] { return !isCopying_; });
  if (file_) file_->leaveFilesAlone();
  file_.reset();
  mirror_ = {};
  changes_.clear();
  memory.forgetTaken();
  const std::filesystem::path aside = setAside(path_);
  hasBegunAfresh_ = true;
  lines.push_back("the store " + path_.string() + " is damaged (" + damage.what() + "); it is set aside as " +
                  aside.filename().string() + " and a fresh one begun");
}

std::optional<std::string> StoreDisk::refusal(const StoreError& error) const {
  const std::string store = "the store " + path_.string() + " ";
  if (error.kind() == StoreError::Kind::inUse) return store + "is in use by " + error.what();
  if (error.kind() == StoreError::Kind::newer) return store + error.what();
  return std::nullopt;
}

void StoreDisk::noteFailure(const std::exception& error, Lines& lines) {
  if (std::exchange(isFailing_, true)) return;
  lines.push_back("the store " + path_.string() + " cannot be written (" + error.what() +
                  "); going on from memory until it can");
}

void StoreDisk::readUnwritable(StoreMemory& memory) {
  const RowMirror mirror(RowFile::rowsOfUnwritable(path_.string()));
  mirror.forEachKey([&](const std::string& name, const Value& value) { memory.adopt(name, value); });
  wasRead_ = true;
}

bool StoreDisk::checkpoint() {
  Lock lock(mutex_);
  if (!file_ || !file_->logIsLong()) {
    pagesSeen_ = 0;
    return true;
  }
  const int pages = file_->logPages();
  const bool pauses = std::exchange(pagesSeen_, pages) == pages;
  if (!pauses && !file_->logIsAtItsLimit()) return false;
  const Raised copying(isCopying_, filesAreFree_);
  try {
    return copyAndEmptyLog(lock);
  } catch (const std::exception&) {
    // The next write that the medium refuses says so.
    if (!lock.owns_lock()) lock.lock();
    return true;
  }
}

/// What waits for the disk is done without the lock, but for the last bit of a huge log on a disk that is quick.
bool StoreDisk::copyAndEmptyLog(Lock& lock) {
  for (int time = 0; time < copiesInARow; ++time) {
    lock.unlock();
    const auto begin = std::chrono::steady_clock::now();
    LogCopy copy(path_.string());
    const bool wasQuick = std::chrono::steady_clock::now() - begin < aMoment;
    lock.lock();
    if (file_->emptyLog(copy)) return true;
    if (wasQuick && file_->logIsHuge()) {
      copy.letGo();
      LogCopy rest(path_.string());
      return file_->emptyLog(rest);
    }
  }
  return false;
}

void StoreDisk::say(const Lines& lines) const {
  if (!log_) return;
  for (const std::string& line : lines) {
    try {
      log_(line);
    } catch (...) {
      // A log that fails must not take the store with it.
    }
  }
}

}  // namespace fliprugair
