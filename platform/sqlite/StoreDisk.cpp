#include "platform/sqlite/StoreDisk.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <span>
#include <utility>

#include "platform/Counted.h"
#include "platform/Joined.h"
#include "platform/sqlite/FileBytes.h"
#include "platform/sqlite/JournalImage.h"
#include "platform/sqlite/LockSoon.h"
#include "platform/sqlite/LogImage.h"
#include "platform/sqlite/RowChanges.h"
#include "platform/sqlite/RowImage.h"
#include "platform/sqlite/SetAside.h"
#include "platform/sqlite/SoundStore.h"
#include "platform/sqlite/StoreFolder.h"

namespace fliprugair {

namespace {

/// How long nothing is written before a long log is copied: the writes of one occasion are closer together, and the
/// disk is theirs.
constexpr std::chrono::seconds pause{1};

constexpr int mostAttempts = 3;  // to find a moment between the groups of other threads

/// Bytes of the journal: who writes much faster than the file can be written does it himself.
constexpr std::size_t longestJournal = std::size_t{4} * 1024 * 1024;

}  // namespace

StoreDisk::StoreDisk(std::filesystem::path path, StoreOptions options, std::function<void(std::string_view)> log)
    : path_(std::move(path)),
      options_(options),
      log_(std::move(log)),
      arrays_(std::make_shared<StoredArrays>(path_.string())),
      journal_(path_.string()),
      identityCopy_(path_, options_.durability),
      checkpointer_([this](bool hasPaused) { return checkpoint(hasPaused); }, pause) {}

/// The file's own connection is to be the last, which brings the log into the file.
StoreDisk::~StoreDisk() {
  checkpointer_.stop();
  const std::scoped_lock lock(fileMutex_, stagingMutex_);
  bool isFiled = false;
  try {
    if (file_ && !isStagedInPart_) {
      writeChanges(mostLeftoversOfALife);
      isFiled = place_->isInPlace();
    }
  } catch (...) {
    // The journal, and what is left over, remain for the next life.
  }
  mirror_ = {};
  try {
    arrays_->keepAll();  // for values that outlive the store
  } catch (...) {
    // No memory for them; they cannot be read any more.
  }
  arrays_->close();
  file_.reset();
  if (isFiled) journal_.remove();
}

std::optional<std::string> StoreDisk::open(StoreMemory& memory) {
  Lines lines;
  {
    const std::scoped_lock lock(fileMutex_, stagingMutex_);
    try {
      attempt(memory, lines);
    } catch (const StoreError& error) {
      if (auto reason = refusal(error)) return reason;
      try {
        const bool goesOn = wasRead_ || readUnwritable(memory) || isCertainlyNew(path_) ||
                            options_.unreadable == UnreadableStore::isJoined;
        if (!goesOn) return joined({"the store ", path_.native(), " cannot be opened now: ", error.what()});
      } catch (const StoreError& worse) {
        if (auto reason = refusal(worse)) return reason;
        return joined({"the store ", path_.native(), " cannot be opened now: ", worse.what()});
      }
      disconnect(memory);
      noteFailure(error, lines);
    }
  }
  for (const std::string& line : lines) say(line);
  return std::nullopt;
}

void StoreDisk::commit(StoreMemory& memory) noexcept {
  ++commits_;
  if (!commitToJournal(memory)) commitToFile(memory);
}

void StoreDisk::commitToFile(StoreMemory& memory) noexcept {
  try {
    Lines lines;
    bool writesFasterThanTheDisk = false;
    {
      ++writersThatWait_;
      const std::unique_lock fileLock = lockSoon(fileMutex_);
      --writersThatWait_;
      const std::unique_lock lock = lockBetweenGroups(memory, Locks::both);
      if (!lock) return;
      try {
        attempt(memory, lines);
        writesFasterThanTheDisk = file_->logIsAtItsBound();
        if (std::exchange(isFailing_, false))
          lines.push_back(joined({"the store ", path_.native(), " is being written again"}));
      } catch (const std::exception& error) {
        journal_.close();  // it does not have what was staged
        const auto* refused = dynamic_cast<const StoreError*>(&error);
        const bool isFull = refused != nullptr && refused->kind() == StoreError::Kind::full;
        if (!isFull) disconnect(memory);
        noteFailure(error, lines);
      }
    }
    for (const std::string& line : lines) say(line);
    if (writesFasterThanTheDisk) {
      ++writersThatWait_;
      checkpointer_.awaitAttempt();
      --writersThatWait_;
    }
  } catch (...) {
    // No memory to say so; the next call tries again.
  }
}

/// Answers whether what was written needs nothing else. Otherwise the file is to be written, with what was staged.
bool StoreDisk::commitToJournal(StoreMemory& memory) noexcept {
  if (options_.durability == StoreDurability::powerCut) return false;  // SQLite waits for the disk as well as we could
  const std::unique_lock lock = lockBetweenGroups(memory, Locks::staging);
  if (!lock) return true;
  if (!journal_.isOpen() || journal_.size() >= longestJournal) return false;
  try {
    if (!place_->isInPlace() || arrays_->hasFoundDamage()) return false;
    const std::size_t before = changes_.size();
    stage(memory);
    if (changes_.size() > before && !journal_.append(std::span(changes_).subspan(before))) return false;
    copyIdentity();
    requestFiling();
    return true;
  } catch (...) {
    journal_.close();  // before the lock goes: no other call may append behind what is missing here
    return false;
  }
}

/// Another thread's group that is torn will want the lock when it ends, and writes then what both have to say: it is
/// waited for without the lock, and if that was so nothing is left to be done. Where groups follow one another closely,
/// or foreign code blocks in several of them one after the other, the lock is answered with all the same.
std::unique_lock<std::mutex> StoreDisk::lockBetweenGroups(StoreMemory& memory, Locks locks) {
  std::optional<StoreMemory::Mark> mark;
  for (int attempt = 0;; ++attempt) {
    std::unique_lock lock = lockSoon(stagingMutex_);
    if (mark && isSettled(locks) && memory.isTaken(*mark)) return {};
    if (attempt == mostAttempts || !memory.isTorn()) return lock;
    lock.unlock();
    const StoreMemory::Mark before = memory.awaitGroups();
    if (!mark) mark = before;
  }
}

/// Whether all that was staged would be there after a sudden death. What is on its way to the file is seen by who has
/// both locks.
bool StoreDisk::isSettled(Locks locks) const {
  return journal_.isOpen() || (locks == Locks::both && file_ && !isFailing_ && changes_.empty() && !isStagedInPart_);
}

void StoreDisk::attempt(StoreMemory& memory, Lines& lines) {
  try {
    try {
      writeAll(memory, lines);
    } catch (const StoreError& error) {
      if (error.kind() != StoreError::Kind::damaged || hasBegunAfresh_) throw;
      // An error of the medium can look like damage; damage is there the second time too.
      disconnect(memory);
      writeAll(memory, lines);
    }
  } catch (const StoreError& error) {
    // If a fresh file is damaged too, the next one will be no better.
    if (error.kind() != StoreError::Kind::damaged || hasBegunAfresh_) throw;
    beginAfresh(error, memory, lines);
    writeAll(memory, lines);
    // Until the disk has it there is neither the old file nor the new.
    file_->emptyLog(RowFile::LogRoom::givenBack);
    file_->touch();
  }
  hasBegunAfresh_ = false;
}

void StoreDisk::writeAll(StoreMemory& memory, Lines& lines) {
  if (file_ && !place_->isInPlace()) {
    lines.push_back(joined({"the store ", path_.native(), " was taken away; it is written anew from memory"}));
    // Another store in its place has something to say; an empty place has not.
    wasRead_ = place_->fileIsInPlace() || isAbsent(path_);
    // What stands in it alone can still be read.
    if (const std::size_t lost = arrays_->keepAll(); lost > 0)
      lines.push_back(joined(
          {"of the records that waited in it alone, ", std::to_string(lost), " could not be read and are lost"}));
    disconnect(memory);
  }
  if (file_ && arrays_->hasFoundDamage()) throw StoreError::damaged("a record is not what was written");
  if (file_ && isStagedInPart_) disconnect(memory);
  if (!file_) connect(memory, lines);
  // While the medium refuses, what is written gathers in memory, where a later value replaces an earlier one.
  if (isFailing_) {
    requestCheckpoint();  // on a full disk that makes room
    file_->touch();
    place_->noteOthers();
  }
  stage(memory);
  writeChanges(0);
  if (options_.durability == StoreDurability::process) {
    journal_.open();
    place_->noteOthers();
  }
  copyIdentity();
  requestCheckpoint();
}

/// What was written in memory becomes changes of rows.
void StoreDisk::stage(StoreMemory& memory) {
  const std::size_t before = changes_.size();
  isStagedInPart_ = true;
  memory.takeWrites(writes_);
  for (const auto& write : writes_) identityChanged_ = identityChanged_ || IdentityCopy::holds(*write.name);
  mirror_.stage(writes_, changes_);
  writes_.clear();
  arrays_->keepErased(std::span(changes_).subspan(before));
  isStagedInPart_ = false;
}

/// All that is staged, with some of the leftovers behind it: before that their rows may not be leftovers in the file.
void StoreDisk::writeChanges(std::size_t leftovers) {
  const std::size_t before = changes_.size();
  mirror_.stageLeftovers(leftovers, changes_);
  arrays_->keepErased(std::span(changes_).subspan(before));
  leaveOutUndone(changes_);
  file_->write(changes_, journal_.mark());
  changes_.clear();
}

void StoreDisk::connect(StoreMemory& memory, Lines& lines) {
  prepareFolder(path_);
  takeLock();
  examineLog(lines);
  followJournal(lines);
  prepareFile(path_);
  auto sound = SoundStore(path_.string()).rows();  // gone again before SQLite opens the file
  auto file = openFile(sound ? RowFile::Structure::isSound : RowFile::Structure::isUnknown);
  try {
    mirror_ = RowMirror(sound ? *std::move(sound) : StoredRows{file->rows(), {}, file->mayHaveLeftovers()}, arrays_);
    if (mirror_.account().unused > 0) throw StoreError::damaged("rows without an owner");
    if (arrays_->hasUnkept()) arrays_->open();
    // It may have been replaced while it was not open.
    if (const std::size_t lost = wasRead_ ? arrays_->dropMissing() : 0; lost > 0)
      lines.push_back("the store " + path_.string() + " no longer has " + counted(lost, "record") +
                      " that waited in it");
  } catch (...) {
    file->leaveFilesAlone();
    throw;
  }
  place_.emplace(path_.string());
  journal_.beginLife();
  file_ = std::move(file);
  give(mirror_, memory);
  wasRead_ = true;
  identity_ = identityCopy_.read();
  identityChanged_ = true;
  // A healthy file says itself what it holds; the copy helps one that has lost its identity.
  if (memory.read(IdentityCopy::identifier()).isNull()) restoreIdentity(identity_, memory);
  file_->touch();
  place_->noteOthers();
  // A process that is killed soon may never come to it.
  if (mirror_.leftovers() > mostLeftoversOfALife) writeChanges(mostLeftoversOfALife);
  if (file_->logIsLong()) {
    file_->emptyLog(RowFile::LogRoom::givenBack);
    file_->touch();
  }
}

/// Files what a life that ended suddenly has left in its journal.
void StoreDisk::followJournal(Lines& lines) {
  const JournalImage journal(path_.string());
  if (journal.empty()) return;
  if (isAbsent(path_)) {
    if (wasRead_) return;  // the memory has all of it
    throw StoreError::damaged("there is a journal without its file");
  }
  const bool isSound = SoundStore(path_.string()).rows().has_value();
  const auto file = openFile(isSound ? RowFile::Structure::isSound : RowFile::Structure::isUnknown);
  file->leaveFilesAlone();
  auto lacking = journal.after(file->mark().value_or(JournalMark{}));
  // Within a life the memory has what is missing.
  if (lacking.isDamaged && !wasRead_) throw StoreError::damaged("its journal cannot be read to the end");
  leaveOutUndone(lacking.changes);
  if (!lacking.changes.empty()) file->write(lacking.changes, lacking.mark);
  if (wasRead_) return;
  if (journal.endsUnfinished()) note(unfinishedWrite(), lines);
  if (lacking.isOfAnother || !lacking.beyond.empty()) {
    const std::filesystem::path aside = setJournalAside(path_);
    const std::string_view reason = lacking.isOfAnother
                                        ? "beside it stands the journal of another"
                                        : "some of the newest writes before this start are lost, as after a power cut";
    note(joined(
             {"the store ", path_.native(), ": ", reason, "; the journal is set aside as ", aside.filename().native()}),
         lines);
  }
  journal_.remove();
}

std::unique_ptr<RowFile> StoreDisk::openFile(RowFile::Structure structure) const {
  try {
    return std::make_unique<RowFile>(path_.string(), options_.durability, structure);
  } catch (const StoreError& error) {
    const bool leavesAlone = error.kind() == StoreError::Kind::unavailable || error.kind() == StoreError::Kind::newer;
    if (leavesAlone && RowImage(path_.string()).hasAlteredHeader()) throw StoreError::damaged(error.what());
    throw;
  }
}

/// Lets go of the file as it is; the next attempt opens it anew and finds out what it lacks.
void StoreDisk::disconnect(StoreMemory& memory) {
  arrays_->close();
  if (file_) file_->leaveFilesAlone();
  file_.reset();
  place_.reset();
  journal_.letGo();
  mirror_ = {};
  writes_.clear();
  changes_.clear();
  isStagedInPart_ = false;
  memory.forgetTaken();
}

void StoreDisk::takeLock() {
  switch (lock_.take(path_.string() + ".lock")) {
    case ProcessLock::Outcome::taken:
      return;
    case ProcessLock::Outcome::inUse:
      throw StoreError(StoreError::Kind::inUse, lock_.detail());
    case ProcessLock::Outcome::unavailable:
      throw StoreError(StoreError::Kind::unavailable, lock_.detail());
  }
}

/// SQLite takes a log for ended where it is damaged, and deletes one whose file is gone.
void StoreDisk::examineLog(Lines& lines) const {
  const std::string bytes = bytesOfFile(path_.string() + "-wal");
  if (bytes.empty()) return;
  const LogImage log(bytes);
  if (log.isDamaged()) throw StoreError::damaged("its log cannot be read to the end");
  if (!log.pages().empty() && isAbsent(path_)) {
    throw StoreError::damaged("there is a log without its file");
  }
  if (log.endsUnfinished()) note(unfinishedWrite(), lines);
}

/// An attempt may come to the same more than once.
void StoreDisk::note(std::string line, Lines& lines) {
  if (std::find(lines.begin(), lines.end(), line) == lines.end()) lines.push_back(std::move(line));
}

std::string StoreDisk::unfinishedWrite() const {
  return joined({"the store ", path_.native(),
                 ": the last write before this start is not whole and is left out; its process ended in it, or it was"
                 " damaged"});
}

void StoreDisk::give(const RowMirror& mirror, StoreMemory& memory) {
  mirror.forEachKey([&](const std::string& name, const Value& value) {
    if (wasRead_) {
      memory.adopt(name, value);
    } else if (IdentityCopy::holds(name)) {
      memory.yieldTo(name, value);
    } else {
      memory.merge(name, value);
    }
  });
}

void StoreDisk::restoreIdentity(const Dictionary& copy, StoreMemory& memory) {
  for (const auto& entry : copy.entries()) memory.restore(entry.key(), entry.value);
}

void StoreDisk::copyIdentity() {
  if (!identityChanged_) return;
  std::map<std::string, Value> values;
  mirror_.forEachKey([&](const std::string& name, const Value& value) {
    if (!value.isNull() && IdentityCopy::holds(name)) values.emplace(name, value);
  });
  const Dictionary now(std::vector<std::pair<std::string, Value>>(values.begin(), values.end()));
  if (!now.empty() && !(now == identity_)) identityCopy_.write(now);
  identity_ = now;
  identityChanged_ = false;
}

void StoreDisk::beginAfresh(const StoreError& damage, StoreMemory& memory, Lines& lines) {
  disconnect(memory);
  std::string account = "it is written anew from memory";
  RowMirror kept;
  if (arrays_->hasUnkept()) {
    const auto [waited, lost] = arrays_->keepAll(RowImage(path_.string()).rows(false));
    account +=
        joined({", with ", counted(waited, "record"), " that waited in the file; ", counted(lost, "record"), " lost"});
  }
  if (!wasRead_) {
    RowImage image(path_.string());
    kept = RowMirror(image.rows(false));
    const RowMirror::Account& found = kept.account();
    account = joined(
        {counted(found.keys, "key"), " and ", counted(found.records, "record"), " of it are kept, at least ",
         counted(image.damagedRows() + found.unused + (image.lacksWrites() ? kept.leftovers() : 0), "row"), " lost"});
  }
  // From here on the memory has all of it: what is set aside in part, because a renaming fails, is not read again.
  give(kept, memory);
  memory.forgetTaken();
  if (!std::exchange(wasRead_, true)) restoreIdentity(identityCopy_.read(), memory);
  const std::filesystem::path aside = setAside(path_);
  hasBegunAfresh_ = true;
  lines.push_back(joined({"the store ", path_.native(), " is damaged (", damage.what(), "): ", account,
                          "; what was there is set aside as ", aside.filename().native()}));
}

std::optional<std::string> StoreDisk::refusal(const StoreError& error) const {
  std::string_view reason;
  if (error.kind() == StoreError::Kind::inUse) {
    reason = " is in use by ";
  } else if (error.kind() == StoreError::Kind::newer) {
    reason = " ";
  } else if (error.kind() == StoreError::Kind::noFile) {
    reason = " cannot be opened: ";
  } else {
    return std::nullopt;
  }
  return joined({"the store ", path_.native(), reason, error.what()});
}

void StoreDisk::noteFailure(const std::exception& error, Lines& lines) {
  if (std::exchange(isFailing_, true)) return;
  lines.push_back(joined(
      {"the store ", path_.native(), " cannot be written (", error.what(), "); going on from memory until it can"}));
}

/// Whether the memory now has what a file holds that can be read and not written.
bool StoreDisk::readUnwritable(StoreMemory& memory) {
  if (isAbsent(path_)) return false;
  try {
    RowImage image(path_.string());
    if (!image.isStore()) return false;
    if (image.formatVersion() > RowFile::formatVersion) {
      throw StoreError(StoreError::Kind::newer, joined({"was written by a newer version of this library (format ",
                                                        std::to_string(image.formatVersion()), ")"}));
    }
    give(RowMirror(image.rows(image.formatVersion() == RowFile::firstFormat)), memory);
    wasRead_ = true;
    return true;
  } catch (const StoreError& error) {
    if (error.kind() == StoreError::Kind::newer) throw;
    return false;
  }
}

void StoreDisk::say(std::string_view line) const noexcept {
  if (!log_) return;
  try {
    log_(line);
  } catch (...) {
    // A log that fails must not take the store with it.
  }
}

}  // namespace fliprugair
