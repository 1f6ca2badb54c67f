// Whatever a host app opens and closes leaves nothing behind in the process.

#include <cstdlib>

#include "e2e/HostApp.h"

namespace fliprugair::e2e {
namespace {

std::size_t entriesIn(const char* folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

TEST(OpeningAndClosing, LeavesNoDescriptorAndNoThreadBehind) {
  // A soak does it more often.
  const char* given = std::getenv("FLIPRUGAIR_OPENS");
  const int opens = given != nullptr ? std::atoi(given) : 10;
  const TemporaryFolder folder;
  const auto live = [&](int number) {
    HostApp app(optionsIn(folder.path()), {{"marluneAppId", "demo"}, {"trackerHostname", "127.0.0.1:1"}});
    app.tracker().trackEvent(std::to_string(number), "value");
  };
  live(0);  // what libraries keep for good
  const std::size_t descriptors = entriesIn("/proc/self/fd");
  const std::size_t threads = entriesIn("/proc/self/task");
  for (int number = 1; number <= opens; ++number) live(number);
  EXPECT_EQ(entriesIn("/proc/self/fd"), descriptors);
  EXPECT_EQ(entriesIn("/proc/self/task"), threads);
  HostApp app(optionsIn(folder.path()), {{"marluneAppId", "demo"}, {"trackerHostname", "127.0.0.1:1"}});
  EXPECT_GT(app.stored("com.marlune.MarluneTracker.deviceId").text().size(), 0U);
}

}  // namespace
}  // namespace fliprugair::e2e
