#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace fliprugair {

/// The pages in SQLite's write-ahead log, read without SQLite: it takes a log for ended where it is damaged, and what
/// stands behind that place was written and confirmed all the same.
class LogImage {
 public:
  /// `bytes` are the log's and must outlive this object. Any bytes will do.
  explicit LogImage(std::string_view bytes);

  /// The newest committed content of each page, by the page's number.
  const std::map<std::uint32_t, std::string_view>& pages() const { return pages_; }

  /// Whether committed pages stand where SQLite would not look.
  bool isDamaged() const { return isDamaged_; }

  /// Whether the newest page is not what was to be written: over the page of an older log the process ended between
  /// the two halves of writing it, before its call returned, or it was damaged afterwards. Nothing tells which.
  bool endsUnfinished() const { return endsUnfinished_; }

 private:
  struct Sum {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    friend bool operator==(const Sum&, const Sum&) = default;
  };

  static Sum sumOf(Sum sum, std::string_view bytes, bool isBigEndian);
  static Sum sumAt(std::string_view bytes, std::size_t place);

  std::map<std::uint32_t, std::string_view> pages_;
  bool isDamaged_ = false;
  bool endsUnfinished_ = false;
};

}  // namespace fliprugair
