#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/StoreOptions.h"
#include "platform/sqlite/Checkpointer.h"
#include "platform/sqlite/IdentityCopy.h"
#include "platform/sqlite/Journal.h"
#include "platform/sqlite/ProcessLock.h"
#include "platform/sqlite/Row.h"
#include "platform/sqlite/RowFile.h"
#include "platform/sqlite/RowMirror.h"
#include "platform/sqlite/StoreMemory.h"
#include "platform/sqlite/StorePlace.h"
#include "platform/sqlite/StoredArrays.h"

namespace fliprugair {

/// The durable half of the store: brings what was written in memory into the file, and deals with what can go wrong
/// with a file. Owned by the store. Threads: any.
class StoreDisk {
 public:
  StoreDisk(std::filesystem::path path, StoreOptions options, std::function<void(std::string_view)> log);
  StoreDisk(const StoreDisk&) = delete;
  StoreDisk& operator=(const StoreDisk&) = delete;
  ~StoreDisk();

  /// Opens the file and gives its values to `memory`, before anything else is called. Answers with a reason when there
  /// is to be no store.
  std::optional<std::string> open(StoreMemory& memory);

  /// Makes durable what was written in `memory` until now. When the medium fails nothing is lost: it is tried again,
  /// from the opening of the file on, with the next call.
  void commit(StoreMemory& memory) noexcept;
  /// The same; and the file has it then, without the journal.
  void commitToFile(StoreMemory& memory) noexcept;

  const std::filesystem::path& path() const { return path_; }
  void say(std::string_view line) const noexcept;

 private:
  /// Rows: where lives are short, few of them remain for the next one.
  static constexpr std::size_t mostLeftoversOfALife = 2'500;

  using Lines = std::vector<std::string>;
  enum class Locks { staging, both };  ///< that the caller will have
  struct Staged {
    std::size_t leftovers;
    bool hasLongJournal;
  };

  bool commitToJournal(StoreMemory& memory) noexcept;
  std::unique_lock<std::mutex> lockBetweenGroups(StoreMemory& memory, Locks locks);
  bool isSettled(Locks locks) const;
  void stage(StoreMemory& memory);
  void writeChanges(std::size_t leftovers);
  void attempt(StoreMemory& memory, Lines& lines);
  void writeAll(StoreMemory& memory, Lines& lines);
  void connect(StoreMemory& memory, Lines& lines);
  void followJournal(Lines& lines);
  std::unique_ptr<RowFile> openFile(RowFile::Structure structure) const;
  void disconnect(StoreMemory& memory);
  void examineLog(Lines& lines) const;
  static void note(std::string line, Lines& lines);
  std::string unfinishedWrite() const;
  void takeLock();
  void give(const RowMirror& mirror, StoreMemory& memory);
  static void restoreIdentity(const Dictionary& copy, StoreMemory& memory);
  void copyIdentity();
  void beginAfresh(const StoreError& damage, StoreMemory& memory, Lines& lines);
  std::optional<std::string> refusal(const StoreError& error) const;
  void noteFailure(const std::exception& error, Lines& lines);
  bool readUnwritable(StoreMemory& memory);
  // What the background thread does, in StoreUpkeep.cpp.
  void requestFiling();
  void requestCheckpoint();
  bool checkpoint(bool hasPaused) noexcept;
  Staged staged();
  bool isTidy();
  bool isQuiet() const;
  void fileJournal(std::size_t leftovers);
  void takeBackFiling() noexcept;
  bool copyLog(std::unique_lock<std::mutex>& lock, bool pauses);
  void removeLeftovers(std::unique_lock<std::mutex>& lock, bool pauses);
  void giveWay(std::unique_lock<std::mutex>& lock);
  bool giveBackRoom(std::unique_lock<std::mutex>& lock);

  const std::filesystem::path path_;
  const StoreOptions options_;
  const std::function<void(std::string_view)> log_;

  // The locks are taken in this order, and before the memory's. The file may keep its lock for as long as the disk
  // takes; a call that can be appended to the journal takes the other one alone, with which little is written.
  std::mutex fileMutex_;     ///< guards the file, and with the other one whether there is one and whether it fails
  std::mutex stagingMutex_;  ///< guards what is staged for the file

  ProcessLock lock_;
  std::unique_ptr<RowFile> file_;  ///< none as long as it could not be opened
  bool isFailing_ = false;
  bool hasBegunAfresh_ = false;    ///< and not yet written successfully
  bool wasRead_ = false;           ///< the memory has been given what the file held
  std::uint64_t commitsSeen_ = 0;  ///< a while ago
  std::vector<RowChange> filing_;  ///< on their way to the file

  const std::shared_ptr<StoredArrays> arrays_;
  std::optional<StorePlace> place_;  ///< of the file
  RowMirror mirror_;
  std::vector<StoreMemory::Write> writes_;
  bool isStagedInPart_ = false;     ///< the mirror is of no use any more
  std::vector<RowChange> changes_;  ///< staged, and neither in the file nor on their way to it
  Journal journal_;                 ///< as long as it is open it has what was written until now and the file has not
  const IdentityCopy identityCopy_;
  Dictionary identity_;           ///< what the copy holds
  bool identityChanged_ = false;  ///< and not yet copied

  std::atomic<std::uint64_t> commits_ = 0;  ///< how many there were
  std::atomic<int> writersThatWait_ = 0;    ///< for the file's lock, or for room in its log

  Checkpointer checkpointer_;
};

}  // namespace fliprugair
