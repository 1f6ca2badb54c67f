#include <gtest/gtest.h>

#include "platform/linux/ErasedStore.h"
#include "support/TemporaryFolder.h"

namespace fliprugair {
namespace {

#if FLIPRUGAIR_SQLITE
TEST(ErasedStore, LeavesNothingWhoseNameBeginsAlikeAndTheRest) {
  const TemporaryFolder folder;
  for (const char* name : {"store", "store-wal", "store.identity", "store.damaged", "other"}) folder.write(name, "x");
  EXPECT_EQ(eraseStore(folder / "store"), "");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
  EXPECT_TRUE(std::filesystem::exists(folder / "other"));
}

TEST(ErasedStore, SaysWhatIsLeftAndWhyAndRemovesTheRest) {
  const TemporaryFolder folder;
  folder.write("store", "x");
  folder.write("store-wal/inside", "x");
  folder.write("store-shm/inside", "x");
  const std::string left = eraseStore(folder / "store");
  for (const char* name : {"store-wal", "store-shm"}) {
    EXPECT_NE(left.find((folder / name).string() + ": Directory not empty"), std::string::npos) << left;
  }
  EXPECT_NE(left.find("; "), std::string::npos) << left;
  EXPECT_FALSE(std::filesystem::exists(folder / "store"));
}

TEST(ErasedStore, IsNoneInAFolderThatIsNotThere) {
  const TemporaryFolder folder;
  EXPECT_EQ(eraseStore(folder / "none" / "store"), "");
}
#endif

}  // namespace
}  // namespace fliprugair
