#include "platform/sqlite/Journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <limits>
#include <string_view>

#include "platform/sqlite/JournalFrame.h"
#include "platform/sqlite/StoredValue.h"

namespace fliprugair {

namespace {

constexpr std::size_t mostKept = std::size_t{16} * 1024;  ///< bytes of memory, for the next frame; most are far smaller

template <class Head>
std::string_view bytesOf(const Head& head) {
  return {reinterpret_cast<const char*>(&head), sizeof head};
}

}  // namespace

Journal::Journal(const std::string& path) : paths_{path + suffixes[0], path + suffixes[1]} {}

void Journal::beginLife() {
  auto life = static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
  [[maybe_unused]] const int ignored = ::getentropy(&life, sizeof life);  // otherwise it is the time
  letGo();
  mark_ = {static_cast<std::int64_t>(life >> 2), 0};
}

void Journal::open() noexcept {
  size_ = 0;
  current_ = 0;
  isOpen_ = true;
  for (std::size_t index = 0; index < files_.size(); ++index) {
    FileDescriptor& file = files_[index];
    if (!file) file = FileDescriptor(::open(paths_[index].c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    isOpen_ = isOpen_ && file && ::ftruncate(file.get(), 0) == 0;
    if (file) [[maybe_unused]]
      const int ignored = ::fchmod(file.get(), 0600);  // one that was copied from elsewhere
  }
}

bool Journal::append(std::span<const RowChange> changes) {
  frame_.assign(sizeof(JournalFrame), '\0');
  for (const RowChange& change : changes) add(change);
  const std::string_view content = std::string_view(frame_).substr(sizeof(JournalFrame));
  JournalFrame head{.size = static_cast<std::uint32_t>(content.size()), .life = mark_.life, .number = mark_.number + 1};
  head.checksum = head.checksumOf(content);
  frame_.replace(0, sizeof head, bytesOf(head));
  const bool isWritten = content.size() <= std::numeric_limits<std::int32_t>::max() &&
                         ::pwrite(files_[current_].get(), frame_.data(), frame_.size(), static_cast<off_t>(size_)) ==
                             static_cast<ssize_t>(frame_.size());
  if (!isWritten) {
    close();
    [[maybe_unused]] const int ignored = ::ftruncate(files_[current_].get(), static_cast<off_t>(size_));
    return false;
  }
  ++mark_.number;
  size_ += frame_.size();
  if (frame_.size() > mostKept) frame_ = {};
  return true;
}

void Journal::add(const RowChange& change) {
  if (const auto* range = std::get_if<RowRange>(&change)) {
    frame_ += bytesOf(JournalChange{.nameSize = JournalChange::removal, .id = range->first, .parent = range->last});
    return;
  }
  const Row& row = std::get<Row>(change);
  const StoredText text(row.value);
  frame_ += bytesOf(JournalChange{static_cast<std::uint32_t>(row.name.size()),
                                  static_cast<std::uint32_t>(text.view().size()), row.id, row.parent, row.position});
  frame_.append(row.name).append(text.view());
}

void Journal::turn() {
  current_ = 1 - current_;
  size_ = 0;
}

void Journal::clearFiled() const noexcept {
  // That this fails does no harm: frames that the store's file has are left out, whatever stands before them.
  [[maybe_unused]] const int ignored = ::ftruncate(files_[1 - current_].get(), 0);
}

void Journal::letGo() noexcept {
  close();
  files_ = {};
}

void Journal::remove() noexcept {
  letGo();
  for (const std::string& path : paths_) ::unlink(path.c_str());
}

}  // namespace fliprugair
