#include "linux/Support.h"
#include "platform/linux/Descriptors.h"
#include "support/FewDescriptors.h"

namespace fliprugair {
namespace {

TEST(Descriptors, WithTooFewLeftOpeningSaysHowManyAreNeededAndHow) {
  const TemporaryFolder folder;
  for (std::size_t left = 0; left < descriptorsNeeded; ++left) {
    LinuxOptions options;
    options.storePath = folder.path() / "store.sqlite";
    options.log = [](std::string_view) {};
    LinuxEnvironment::Result result;
    {
      const FewDescriptors few(left);
      result = LinuxEnvironment::open(options);
    }
    EXPECT_EQ(result.environment, nullptr) << left;
    const std::string counts = "needs 48 file descriptors and can open " + std::to_string(left) + ' ';
    EXPECT_NE(result.error.find(counts), std::string::npos) << result.error;
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(Descriptors, WithAsManyLeftAsAreNeededEverythingWorks) {
  const TemporaryFolder folder;
  LinuxOptions options;
  options.bundleIdentifier = "com.example.app";
  options.storePath = folder.path() / "store.sqlite";
  options.log = [](std::string_view) {};
  const FewDescriptors few(descriptorsNeeded);
  LinuxEnvironment::Result result = LinuxEnvironment::open(options);
  ASSERT_EQ(result.error, "");
  bool ran = false;
  result.environment->applicationDidFinishLaunching();
  EXPECT_TRUE(result.environment->onMain([&] { ran = true; }));
  EXPECT_TRUE(ran);
  result.environment->surroundings().reachability("127.0.0.1");
  result.environment->terminate();
}

}  // namespace
}  // namespace fliprugair
