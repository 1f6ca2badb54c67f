#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sqlite/PageRoom.h"

namespace fliprugair {
namespace {

/// A leaf of a hundred bytes, which has two cells, a free block and two fragments.
class RoomOfAPage : public testing::Test {
 protected:
  RoomOfAPage() {
    set(1, 60);  // the free block
    set(3, 2);   // cells
    set(5, 40);  // where they begin
    page_[7] = 3;
    set(60, 0);
    set(62, 10);
  }

  void set(std::size_t place, std::size_t number) {
    page_[place] = static_cast<char>(number >> 8);
    page_[place + 1] = static_cast<char>(number);
  }

  bool isAll(std::size_t itsHeader = 8) {
    PageRoom room;
    room.add(72, 100);
    room.add(40, 59);
    return room.isAll(page_, 0, itsHeader);
  }

  std::string page_ = std::string(100, '\0');
};

TEST_F(RoomOfAPage, IsAllWhenCellsFreeBlocksAndFragmentsFillIt) { EXPECT_TRUE(isAll()); }

TEST_F(RoomOfAPage, IsNotAllWhenThePageCountsOtherCells) {
  for (const std::size_t count : {1, 3, 0x102}) {
    set(3, count);
    EXPECT_FALSE(isAll()) << count;
  }
}

TEST_F(RoomOfAPage, IsNotAllWhenItBeginsElsewhere) {
  for (const std::size_t begin : {0, 39, 41, 101, 0x128}) {
    set(5, begin);
    EXPECT_FALSE(isAll()) << begin;
  }
}

TEST_F(RoomOfAPage, IsNotAllWhenItBeginsAmongThePlacesOfTheCells) {
  EXPECT_TRUE(isAll(36));
  EXPECT_FALSE(isAll(37));
}

TEST_F(RoomOfAPage, IsNotAllWithMoreOrFewerFragments) {
  for (const char fragments : {'\0', '\2', '\4'}) {
    page_[7] = fragments;
    EXPECT_FALSE(isAll()) << int{fragments};
  }
}

TEST_F(RoomOfAPage, IsNotAllWithoutItsFreeBlock) {
  set(1, 0);
  EXPECT_FALSE(isAll());
}

TEST_F(RoomOfAPage, IsNotAllWhenAFreeBlockLiesInACell) {
  set(1, 50);
  set(52, 4);
  EXPECT_FALSE(isAll());
  set(1, 80);
  set(82, 4);
  EXPECT_FALSE(isAll());
}

TEST_F(RoomOfAPage, IsNotAllWhenAFreeBlockIsTooSmallOrReachesOutOfThePage) {
  set(62, 3);
  page_[7] = 10;
  EXPECT_FALSE(isAll());
  set(62, 41);
  EXPECT_FALSE(isAll());
  set(1, 97);
  EXPECT_FALSE(isAll());
  set(1, 0xFFFF);
  EXPECT_FALSE(isAll());
}

TEST_F(RoomOfAPage, HasFreeBlocksInTheirOrder) {
  set(60, 64);
  set(62, 4);
  set(64, 0);
  set(66, 6);
  EXPECT_TRUE(isAll());
  set(1, 64);
  set(64, 60);
  set(60, 0);
  EXPECT_FALSE(isAll());
}

TEST_F(RoomOfAPage, EndsWhereFreeBlocksLeadInACircle) {
  set(60, 60);
  EXPECT_FALSE(isAll());
}

TEST_F(RoomOfAPage, IsNotAllWhenCellsOverlap) {
  PageRoom room;
  room.add(40, 73);
  room.add(72, 100);
  set(1, 0);
  page_[7] = 0;
  EXPECT_FALSE(room.isAll(page_, 0, 8));
}

TEST_F(RoomOfAPage, IsThatOfOnePageAfterTheOther) {
  PageRoom room;
  room.add(10, 20);
  room.clear();
  room.add(40, 59);
  room.add(72, 100);
  EXPECT_TRUE(room.isAll(page_, 0, 8));
}

TEST_F(RoomOfAPage, OfAFirstPageIsCountedBehindTheFilesHeader) {
  page_.insert(0, 5, '\0');
  set(5 + 1, 65);
  set(5 + 5, 45);
  PageRoom room;
  room.add(45, 64);
  room.add(77, 105);
  EXPECT_TRUE(room.isAll(page_, 5, 8));
}

}  // namespace
}  // namespace fliprugair
