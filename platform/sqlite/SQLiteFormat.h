#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace fliprugair {

// Laid down in SQLite's file format.
inline constexpr std::size_t fileHeaderSize = 100;  ///< bytes, in front of what the first page holds
inline constexpr unsigned char interiorOfATable = 0x05;
inline constexpr unsigned char leafOfATable = 0x0D;

/// Reads SQLite's numbers and the columns of records one after the other; after the end, or a column that is of another
/// type, it has failed for good.
class RecordReader {
 public:
  RecordReader(std::string_view bytes, std::size_t place) : bytes_(bytes), place_(std::min(place, bytes.size())) {}

  bool hasFailed() const { return hasFailed_; }
  std::size_t place() const { return place_; }

  std::uint64_t varint() {
    const bool isShort = place_ < bytes_.size() && static_cast<unsigned char>(bytes_[place_]) < 0x80;
    if (isShort && !hasFailed_) return static_cast<unsigned char>(bytes_[place_++]);  // as nearly all are
    std::uint64_t number = 0;
    for (int index = 0; index < 9; ++index) {
      const std::uint64_t byte = next();
      if (index == 8) return (number << 8) | byte;
      number = (number << 7) | (byte & 0x7F);
      if (byte < 0x80) break;
    }
    return number;
  }

  std::int64_t bigEndian(std::size_t size) {
    if (size == 0) return 0;
    std::uint64_t number = 0;
    for (const char byte : bytes(size)) number = (number << 8) | static_cast<unsigned char>(byte);
    const std::size_t unused = 64 - 8 * size;
    return static_cast<std::int64_t>(number << unused) >> unused;
  }

  std::string_view bytes(std::size_t size) {
    if (hasFailed_ || size > bytes_.size() - place_) {
      hasFailed_ = true;
      return {};
    }
    return bytes_.substr(std::exchange(place_, place_ + size), size);
  }

  /// The content of a column of this type.
  std::int64_t integer(std::uint64_t type) {
    constexpr std::array<std::uint8_t, 10> sizes = {0, 1, 2, 3, 4, 6, 8, none, 0, 0};
    const std::size_t size = type < sizes.size() ? sizes[static_cast<std::size_t>(type)] : none;
    if (size == none) hasFailed_ = true;
    return hasFailed_ ? 0 : type == 9 ? 1 : bigEndian(size);
  }
  std::string_view text(std::uint64_t type) {
    const bool isText = type >= 13 && type % 2 == 1;
    if (!isText) hasFailed_ = true;
    return isText ? bytes(static_cast<std::size_t>((type - 13) / 2)) : std::string_view();
  }

 private:
  static constexpr std::uint8_t none = 0xFF;

  std::uint64_t next() {
    if (hasFailed_ || place_ >= bytes_.size()) {
      hasFailed_ = true;
      return 0;
    }
    return static_cast<unsigned char>(bytes_[place_++]);
  }

  std::string_view bytes_;
  std::size_t place_;
  bool hasFailed_ = false;
};

}  // namespace fliprugair
