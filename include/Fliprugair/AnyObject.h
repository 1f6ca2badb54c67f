#pragma once

#include <initializer_list>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/URL.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// An untyped object, as callers from another language runtime hand it over: whatever a value can be made of, text as
/// the other operations take it, or a URL.
class AnyObject {
 public:
  AnyObject() = default;
  template <class Source, std::enable_if_t<std::is_convertible_v<Source&&, Value>, int> = 0>
  AnyObject(Source&& source) : value_(std::forward<Source>(source)) {}
  AnyObject(const Text& text) : value_(text.value()) {}
  AnyObject(URL url) : url_(std::move(url)) {}
  /// A dictionary, as with Value.
  AnyObject(std::initializer_list<std::pair<std::string_view, Value>> pairs) : value_(pairs) {}

  /// The value that this is; null when it is a URL.
  const Value& value() const { return value_; }
  /// The URL that this is; none when it is a value.
  const URL& url() const { return url_; }

 private:
  Value value_;
  URL url_;
};

}  // namespace fliprugair
