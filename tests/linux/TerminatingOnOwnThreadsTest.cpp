// The host app's code runs on threads of the network and of the searches too: here its log, which terminates.

#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "linux/Support.h"

namespace fliprugair {
namespace {

/// An environment whose log calls terminate() with the first line, on whatever thread that comes.
class TerminatingLog {
 public:
  explicit TerminatingLog(LinuxOptions options) {
    options.userDefaults = store;
    options.log = [this](std::string_view) {
      if (said_.exchange(true)) return;
      thread_ = std::this_thread::get_id();
      environment->terminate();
      returned.happens();
    };
    LinuxEnvironment::Result result = LinuxEnvironment::open(std::move(options));
    EXPECT_EQ(result.error, "");
    environment = std::move(result.environment);
  }

  void expectThatTheNextCallDoesTheRest() {
    ASSERT_TRUE(returned.happened());
    EXPECT_NE(thread_, std::this_thread::get_id());
    EXPECT_EQ(store->synchronizations, 0);
    environment->terminate();
    EXPECT_EQ(store->synchronizations, 1);
  }

  const std::shared_ptr<MemoryUserDefaults> store = std::make_shared<MemoryUserDefaults>();
  std::unique_ptr<LinuxEnvironment> environment;
  Happening returned;

 private:
  std::atomic<bool> said_ = false;
  std::thread::id thread_;
};

#if FLIPRUGAIR_CURL
TEST(TerminatingOnOwnThreads, ReturnsAtOnceOnTheNetworksThread) {
  LinuxOptions options = isolatedOptions();
  options.makeNetworkAccess = nullptr;
  TerminatingLog host(options);
  const auto access = host.environment->makeNetworkAccess();
  access->setLoggingEnabled(true);
  access->sendHTTPRequestWithHostname("127.0.0.1:1", Value{{"action", "init"}});  // nobody listens there
  host.expectThatTheNextCallDoesTheRest();
}
#endif

#if FLIPRUGAIR_GPS
TEST(TerminatingOnOwnThreads, ReturnsAtOnceOnASearchsThread) {
  LinuxOptions options = isolatedOptions();
  options.gpsdHost = "not.a.number";
  TerminatingLog host(options);
  const auto manager = host.environment->makeLocationManager();
  manager->initLocationServices(true, 50, 3600);
  host.expectThatTheNextCallDoesTheRest();
}
#endif

}  // namespace
}  // namespace fliprugair
