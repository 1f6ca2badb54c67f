#include <cstdint>
#include <optional>

#include "platform/plist/PlistShape.h"

namespace fliprugair {

namespace {

/// The high half of the byte that an object begins with; the low half is its size or says that a count follows.
enum Marker : unsigned {
  constant = 0x0,
  integer = 0x1,
  real = 0x2,
  date = 0x3,
  data = 0x4,
  ascii = 0x5,
  unicode = 0x6,
  uid = 0x8,
  array = 0xA,
  dictionary = 0xD,
};

/// Header, objects, table of the objects' offsets, trailer with the sizes and the place of the table.
class BinaryShape {
 public:
  explicit BinaryShape(std::string_view bytes) : bytes_(bytes) {}

  bool isBounded() { return readTrailer() && isBounded(root_, 0, false); }

 private:
  static constexpr std::size_t headerSize = 8;
  static constexpr std::size_t trailerSize = 32;

  bool readTrailer();
  bool isBounded(std::uint64_t object, std::size_t depth, bool asKey);
  bool isBoundedContainer(std::size_t offset, std::uint64_t count, unsigned marker, std::size_t depth);
  bool addPayload(std::size_t offset, std::uint64_t count, std::size_t unit);
  std::optional<std::uint64_t> readCount(std::size_t& offset, unsigned size) const;

  /// Whether `size` bytes at `offset` lie before the table. `offset` does.
  bool holds(std::size_t offset, std::uint64_t size) const { return size <= table_ - offset; }

  unsigned byteAt(std::size_t offset) const { return static_cast<unsigned char>(bytes_[offset]); }

  std::uint64_t numberAt(std::size_t offset, std::size_t size) const {
    std::uint64_t number = 0;
    for (std::size_t index = 0; index < size; ++index) number = number << 8 | byteAt(offset + index);
    return number;
  }

  std::string_view bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t objects_ = 0;
  std::uint64_t root_ = 0;
  std::size_t table_ = 0;
  std::size_t values_ = 0;
  std::size_t payload_ = 0;
};

bool BinaryShape::readTrailer() {
  if (bytes_.size() < headerSize + trailerSize || bytes_.size() > PlistBounds::bytes) return false;
  const std::size_t trailer = bytes_.size() - trailerSize;
  offsetSize_ = byteAt(trailer + 6);
  referenceSize_ = byteAt(trailer + 7);
  objects_ = numberAt(trailer + 8, 8);
  root_ = numberAt(trailer + 16, 8);
  const std::uint64_t table = numberAt(trailer + 24, 8);
  if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) return false;
  if (table < headerSize || table > trailer) return false;
  table_ = static_cast<std::size_t>(table);
  return objects_ <= (trailer - table_) / offsetSize_;
}

bool BinaryShape::isBounded(std::uint64_t object, std::size_t depth, bool asKey) {
  if (object >= objects_ || depth > PlistBounds::depth || ++values_ > PlistBounds::values) return false;
  const std::uint64_t place = numberAt(table_ + static_cast<std::size_t>(object) * offsetSize_, offsetSize_);
  if (place < headerSize || place >= table_) return false;
  auto offset = static_cast<std::size_t>(place);
  const unsigned marker = byteAt(offset) >> 4;
  const unsigned size = byteAt(offset) & 0xF;
  ++offset;
  if (asKey && marker != ascii && marker != unicode) return false;
  switch (marker) {
    case constant:
      return size == 8 || size == 9;
    case integer:
      return size <= 4 && holds(offset, std::uint64_t{1} << size);
    case real:
      return (size == 2 || size == 3) && holds(offset, std::uint64_t{1} << size);
    case date:
      return size == 3 && holds(offset, 8);
    case uid:
      return size < 8 && holds(offset, size + 1);
    case data:
    case ascii:
    case unicode:
    case array:
    case dictionary:
      break;
    default:
      return false;
  }
  const auto count = readCount(offset, size);
  if (!count || !holds(offset, *count)) return false;
  if (marker == array || marker == dictionary) return isBoundedContainer(offset, *count, marker, depth);
  return addPayload(offset, *count, marker == unicode ? 2 : 1);
}

bool BinaryShape::isBoundedContainer(std::size_t offset, std::uint64_t count, unsigned marker, std::size_t depth) {
  const std::uint64_t keys = marker == dictionary ? count : 0;
  const std::uint64_t references = count + keys;
  if (!holds(offset, references * referenceSize_)) return false;
  for (std::uint64_t index = 0; index < references; ++index, offset += referenceSize_) {
    if (!isBounded(numberAt(offset, referenceSize_), depth + 1, index < keys)) return false;
  }
  return true;
}

bool BinaryShape::addPayload(std::size_t offset, std::uint64_t count, std::size_t unit) {
  payload_ += count * unit;
  return holds(offset, count * unit) && payload_ <= PlistBounds::payload;
}

std::optional<std::uint64_t> BinaryShape::readCount(std::size_t& offset, unsigned size) const {
  if (size < 0xF) return size;
  if (!holds(offset, 1) || byteAt(offset) >> 4 != integer || (byteAt(offset) & 0xF) > 3) return std::nullopt;
  const std::size_t width = std::size_t{1} << (byteAt(offset) & 0xF);
  ++offset;
  if (!holds(offset, width)) return std::nullopt;
  const std::uint64_t count = numberAt(offset, width);
  offset += width;
  return count;
}

}  // namespace

bool isBoundedBinaryPlist(std::string_view bytes) { return BinaryShape(bytes).isBounded(); }

}  // namespace fliprugair
