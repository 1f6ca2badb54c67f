#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fliprugair {

/// `text` in the gzip format. None when that is not shorter, or there is no memory for it.
std::optional<std::string> gzipped(std::string_view text);

/// Whether a host is sent gzip, from how its requests have ended.
class GzipConsent {
 public:
  bool isGiven() const { return isGiven_; }

  /// `word`: what its reply said of it, if it did. `isNotRead`: it could not read what was compressed; from then on its
  /// word does not count.
  void note(std::optional<bool> word, bool isNotRead) {
    isRevoked_ = isRevoked_ || isNotRead;
    isGiven_ = word.value_or(isGiven_) && !isRevoked_;
  }

 private:
  bool isGiven_ = false;
  bool isRevoked_ = false;
};

/// What a line of a reply's head says about gzip in the body of a request (RFC 7694): "Accept-Encoding: gzip" that it
/// is taken, the same header without it that it is not. None when it is another header.
std::optional<bool> takesGzip(std::string_view headerLine);

}  // namespace fliprugair
