#pragma once

#include <utility>

namespace fliprugair {

/// A parameter for what is called before the call that it is given to returns: any callable, neither copied nor owned.
template <class Signature>
class FunctionRef;

template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
 public:
  template <class Callable>
  FunctionRef(const Callable& callable)
      : callable_(&callable), call_([](const void* itself, Arguments... arguments) -> Result {
          return (*static_cast<const Callable*>(itself))(std::forward<Arguments>(arguments)...);
        }) {}

  Result operator()(Arguments... arguments) const { return call_(callable_, std::forward<Arguments>(arguments)...); }

 private:
  const void* callable_;
  Result (*call_)(const void* callable, Arguments... arguments);
};

}  // namespace fliprugair
