// A medium on which one operation of a kind fails.
#pragma once

namespace fliprugair {

/// As long as it lives, the `number`th operation of its kind (from 0 on) that SQLite makes on any file fails, alone or
/// with all that follow; of renames, the `number`th of this process. A true reading that fails gives other bytes
/// instead, and says nothing; a filling write finds the disk full. One at a time.
class FaultyMedium {
 public:
  enum class Operation { open, read, write, sync, truncate, rename, trueReading, fill };
  enum class Span { one, lasting };

  FaultyMedium(Operation operation, int number, Span span = Span::one);
  ~FaultyMedium();
  FaultyMedium(const FaultyMedium&) = delete;
  FaultyMedium& operator=(const FaultyMedium&) = delete;

  /// Whether that operation came.
  bool hasFailed() const;
};

}  // namespace fliprugair
