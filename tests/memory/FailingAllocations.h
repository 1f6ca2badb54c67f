// Memory that runs out.
#pragma once

namespace fliprugair {

/// As long as it lives, the `number`th allocation of its own thread (from 0 on) fails, and all after it while `lasts`.
/// One at a time in each thread.
class FailingAllocations {
 public:
  static constexpr int none = 1'000'000'000;  ///< as `number`: all are only counted

  enum class Span { one, lasting };

  FailingAllocations(int number, Span span);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// How many there were.
  int count() const;

 private:
  const int number_;
};

}  // namespace fliprugair
