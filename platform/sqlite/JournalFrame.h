#pragma once

#include <cstdint>
#include <string_view>

#include "platform/sqlite/Checksum.h"

namespace fliprugair {

/// What stands before the changes of one frame of the journal. Numbers are in the byte order of the machine, on which
/// alone a process can have died that left it.
struct JournalFrame {
  static constexpr std::uint32_t magicNumber = 0x4A4C4E46;  ///< by which frames behind damage are found

  std::uint32_t magic = magicNumber;
  std::uint32_t size = 0;  ///< of what follows, bytes
  std::int64_t life = 0;
  std::int64_t number = 0;
  std::int64_t checksum = 0;

  std::int64_t checksumOf(std::string_view changes) const {
    return Checksum()
        .add(static_cast<std::uint64_t>(life))
        .add(static_cast<std::uint64_t>(number))
        .add(changes)
        .value();
  }
};

/// What stands before each change: of a row to be written, before its name and its text; of rows to be removed, alone.
struct JournalChange {
  static constexpr std::uint32_t removal = 0xFFFFFFFF;

  std::uint32_t nameSize = 0;  ///< or `removal`
  std::uint32_t textSize = 0;
  std::int64_t id = 0;      ///< or the first row to be removed
  std::int64_t parent = 0;  ///< or the last one
  std::int64_t position = 0;
};

}  // namespace fliprugair
