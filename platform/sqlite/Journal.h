#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/posix/FileDescriptor.h"
#include "platform/sqlite/JournalMark.h"
#include "platform/sqlite/Row.h"

namespace fliprugair {

/// The newest changes of rows, until the store's file has them: to append them here takes a small part of the time and
/// of the bytes of a transaction of SQLite's. The background thread files many at once, of which those that undo one
/// another never come to the file; after a sudden death the next start does.
///
/// Two files take turns: one receives what is written while the other is brought into the store's file. What stands in
/// them are frames, each of which is numbered and checks; the mark in the store's file says which of them it has.
///
/// Does not wait for the disk. Owned by StoreDisk. Used by one thread at a time; `clearFiled` may go on beside
/// `append`.
class Journal {
 public:
  explicit Journal(const std::string& path);

  /// What the names of its files end with.
  static constexpr std::array suffixes = {".journal-1", ".journal-2"};

  /// Begins a new life, whose frames no other is to have numbers in common with. Does not open the files.
  void beginLife();

  /// Whether frames can be appended.
  bool isOpen() const { return isOpen_; }

  /// Makes it empty; the store's file has all of its frames. Stays closed when the files cannot be had.
  void open() noexcept;

  /// From now on nothing is appended. What stands in the files stays there.
  void close() noexcept { isOpen_ = false; }
  /// The same; and whatever has the names of the files when it is opened again are the files.
  void letGo() noexcept;

  /// Appends `changes`, which are there after a sudden death if this succeeds, all or none. Answers whether it does;
  /// otherwise the journal is closed.
  bool append(std::span<const RowChange> changes);

  /// Of the newest frame.
  JournalMark mark() const { return mark_; }

  /// Bytes of the frames since the last turn.
  std::size_t size() const { return size_; }

  /// The next frame goes to the other file, whose frames are in the store's file.
  void turn();

  /// Empties the file that receives nothing, as the store's file has its frames now.
  void clearFiled() const noexcept;

  /// Removes the files, as the store's file has all of their frames.
  void remove() noexcept;

 private:
  void add(const RowChange& change);

  const std::array<std::string, suffixes.size()> paths_;
  std::array<FileDescriptor, suffixes.size()> files_;
  std::size_t current_ = 0;  ///< which of them receives
  bool isOpen_ = false;
  JournalMark mark_;
  std::size_t size_ = 0;
  std::string frame_;
};

}  // namespace fliprugair
