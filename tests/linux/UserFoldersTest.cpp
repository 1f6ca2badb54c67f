#include "linux/EnvironmentVariables.h"
#include "platform/linux/UserFolders.h"

namespace fliprugair {
namespace {

TEST(UserFolders, DataBelongsBelowTheHomeUnlessTheUserNamesAnAbsoluteFolder) {
  EXPECT_EQ(dataFolder(variables({{"HOME", "/home/u"}})), "/home/u/.local/share");
  EXPECT_EQ(dataFolder(variables({{"HOME", "/home/u"}, {"XDG_DATA_HOME", "/data"}})), "/data");
  EXPECT_EQ(dataFolder(variables({{"HOME", "/home/u"}, {"XDG_DATA_HOME", "relative"}})), "/home/u/.local/share");
}

TEST(UserFolders, WithoutAVariableTheHomeIsTheOneOfTheUserDatabase) {
  const std::optional<std::filesystem::path> folder = dataFolder(variables({}));
  ASSERT_TRUE(folder);
  EXPECT_TRUE(folder->is_absolute());
  EXPECT_TRUE(folder->string().ends_with("/.local/share"));
}

}  // namespace
}  // namespace fliprugair
