#pragma once

#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair::sim {

/// A command that cannot be understood: what was found, and what would have been right.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// `value` as a person would recognise it in a message: compact JSON, shortened.
std::string shown(const Value& value);

/// A JSON object whose members are read one by one with their types checked. Throws CommandError for what is not as it
/// should be; the messages name the member.
class Members {
 public:
  /// `where` begins the messages, as in `"advance"`.
  Members(std::string where, const Value& object);

  /// Refuses members that are none of `names`.
  void allowOnly(std::initializer_list<std::string_view> names) const;

  bool has(std::string_view name) const { return members_.holds(name); }
  Value any(std::string_view name) const { return members_[name]; }
  const Dictionary& all() const { return members_; }

  std::string text(std::string_view name) const;
  std::optional<std::string> textOrNull(std::string_view name) const;
  double number(std::string_view name) const;
  std::int64_t integer(std::string_view name, std::int64_t least, std::int64_t most) const;
  bool boolean(std::string_view name) const;
  /// NO when the member is missing.
  bool optionalBoolean(std::string_view name) const { return has(name) && boolean(name); }
  Dictionary object(std::string_view name) const;
  Value objectOrNull(std::string_view name) const;
  std::vector<std::string> texts(std::string_view name) const;
  /// A text that is one of `choices`.
  std::string choice(std::string_view name, std::initializer_list<std::string_view> choices) const;

  [[noreturn]] void fail(std::string_view name, std::string_view wanted) const;

 private:
  std::string where_;
  Dictionary members_;
};

}  // namespace fliprugair::sim
