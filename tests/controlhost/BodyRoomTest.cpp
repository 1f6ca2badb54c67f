#include <gtest/gtest.h>

#include "tools/controlhost/BodyRoom.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t half = BodyRoom::size / 2;

TEST(BodyRoom, LongBodiesShareItAndShortOnesHaveRoomBesideThem) {
  BodyRoom room;
  BodyRoom::Share one(room);
  BodyRoom::Share other(room);
  BodyRoom::Share third(room);
  EXPECT_TRUE(one.take(BodyRoom::free));
  EXPECT_TRUE(one.take(half));
  EXPECT_TRUE(other.take(BodyRoom::free + half));
  EXPECT_FALSE(other.take(1));
  EXPECT_FALSE(third.take(BodyRoom::free + 1));
  EXPECT_TRUE(third.take(BodyRoom::free));
}

TEST(BodyRoom, WhatABodyHadIsThereForTheNextOne) {
  BodyRoom room;
  BodyRoom::Share one(room);
  {
    BodyRoom::Share other(room);
    EXPECT_TRUE(other.take(BodyRoom::free + BodyRoom::size));
    EXPECT_FALSE(one.take(BodyRoom::free + 1));
  }
  EXPECT_TRUE(one.take(BodyRoom::free + BodyRoom::size));
  EXPECT_FALSE(one.take(1));
  one.giveBack();
  EXPECT_TRUE(one.take(BodyRoom::free + BodyRoom::size));
}

}  // namespace

}  // namespace fliprugair::controlhost
