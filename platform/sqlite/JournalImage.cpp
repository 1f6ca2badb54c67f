#include "platform/sqlite/JournalImage.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/sqlite/FileBytes.h"
#include "platform/sqlite/JournalFrame.h"
#include "platform/sqlite/StoredValue.h"

namespace fliprugair {

namespace {

/// The bytes of `head` from `place` on; false when they are not all there.
template <class Head>
bool read(std::string_view bytes, std::size_t place, Head& head) {
  if (bytes.size() < place || bytes.size() - place < sizeof head) return false;
  std::memcpy(&head, bytes.data() + place, sizeof head);
  return true;
}

}  // namespace

JournalImage::JournalImage(const std::string& path) {
  for (std::size_t index = 0; index < bytes_.size(); ++index) {
    bytes_[index] = bytesOfFile(path + Journal::suffixes[index]);
    const auto others = static_cast<std::ptrdiff_t>(frames_.size());
    readFrames(bytes_[index]);
    const auto begin = frames_.begin() + others;
    const bool isOlder = others > 0 && begin != frames_.end() && begin->mark.number < frames_.front().mark.number;
    if (isOlder) std::rotate(frames_.begin(), begin, frames_.end());
  }
}

void JournalImage::readFrames(std::string_view bytes) {
  constexpr std::uint32_t magic = JournalFrame::magicNumber;
  const std::string_view beginning(reinterpret_cast<const char*>(&magic), sizeof magic);
  bool followsGap = false;
  std::size_t place = 0;
  while (place < bytes.size()) {
    if (auto frame = frameAt(bytes, place)) {
      frame->followsGap = followsGap;
      followsGap = false;
      place += sizeof(JournalFrame) + frame->changes.size();
      frames_.push_back(*frame);
    } else {
      followsGap = true;
      place = std::min(bytes.find(beginning, place + 1), bytes.size());
    }
  }
  endsUnfinished_ = endsUnfinished_ || followsGap;
}

std::optional<JournalImage::Frame> JournalImage::frameAt(std::string_view bytes, std::size_t place) {
  JournalFrame head;
  if (!read(bytes, place, head) || head.magic != JournalFrame::magicNumber) return std::nullopt;
  const std::string_view changes = bytes.substr(place + sizeof head, head.size);
  const bool isWhole = changes.size() == head.size && head.checksumOf(changes) == head.checksum;
  return isWhole ? std::optional(Frame{{head.life, head.number}, changes, false}) : std::nullopt;
}

JournalImage::Account JournalImage::after(const std::optional<JournalMark>& mark) const {
  Account account;
  if (frames_.empty()) return account;
  account.mark = mark.value_or(JournalMark{frames_.back().mark.life, frames_.front().mark.number - 1});
  account.isOfAnother = true;
  bool isCut = false;
  for (const Frame& frame : frames_) {
    if (frame.mark.life != account.mark.life) continue;
    account.isOfAnother = false;
    if (frame.mark.number <= account.mark.number) continue;
    isCut = isCut || frame.mark.number != account.mark.number + 1;
    const bool isRead = append(frame.changes, isCut ? account.beyond : account.changes);
    account.isDamaged = account.isDamaged || frame.followsGap || !isRead;
    if (!isCut) account.mark.number = frame.mark.number;
  }
  return account;
}

/// Answers whether they could be read.
bool JournalImage::append(std::string_view changes, std::vector<RowChange>& to) {
  while (!changes.empty()) {
    JournalChange head;
    if (!read(changes, 0, head)) return false;
    changes.remove_prefix(sizeof head);
    if (head.nameSize == JournalChange::removal) {
      const bool isRange = head.id <= head.parent && (head.id > 0 || head.parent < 0);
      if (!isRange || !areRowNumbers({head.id, head.parent})) return false;
      to.emplace_back(RowRange{head.id, head.parent});
      continue;
    }
    const bool isThere = std::size_t{head.nameSize} + head.textSize <= changes.size();
    auto value = isThere ? storedValue(changes.substr(head.nameSize, head.textSize)) : std::nullopt;
    const bool isRow = head.id != JournalMark::rowNumber && areRowNumbers({head.id, head.parent, head.position});
    if (!value || !isRow) return false;
    to.emplace_back(Row{head.id, head.parent, head.position, std::string(changes.substr(0, head.nameSize)), *value});
    changes.remove_prefix(std::size_t{head.nameSize} + head.textSize);
  }
  return true;
}

}  // namespace fliprugair
