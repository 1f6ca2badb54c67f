#include "memory/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

struct Allocations {
  bool areCounted = false;
  bool lasts = false;
  int left = 0;  ///< before the one that fails
};

thread_local Allocations allocations;

bool fails() noexcept {
  if (!allocations.areCounted) return false;
  const int left = allocations.left--;
  return left == 0 || (left < 0 && allocations.lasts);
}

}  // namespace

/// Stand in for the C++ library's; the other forms call these.
void* operator new(std::size_t size) {
  void* const memory = fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
// Of its own, since a sanitizer's would not be what the others free.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace fliprugair {

FailingAllocations::FailingAllocations(int number, Span span) : number_(number) {
  allocations = {true, span == Span::lasting, number};
}

FailingAllocations::~FailingAllocations() { allocations = {}; }

int FailingAllocations::count() const { return number_ - allocations.left; }

}  // namespace fliprugair
