#include "platform/sqlite/LogImage.h"

#include <utility>

#include "platform/sqlite/BigEndian.h"
#include "platform/sqlite/RowFile.h"

namespace fliprugair {

namespace {

constexpr std::size_t headerSize = 32;
constexpr std::size_t frameHeaderSize = 24;
constexpr std::size_t frameSize = frameHeaderSize + RowFile::pageSize;
constexpr std::uint32_t magic = 0x377F0682;  ///< its lowest bit is set when the sums are of big-endian words

std::uint32_t word(std::string_view bytes, std::size_t place, bool isBigEndian) {
  const std::uint32_t number = bigEndian<4>(bytes, place);
  return isBigEndian ? number : __builtin_bswap32(number);
}

}  // namespace

LogImage::Sum LogImage::sumOf(Sum sum, std::string_view bytes, bool isBigEndian) {
  for (std::size_t place = 0; place + 8 <= bytes.size(); place += 8) {
    sum.first += word(bytes, place, isBigEndian) + sum.second;
    sum.second += word(bytes, place + 4, isBigEndian) + sum.first;
  }
  return sum;
}

LogImage::Sum LogImage::sumAt(std::string_view bytes, std::size_t place) {
  return {static_cast<std::uint32_t>(bigEndian<4>(bytes, place)),
          static_cast<std::uint32_t>(bigEndian<4>(bytes, place + 4))};
}

LogImage::LogImage(std::string_view bytes) {
  if (bytes.size() < headerSize + frameSize) return;
  const std::uint32_t kind = bigEndian<4>(bytes, 0);
  const bool isBigEndian = kind == (magic | 1);
  const Sum sumOfHeader = sumOf({}, bytes.substr(0, 24), isBigEndian);
  const bool isHeaderGood =
      (kind | 1) == (magic | 1) && bigEndian<4>(bytes, 8) == RowFile::pageSize && sumOfHeader == sumAt(bytes, 24);
  // The frames repeat the header's salt, which says that they belong to this log and not to an older one.
  const std::string_view salt = isHeaderGood ? bytes.substr(16, 8) : bytes.substr(headerSize + 8, 8);
  Sum before = sumAt(bytes, 24);
  bool isBroken = !isHeaderGood;  // where SQLite stops reading
  int brokenAtTheEnd = 0;         // frames of this log, since the last whole one
  std::map<std::uint32_t, std::string_view> transaction;
  for (std::size_t place = headerSize; place + frameSize <= bytes.size(); place += frameSize) {
    const std::string_view frame = bytes.substr(place, frameSize);
    const std::string_view page = frame.substr(frameHeaderSize);
    const Sum sumBefore = std::exchange(before, sumAt(frame, 16));
    const bool isWhole = frame.substr(8, 8) == salt &&
                         sumOf(sumOf(sumBefore, frame.substr(0, 8), isBigEndian), page, isBigEndian) == before;
    if (!isWhole) {
      isBroken = true;
      // A frame of the older log that this one is written over has neither half of the salt.
      const bool isOurs = frame.substr(8, 4) == salt.substr(0, 4) || frame.substr(12, 4) == salt.substr(4);
      if (isOurs) ++brokenAtTheEnd;
      continue;
    }
    brokenAtTheEnd = 0;
    transaction[static_cast<std::uint32_t>(bigEndian<4>(frame, 0))] = page;
    const bool isCommit = bigEndian<4>(frame, 4) != 0;
    if (!isCommit) continue;
    if (isBroken) isDamaged_ = true;
    for (const auto& [number, content] : transaction) pages_[number] = content;
    transaction.clear();
  }
  if (brokenAtTheEnd > 1) isDamaged_ = true;
  endsUnfinished_ = brokenAtTheEnd == 1 && !isDamaged_;
}

}  // namespace fliprugair
