#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// JSON text in the making, with all of JSON that needs no library. What a record takes has room in the object itself.
class JSONText {
 public:
  JSONText() = default;
  JSONText(const JSONText&) = delete;
  JSONText& operator=(const JSONText&) = delete;

  void add(char character) { *room(1) = character; }
  /// Characters as they are.
  void add(std::string_view characters);
  /// `text` in quotation marks, with escapes where JSON demands them.
  void addText(std::string_view text);
  /// `key`, which has nothing to be escaped, a colon, `text` as addText adds it, and a comma.
  void addPair(std::string_view key, std::string_view text);
  /// The same for a text that has nothing to be escaped, either.
  void addPlainPair(std::string_view key, std::string_view text);
  /// `key`, which has nothing to be escaped, and a colon.
  void addKey(std::string_view key);
  /// Null, a boolean, an integer or a text. False, and adds nothing, for every other kind.
  bool addPlain(const Value& value);
  void removeLast() { --size_; }

  /// Valid until something is added.
  std::string_view text() const { return {begin_, size_}; }

 private:
  /// A place for so many more characters, to be written at once.
  char* room(std::size_t characters) {
    if (characters > capacity_ - size_) grow(characters);
    size_ += characters;
    return begin_ + size_ - characters;
  }
  void grow(std::size_t characters);
  void addEscaped(std::string_view text);
  void addInteger(const Value& value);

  std::array<char, 1024> inPlace_;  // not cleared
  std::unique_ptr<char[]> grown_;
  char* begin_ = inPlace_.data();
  std::size_t capacity_ = inPlace_.size();
  std::size_t size_ = 0;
};

}  // namespace fliprugair
