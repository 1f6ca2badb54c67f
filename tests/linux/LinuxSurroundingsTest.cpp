#include "platform/linux/LinuxSurroundings.h"
#include "platform/linux/NetworkRoute.h"

namespace fliprugair {
namespace {

std::shared_ptr<const HostFacts> stated(HostFacts facts) { return std::make_shared<const HostFacts>(std::move(facts)); }

TEST(LinuxSurroundings, TheRouteIsAskedForAnyHostButNone) {
  FactsInForce facts;
  facts.store(stated({}));
  const LinuxSurroundings surroundings(facts, SystemFiles());
  const Reachability result = surroundings.reachability("host.example");
  EXPECT_TRUE(result.flagsRead);
  EXPECT_EQ(result.flags, reachabilityBy(routeToInternet(), SystemFiles()).flags);
  EXPECT_FALSE(surroundings.reachability("").referenceCreated);
}

TEST(LinuxSurroundings, WhatTheHostAppStatesIsAnswered) {
  FactsInForce facts;
  facts.store(stated({}));
  const LinuxSurroundings surroundings(facts, SystemFiles());
  EXPECT_FALSE(surroundings.locationServicesEnabled());
  EXPECT_EQ(surroundings.locationAuthorizationStatus(), 0);
  EXPECT_FALSE(surroundings.pasteboard("fb_app_attribution"));
  facts.store(stated({.reachabilityFlags = 0x40002,
                      .locationServicesEnabled = true,
                      .locationAuthorizationStatus = 4,
                      .pasteboards = {{"with", "text"}, {"without", std::nullopt}}}));
  EXPECT_EQ(surroundings.reachability("host.example").flags, 0x40002u);
  EXPECT_TRUE(surroundings.locationServicesEnabled());
  EXPECT_EQ(surroundings.locationAuthorizationStatus(), 4);
  EXPECT_EQ(surroundings.pasteboard("with")->text, Value("text"));
  EXPECT_EQ(surroundings.pasteboard("without")->text, Value());
  EXPECT_FALSE(surroundings.pasteboard("other"));
}

}  // namespace
}  // namespace fliprugair
