// What a virtual device tells its sink.

#include <gtest/gtest.h>

#include "platform/virtual/VirtualDevice.h"

namespace fliprugair {
namespace {

TEST(VirtualEvent, IsADictionaryThatBeginsWithItsName) {
  Dictionary received;
  VirtualDevice device([&](const Dictionary& event) { received = event; }, [](std::string_view) { return false; });
  device.write({"send", [](PairList& event) { event.add("request", 7).set("task", nullptr).set("logging", true); }});
  EXPECT_EQ(received, Dictionary({{"event", "send"}, {"request", 7}, {"task", nullptr}, {"logging", true}}));
  EXPECT_EQ((*received.entries().begin()).key(), "event");
}

TEST(VirtualEvent, CostsASinkThatGoesByItsNameNoDetails) {
  int asked = 0;
  std::string names;
  VirtualDevice device([&](const VirtualEvent& event) { names += event.name(); },
                       [](std::string_view) { return false; });
  device.write({"log", [&](PairList&) { ++asked; }});
  EXPECT_EQ(names, "log");
  EXPECT_EQ(asked, 0);
}

}  // namespace
}  // namespace fliprugair
