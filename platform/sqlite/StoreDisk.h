#pragma once

#include <condition_variable>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sqlite/Checkpointer.h"
#include "platform/sqlite/ProcessLock.h"
#include "platform/sqlite/Row.h"
#include "platform/sqlite/RowFile.h"
#include "platform/sqlite/RowMirror.h"
#include "platform/sqlite/StoreMemory.h"

namespace fliprugair {

/// The durable half of the store: brings what was written in memory into the file, and deals with what can go wrong
/// with a file. Owned by the store. Threads: any.
class StoreDisk {
 public:
  StoreDisk(std::filesystem::path path, std::function<void(std::string_view)> log);

  /// Opens the file and gives its values to `memory`, before anything else is called. Answers with a reason when
  /// another process has the file or a newer version wrote it; every other failure is one of the medium.
  std::optional<std::string> open(StoreMemory& memory);

  /// Makes durable what was written in `memory` until now. When the medium fails nothing is lost: it is tried again
  /// with the next call.
  void commit(StoreMemory& memory);

 private:
  using Lines = std::vector<std::string>;
  using Lock = std::unique_lock<std::mutex>;

  void attempt(StoreMemory& memory, Lines& lines, Lock& lock);
  void writeAll(StoreMemory& memory);
  void connect(StoreMemory& memory);
  void beginAfresh(const StoreError& damage, StoreMemory& memory, Lines& lines, Lock& lock);
  std::optional<std::string> refusal(const StoreError& error) const;
  void noteFailure(const std::exception& error, Lines& lines);
  void readUnwritable(StoreMemory& memory);
  bool checkpoint();
  bool copyAndEmptyLog(Lock& lock);
  void say(const Lines& lines) const;

  const std::filesystem::path path_;
  const std::function<void(std::string_view)> log_;

  std::mutex mutex_;  ///< taken before the memory's, never after it; guards what follows
  ProcessLock lock_;
  std::unique_ptr<RowFile> file_;  ///< none as long as it could not be opened
  RowMirror mirror_;
  std::vector<StoreMemory::Write> writes_;
  std::vector<RowChange> changes_;  ///< staged and not yet in the file
  bool isFailing_ = false;
  bool hasBegunAfresh_ = false;  ///< and not yet written successfully
  bool wasRead_ = false;         ///< the memory has been given what the file held

  int pagesSeen_ = 0;         ///< of the log, a while ago
  bool isCopying_ = false;    ///< the log, without `mutex_`; the file is not replaced meanwhile
  bool isReplacing_ = false;  ///< the file, and may be waiting for that; nobody else writes meanwhile
  std::condition_variable filesAreFree_;

  Checkpointer checkpointer_;
};

}  // namespace fliprugair
