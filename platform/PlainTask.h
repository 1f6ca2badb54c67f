#pragma once

#include <array>
#include <cstddef>
#include <new>
#include <type_traits>

namespace fliprugair {

/// A task that has captured a pointer or two, or as much of other plain values. It is copied as its bytes, where
/// std::function has code for each lambda.
class PlainTask {
 public:
  template <class Callable>
  PlainTask(const Callable& callable)
      : run_([](const void* captured) { (*static_cast<const Callable*>(captured))(); }) {
    static_assert(std::is_trivially_copyable_v<Callable> && std::is_trivially_destructible_v<Callable>);
    static_assert(sizeof(Callable) <= sizeof(captured_) && alignof(Callable) <= alignof(double));
    ::new (captured_.data()) Callable(callable);
  }

  void operator()() const { run_(captured_.data()); }

 private:
  alignas(double) std::array<std::byte, 16> captured_;
  void (*run_)(const void* captured);
};

}  // namespace fliprugair
