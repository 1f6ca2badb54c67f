#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/UnreadValue.h"
#include "platform/posix/ProcessMark.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/RowNumbers.h"

namespace fliprugair {

/// Arrays whose items stay in the store's file until somebody needs them, and the connection that reads them then.
/// Shared by the store and the values that it has given away. Failures are StoreErrors. Threads: any; nothing else is
/// called with its lock held, so that a value can be read under every other lock.
class StoredArrays : public std::enable_shared_from_this<StoredArrays> {
 public:
  explicit StoredArrays(std::string path) : path_(std::move(path)) {}

  /// Before its arrays can be read.
  void open();
  /// They cannot be read until it is opened again; the file is left as it is.
  void close() noexcept;

  /// The array of the items in `rows`, none of which nests deeper than `depth`.
  Value array(RowNumbers rows, std::size_t depth);

  /// The rows of an array made here whose items are in the file alone; nothing for every other value.
  static std::optional<RowNumbers> rowsOf(const Value& value);

  /// Brings the items of all arrays that somebody still has into memory, where they do without the file. Answers how
  /// many are lost, because the file, which will not be here again, cannot be read.
  std::size_t keepAll();

  /// The same where the file is damaged, with the rows that could be read of it, by their numbers.
  struct Account {
    std::size_t waited = 0;
    std::size_t lost = 0;
  };
  Account keepAll(const std::vector<Row>& rows);

  /// The same for arrays whose rows `changes` are about to remove. What cannot be read now stays where it is and is
  /// lost to whoever still has it.
  void keepErased(std::span<const RowChange> changes);

  /// For arrays of a file that is another one now: those that it lacks are empty from now on. Answers how many items
  /// are lost.
  std::size_t dropMissing();

  /// Whether somebody has an array that cannot do without the file.
  bool hasUnkept() const;

  /// Whether something was read that is not what was written, since it was opened.
  bool hasFoundDamage() const { return hasFoundDamage_; }

 private:
  class Stored;

  std::string read(const RowNumbers& rows);
  std::optional<std::string> readable(const RowNumbers& rows);
  std::size_t count(const RowNumbers& rows);
  static void append(const RowRange& range, Statement& select, std::string& text);

  const std::string path_;
  const ProcessMark mark_;
  mutable std::mutex mutex_;
  std::vector<Stored*> arrays_;
  std::optional<Database> database_;
  std::optional<Statement> select_;
  std::atomic<bool> hasFoundDamage_ = false;
};

}  // namespace fliprugair
