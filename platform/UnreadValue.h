#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// A dictionary or an array that stays JSON text until somebody looks into it; then it is read, each time anew. Of a
/// hundred thousand records that wait the text is all that is needed: they are sent as it.
class UnreadValue {
 public:
  /// Reads compact JSON text. Null when that is not possible.
  using Read = Value (*)(std::string_view text);

  /// Where the compact text of an array stands while nobody needs it. Owned by the values made of it. Threads: any.
  class Source {
   public:
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    virtual ~Source() = default;

    /// Throws when the text cannot be had, now or at all.
    virtual std::string text() const = 0;

    /// How many items the array has.
    virtual std::size_t size() const = 0;
  };

  /// None when `text` is none of a dictionary or an array, of an empty one, or of one that nests deeper than
  /// Value::deepest.
  static std::optional<Value> of(std::string_view text, Read read);

  /// Of the text of a dictionary that is not empty and nests `depth` levels.
  static Value ofDictionary(std::string_view text, std::size_t depth, Read read);

  /// The array in `source`, which nests at most `depth` levels deep.
  static Value of(std::shared_ptr<const Source> source, Read read, std::size_t depth);

  static bool is(const Value& value);

  /// The text of an unread value; null of every other one. Throws what its source does.
  static std::shared_ptr<const std::string> textOf(const Value& value);

  /// Where the text of an unread value is to be had; null when it is here, and of every other value.
  static const Source* sourceOf(const Value& value);

  /// How many items `value` has if it is an array; found without its text.
  static std::size_t sizeOfArray(const Value& value);

 private:
  static Value made(std::string_view text, Read read, Value::Kind kind, std::size_t depth,
                    std::shared_ptr<const Source> source = nullptr);
};

struct Value::Unread {
  Unread(std::string_view itsText, UnreadValue::Read itsRead, Kind itsKind, std::size_t itsDepth,
         std::shared_ptr<const UnreadValue::Source> itsSource)
      : text(itsText), read(itsRead), kind(itsKind), depth(itsDepth), source(std::move(itsSource)) {}

  const std::string text;
  const UnreadValue::Read read;
  const Kind kind;
  const std::size_t depth;
  const std::shared_ptr<const UnreadValue::Source> source;  ///< of the text when that is not here
};

}  // namespace fliprugair
