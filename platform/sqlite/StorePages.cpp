#include "platform/sqlite/StorePages.h"

#include <algorithm>

namespace fliprugair {

namespace {

// What lies in a cache of the processor's; more of it at a time is not faster.
constexpr std::uint32_t mostReadAhead = 128;

}  // namespace

StorePages::StorePages(const std::string& path) : file_(path), logBytes_(bytesOfFile(path + "-wal")), log_(logBytes_) {
  ofFile_ = static_cast<std::uint32_t>(file_.size() / pageSize);
  for (auto page = log_.pages().upper_bound(ofFile_); page != log_.pages().end(); ++page)
    beyondFile_.push_back(page->first);
}

std::string_view StorePages::page(std::uint32_t number) {
  if (const auto logged = log_.pages().find(number); logged != log_.pages().end()) return logged->second;
  return number == 0 || number > ofFile_ ? std::string_view() : pageOfFile(number);
}

std::string_view StorePages::pageOfFile(std::uint32_t number) {
  const auto end = firstInWindow_ + static_cast<std::uint32_t>(inWindow_.size() / pageSize);
  if (number < firstInWindow_ || number >= end) {
    // Whoever reads on reads much.
    readAhead_ = number == end ? std::min(2 * readAhead_, mostReadAhead) : 1;
    fillWindow(number, std::min(readAhead_, ofFile_ - number + 1) * pageSize);
  }
  const std::size_t place = (number - firstInWindow_) * pageSize;
  return place + pageSize <= inWindow_.size() ? inWindow_.substr(place, pageSize) : std::string_view();
}

void StorePages::fillWindow(std::uint32_t number, std::size_t size) {
  inWindow_ = {};
  firstInWindow_ = number;
  if (window_.size() < size) window_.resize(size);
  inWindow_ =
      std::string_view(window_).substr(0, file_.read(std::uintmax_t{number - 1} * pageSize, window_.data(), size));
}

std::string_view StorePages::beginning() {
  const std::string_view first = page(1);
  if (!first.empty()) return first;
  fillWindow(1, pageSize);
  return inWindow_;
}

}  // namespace fliprugair
