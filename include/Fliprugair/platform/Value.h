#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Fliprugair/platform/Export.h"

namespace fliprugair {

class Value;

/// An immutable list of values. A copy is a reference count; `appending` shares what both lists have in common, so
/// that adding to a long list costs about what adding to a short one costs.
/// Threads: any number may read and copy one object; assigning to it needs the owner's own order, as with any value.
class FLIPRUGAIR_EXPORT Array {
 public:
  class Iterator;

  Array() = default;
  explicit Array(std::vector<Value> items);
  Array(std::initializer_list<Value> items);

  std::size_t size() const noexcept;
  bool empty() const noexcept { return size() == 0; }

  /// The value at `index`, which must be below size().
  const Value& operator[](std::size_t index) const noexcept;

  /// This list with `item` behind its last one.
  Array appending(Value item) const;

  /// Whether a string equal to `text` is among the items.
  bool containsText(std::string_view text) const noexcept;

  /// How many leading items this list shares with `other`: the same objects, found without looking into them.
  std::size_t sharedPrefix(const Array& other) const;

  Iterator begin() const noexcept;
  Iterator end() const noexcept;

  FLIPRUGAIR_EXPORT friend bool operator==(const Array& left, const Array& right);

 private:
  friend class Value;
  struct Node;
  std::size_t depth() const noexcept;
  std::shared_ptr<const Node> node_;
};

/// An immutable dictionary with text keys, enumerated in the order of insertion. Copies and threads: as Array.
class FLIPRUGAIR_EXPORT Dictionary {
 public:
  struct Entry;
  class Entries;

  Dictionary() = default;
  /// Of several pairs with one key the last holds, in the place of the first.
  explicit Dictionary(std::vector<std::pair<std::string, Value>> pairs);

  std::size_t size() const noexcept;
  bool empty() const noexcept { return size() == 0; }

  /// What is held under `key`; null when the key is absent.
  Value operator[](std::string_view key) const noexcept;

  /// Whether `key` is present, be it with null as its value.
  bool holds(std::string_view key) const noexcept;

  /// This dictionary with `value` under `key`: in the key's place when it is present, else at the end.
  Dictionary setting(std::string_view key, Value value) const;

  /// This dictionary without `key`.
  Dictionary removing(std::string_view key) const;

  /// The entries in order. The result keeps them alive by itself.
  Entries entries() const;

  struct Difference;
  /// What leads from `before` to `after`, found without looking at what the two share. A key whose value is
  /// another object is in both lists.
  static Difference difference(const Dictionary& before, const Dictionary& after);

  FLIPRUGAIR_EXPORT friend bool operator==(const Dictionary& left, const Dictionary& right);

 private:
  friend class Value;
  friend class PairList;
  struct Node;
  static Dictionary of(std::vector<Entry> entries, std::size_t depth);
  std::size_t depth() const noexcept;
  const Entry* find(std::string_view key) const noexcept;
  std::shared_ptr<const Node> node_;
};

/// The platform's object: null, boolean, integer, real, text, array or dictionary. Immutable once made and cheap
/// to copy. Text is valid UTF-8 always: what is not is replaced by U+FFFD on the way in. Arrays and dictionaries nest
/// no deeper than `deepest`, so that nothing that goes through them exhausts a stack: null stands for what would.
class FLIPRUGAIR_EXPORT Value {
 public:
  enum class Kind { null, boolean, integer, real, text, array, dictionary };

  static constexpr std::size_t deepest = 512;  ///< levels

  Value() noexcept {}
  // Not in line: there are thousands of places where a value is made, handed on and dropped.
  Value(const Value& other) noexcept;
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other) noexcept;
  Value& operator=(Value&& other) noexcept;
  ~Value();

