#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "GivenValues.h"
#include "tools/sim/Simulator.h"

namespace fliprugair::sim {

/// A script that is written while it runs, on a simulator in this process. What its tracker sends has to satisfy the
/// schemas of the wire protocol.
class Script {
 public:
  explicit Script(std::uint64_t seed = 1);

  /// From here on this script makes the tracker send what no host app would: it need not satisfy the schemas.
  void sendsOddities() { sendsOddities_ = true; }

  /// Runs one command. The events that it gave, without the "done" that must end them.
  std::vector<Dictionary> run(std::string_view command);
  /// Why the last command did nothing; "" when it did something.
  const std::string& note() const { return note_; }
  /// Runs a "call". Its events.
  std::vector<Dictionary> call(std::string_view selector, const Array& arguments = Array());
  /// What a "call" returned.
  Value result(std::string_view selector, const Array& arguments = Array());
  std::vector<Dictionary> construct(const Value& options = Value{{"marluneAppId", "demo"}}, bool keep = false);
  std::vector<Dictionary> reply(std::int64_t request, const Value& body);
  std::vector<Dictionary> advance(double seconds);

  /// What is stored under the key that ends with `name`; nothing when it is absent.
  Value stored(std::string_view name);
  void store(std::string_view name, const Value& value);
  /// The process-wide value of that name.
  Value state(std::string_view name);
  /// The armed timers, as "SELECTOR in SECONDS", in due order.
  std::vector<std::string> timers();

 private:
  void check(const Dictionary& event) const;

  bool sendsOddities_ = false;
  GivenValues given_;
  std::vector<std::string> lines_;
  Simulator simulator_;
  std::uint64_t number_ = 0;
  std::string note_;
};

/// The events in short: name and, where there is one, the selector, number or method, as in "timer_armed
/// batchQueueTimerFired: 60".
std::vector<std::string> inShort(const std::vector<Dictionary>& events);

/// The events of that name.
std::vector<Dictionary> named(const std::vector<Dictionary>& events, std::string_view name);

/// An init reply after which nothing is reported, nor anything asked for.
Value quietReply();

using Lines = std::vector<std::string>;

}  // namespace fliprugair::sim
