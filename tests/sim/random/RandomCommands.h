#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "WatchedSimulator.h"

namespace fliprugair::sim {

/// Makes up commands: mostly such as a host app, a system and a control host could cause, some with values that nobody
/// should give, some that cannot be understood. The same seed gives the same commands for the same answers.
class RandomCommands {
 public:
  explicit RandomCommands(std::uint64_t seed);

  std::string next(const WatchedSimulator& simulator);

 private:
  bool oneIn(std::uint64_t count) { return random_() % count == 0; }
  template <class List>
  auto pick(const List& list) {
    return list[random_() % list.size()];
  }

  Value scalar();
  Value anything(int depth = 3);
  std::string text();
  Value options();
  Value initReply();
  Value attributionReply();
  Value body();
  Value device();
  Value argument(char kind);

  Dictionary call();
  Dictionary store();
  Dictionary answer(const WatchedSimulator& simulator);
  Dictionary command(const WatchedSimulator& simulator);
  Dictionary spoilt(Dictionary command);

  std::mt19937_64 random_;
  bool writesTheStore_;
  bool keeps_;
  bool spoils_;
};

}  // namespace fliprugair::sim