  Value(std::nullptr_t) noexcept {}
  template <class T, std::enable_if_t<std::is_same_v<T, bool>, int> = 0>
  Value(T truth) noexcept : form_(Form::boolean), integer_(truth) {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>, int> = 0>
  Value(T number) noexcept {
    form_ = Form::integer;
    if constexpr (std::is_unsigned_v<T> && sizeof(T) == sizeof(std::int64_t)) {
      if (number > INT64_MAX) form_ = Form::largeInteger;
    }
    integer_ = static_cast<std::int64_t>(number);
  }
  Value(double number) noexcept : form_(Form::real), real_(number) {}
  Value(std::string text);
  Value(std::string_view text);
  /// A null pointer gives null.
  Value(const char* text);
  Value(const Array& array) noexcept;
  Value(Array&& array) noexcept;
  Value(const Dictionary& dictionary) noexcept;
  Value(Dictionary&& dictionary) noexcept;
  /// A dictionary: `Value{{"marluneAppId", "demo"}, {"enableLogging", true}}`.
  Value(std::initializer_list<std::pair<std::string_view, Value>> pairs);

  Kind kind() const noexcept { return form_ <= Form::dictionary ? static_cast<Kind>(form_) : kindOfOther(); }
  bool isNull() const noexcept { return form_ == Form::null; }
  bool isText() const noexcept { return form_ == Form::shortText || form_ == Form::sharedText; }
  bool isArray() const noexcept { return kind() == Kind::array; }
  bool isDictionary() const noexcept { return kind() == Kind::dictionary; }
  /// A boolean counts as a number.
  bool isNumber() const noexcept;
  /// An integer that only an unsigned one of 64 bits can hold; its integerValue() is saturated.
  bool isUnsigned() const noexcept { return form_ == Form::largeInteger; }

  /// As the platform's objects answer for their boolean value: a number by being other than 0; text when, after
  /// blanks, one sign and zeros, one of Y y T t 1 to 9 begins it; everything else NO.
  bool boolValue() const noexcept;

  /// A number truncated toward zero, or the integer that text begins with (after blanks and one sign); saturated at
  /// the bounds of the type, and 0 where there is none.
  std::int64_t integerValue() const noexcept;

  /// The integer of one that isUnsigned(); 0 for everything else.
  std::uint64_t unsignedValue() const noexcept;

  /// The text, or "" when this is none. Valid as long as this value; of a temporary one it is a copy.
  const std::string& text() const& noexcept;
  std::string text() && { return text(); }

  /// A number as a real; 0 for everything else.
  double realValue() const noexcept;

  /// The array or dictionary, or an empty one when this is none. A batch that has waited in the store since an earlier
  /// start is read now: throws a std::exception when the store is closed or cannot be read.
  Array array() const;
  Dictionary dictionary() const;

  /// How many levels of arrays and dictionaries nest here, this one included; 0 for everything else. One that had to do
  /// without what lay too deep says `deepest` + 1, and so does what holds it. A level that was taken out of a
  /// dictionary may still count.
  std::size_t depth() const;

  /// Whether both are one object (long text, array, dictionary) or equal scalars, among which short text counts: never
  /// looks into containers.
  bool isSameObject(const Value& other) const noexcept;

  /// Equal in kind and content: the integer 1, the real 1.0 and the boolean YES are three different values.
  FLIPRUGAIR_EXPORT friend bool operator==(const Value& left, const Value& right);

 private:
  friend class UnreadValue;
  struct Unread;

  /// The kinds in their order; behind them the integers and the texts that are too large for the first form, and arrays
  /// and dictionaries as the store has them.
  enum class Form : std::uint8_t {
    null,
    boolean,
    integer,
    real,
    shortText,
    array,
    dictionary,
    sharedText,
    unread,
    largeInteger
  };

  Value(Form form, std::shared_ptr<const void> shared) noexcept;

  bool isShared() const noexcept { return form_ >= Form::array && form_ <= Form::unread; }
  Kind kindOfOther() const noexcept;
  Value read() const;
  void setText(std::string_view text);
  void setText(std::string&& text);
  const Unread& unread() const noexcept;

  // By hand, for a std::variant has code of its own for each of ten forms: one reference is counted like another.
  Form form_ = Form::null;
  union {
    std::int64_t integer_ = 0;  ///< of a large one the bits; 1 for YES
    double real_;
    std::string shortText_;               ///< which has room for it in place
    std::shared_ptr<const void> shared_;  ///< the node of an array or a dictionary, a long text, an Unread
  };
};

struct Dictionary::Entry {
  Entry() = default;
  Entry(std::string_view itsName, std::shared_ptr<const std::string> itsOwner, Value&& itsValue, std::uint64_t place)
      : name(itsName), owner(std::move(itsOwner)), value(std::move(itsValue)), order(place) {}

  std::string_view name;                     ///< the key: a literal, or what `owner` holds
  std::shared_ptr<const std::string> owner;  ///< null for a literal
  Value value;
  std::uint64_t order = 0;

  std::string key() const { return std::string(name); }
};

class Dictionary::Entries {
 public:
  class Iterator {
   public:
    Iterator(const Entries* entries, std::size_t index) : entries_(entries), index_(index) {}
    const Entry& operator*() const { return (*entries_)[index_]; }
    const Entry* operator->() const { return &(*entries_)[index_]; }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return index_ != other.index_; }

   private:
    const Entries* entries_;
    std::size_t index_;
  };

  Iterator begin() const { return {this, 0}; }
  Iterator end() const { return {this, size_}; }

 private:
  friend class Dictionary;
  const Entry& operator[](std::size_t index) const { return first_ != nullptr ? first_[index] : *order_[index]; }

  std::shared_ptr<const Node> keepsAlive_;
  std::size_t size_ = 0;
  const Entry* first_ = nullptr;     ///< of a short dictionary, whose entries stand in order
  std::vector<const Entry*> order_;  ///< of a long one
};

struct Dictionary::Difference {
  std::vector<Entry> removed;  ///< in no particular order
  std::vector<Entry> added;    ///< in the order of insertion
};

class Array::Iterator {
 public:
  Iterator(const Array* array, std::size_t index) : array_(array), index_(index) {}
  const Value& operator*() const { return (*array_)[index_]; }
  Iterator& operator++() {
    ++index_;
    return *this;
  }
  bool operator!=(const Iterator& other) const { return index_ != other.index_; }

 private:
  const Array* array_;
  std::size_t index_;
};

inline Array::Iterator Array::begin() const noexcept { return Iterator(this, 0); }
inline Array::Iterator Array::end() const noexcept { return Iterator(this, size()); }

}  // namespace fliprugair
