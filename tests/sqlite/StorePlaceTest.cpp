#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "platform/sqlite/StorePlace.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace {

thread_local int lookups = 0;

}  // namespace

/// Stands in for the C library's, and counts.
extern "C" int stat(const char* path, struct stat* state) noexcept {
  ++lookups;
  return fstatat(AT_FDCWD, path, state, 0);
}

namespace fliprugair {
namespace {

class AStorePlace : public testing::Test {
 protected:
  AStorePlace() {
    std::filesystem::create_directories(file_.parent_path());
    make(file_);
    make(log_);
    place_.emplace(file_.string());
    place_->noteOthers();
  }

  static void make(const std::filesystem::path& file) { std::ofstream(file) << "content"; }

  /// The answer that rests on the folder, when none of its times is as young as the clock's last tick.
  void settle() {
    for (int index = 0; index < 3; ++index) EXPECT_TRUE(place_->isInPlace());
  }

  const TemporaryFolder folder_;
  const std::filesystem::path file_ = folder_ / "above/folder/store";
  const std::filesystem::path log_ = folder_ / "above/folder/store-wal";
  std::optional<StorePlace> place_;
};

TEST_F(AStorePlace, HoldsWhileNothingIsTakenAway) {
  settle();
  std::ofstream(file_, std::ios::app) << "more";
  make(file_.parent_path() / "neighbour");
  settle();
}

TEST_F(AStorePlace, LooksNoNameUpWhileItsFolderIsTheSame) {
  EXPECT_TRUE(eventually([this] {
    const int before = lookups;
    return place_->isInPlace() && lookups == before;
  }));
}

TEST_F(AStorePlace, NoticesAtOnceThatTheFileIsGone) {
  settle();
  std::filesystem::remove(file_);
  EXPECT_FALSE(place_->isInPlace());
  EXPECT_FALSE(place_->fileIsInPlace());
}

TEST_F(AStorePlace, NoticesAtOnceThatTheLogIsGone) {
  settle();
  std::filesystem::remove(log_);
  EXPECT_FALSE(place_->isInPlace());
  EXPECT_TRUE(place_->fileIsInPlace());
}

TEST_F(AStorePlace, NoticesAtOnceThatAnotherFileHasTheName) {
  settle();
  make(file_.parent_path() / "other");
  std::filesystem::rename(file_.parent_path() / "other", file_);
  EXPECT_FALSE(place_->isInPlace());
}

TEST_F(AStorePlace, GoesOnNoticing) {
  settle();
  std::filesystem::remove(file_);
  for (int index = 0; index < 3; ++index) EXPECT_FALSE(place_->isInPlace());
}

TEST_F(AStorePlace, NoticesThatItsFolderWasMoved) {
  settle();
  std::filesystem::rename(file_.parent_path(), folder_ / "elsewhere");
  EXPECT_TRUE(eventually([this] { return !place_->isInPlace(); }));
}

TEST_F(AStorePlace, NoticesThatAFolderAboveWasMoved) {
  settle();
  std::filesystem::rename(folder_ / "above", folder_ / "elsewhere");
  EXPECT_TRUE(eventually([this] { return !place_->isInPlace(); }));
}

/// Whatever happens in one tick of the clock that gives files their times.
TEST_F(AStorePlace, NoticesWhatFollowsALookupAtOnce) {
  for (int index = 0; index < 200; ++index) {
    make(file_.parent_path() / "neighbour");
    ASSERT_TRUE(place_->isInPlace());
    const std::filesystem::path gone = file_.string() + "-gone";
    std::filesystem::rename(file_, gone);
    ASSERT_FALSE(place_->isInPlace()) << index;
    std::filesystem::rename(gone, file_);
    ASSERT_TRUE(place_->isInPlace()) << index;
  }
}

}  // namespace
}  // namespace fliprugair
