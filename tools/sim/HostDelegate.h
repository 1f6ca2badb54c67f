#pragma once

#include <functional>
#include <string>

#include "Fliprugair/MarluneTrackerClientDelegate.h"
#include "platform/PairList.h"

namespace fliprugair::sim {

/// The host app's delegate: one that listens writes what it receives, one that is mute has no callback to be called.
class HostDelegate final : public MarluneTrackerClientDelegate {
 public:
  HostDelegate(std::string kind, std::function<void(const Dictionary&)> write)
      : kind_(std::move(kind)), write_(std::move(write)) {}

  const std::string& kind() const { return kind_; }

  void Marlune_attributionResult(const Value& attribution) override {
    if (kind_ != "listening") return;
    write_(PairList().add("event", "attribution").add("result", attribution).dictionary());
  }

 private:
  std::string kind_;
  std::function<void(const Dictionary&)> write_;
};

}  // namespace fliprugair::sim
