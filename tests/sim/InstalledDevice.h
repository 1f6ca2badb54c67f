#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "Script.h"

namespace fliprugair::sim {

inline constexpr std::string_view release = R"({"do":"release"})";
inline constexpr std::string_view restart = R"({"do":"restart"})";

/// A script whose tracker is installed and reported: request 1 was the init, request 2 an update that has ended.
class Device : public testing::Test {
 protected:
  Device() {
    script.store("sendInitial", false);
    script.construct();
    script.reply(1, quietReply());
    script.reply(2, Dictionary());
  }

  void track(int count = 1) {
    for (int number = 0; number < count; ++number) script.call("trackEvent::", {"event", "value"});
  }
  std::vector<Dictionary> notify(const std::string& name) {
    return script.run(R"({"do":"notify","name":")" + name + "\"}");
  }
  std::vector<Dictionary> fail(int request) {
    return script.run(R"({"do":"fail","request":)" + std::to_string(request) + "}");
  }

  Script script;
};

}  // namespace fliprugair::sim
