#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/FunctionRef.h"

namespace fliprugair {
namespace {

int twice(FunctionRef<int(int)> function, int number) { return function(function(number)); }

TEST(FunctionRef, CallsTheCallableItself) {
  int calls = 0;
  const auto counts = [&calls, own = std::make_unique<int>(3)](int number) { return ++calls, number + *own; };
  EXPECT_EQ(twice(counts, 1), 7);
  EXPECT_EQ(calls, 2);
}

TEST(FunctionRef, CallsWhatAnotherOneAndAFunctionObjectCall) {
  const std::function<int(int)> squares = [](int number) { return number * number; };
  const FunctionRef<int(int)> function = squares;
  EXPECT_EQ(twice(function, 3), 81);
}

TEST(FunctionRef, HandsArgumentsOnWithoutCopies) {
  const auto takes = [](std::unique_ptr<int> number, std::string& text) { text = std::to_string(*number); };
  std::string text;
  const FunctionRef<void(std::unique_ptr<int>, std::string&)> function = takes;
  function(std::make_unique<int>(5), text);
  EXPECT_EQ(text, "5");
}

}  // namespace
}  // namespace fliprugair
