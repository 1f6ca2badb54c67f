#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sqlite/Journal.h"
#include "platform/sqlite/JournalMark.h"
#include "platform/sqlite/Row.h"

namespace fliprugair {

/// What stands in the files of a journal whose process is gone. Any bytes will do.
class JournalImage {
 public:
  /// Of the store in `path`. Failures as FileBytes.
  explicit JournalImage(const std::string& path);
  JournalImage(const JournalImage&) = delete;
  JournalImage& operator=(const JournalImage&) = delete;

  bool empty() const { return frames_.empty() && !endsUnfinished_; }

  struct Account {
    std::vector<RowChange> changes;  ///< in the order in which they were appended
    JournalMark mark;                ///< up to where they go
    std::vector<RowChange> beyond;   ///< those that stand behind missing frames
    bool isDamaged = false;          ///< whether something else stands among them
    bool isOfAnother = false;        ///< whether there are none of this life, and some of another
  };

  /// What a store's file lacks that says to have the journal up to `mark`. When it cannot say that, each frame that
  /// stands here of the life that did last: with all that follow, those that the file has change nothing.
  Account after(const std::optional<JournalMark>& mark) const;

  /// Whether something stands behind the frames: the process ended while it appended, before its call returned, or the
  /// newest frame was damaged afterwards. Nothing tells which.
  bool endsUnfinished() const { return endsUnfinished_; }

 private:
  struct Frame {
    JournalMark mark;
    std::string_view changes;
    bool followsGap;  ///< bytes that are no frame
  };

  void readFrames(std::string_view bytes);
  static std::optional<Frame> frameAt(std::string_view bytes, std::size_t place);
  static bool append(std::string_view changes, std::vector<RowChange>& to);

  std::array<std::string, Journal::suffixes.size()> bytes_;
  std::vector<Frame> frames_;  ///< those of the older file first
  bool endsUnfinished_ = false;
};

}  // namespace fliprugair
