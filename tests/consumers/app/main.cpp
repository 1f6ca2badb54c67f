// A host app outside the project, in the C++ that its flags allow: it starts, reports, ends, and looks into its store.
#include <Fliprugair/Version.h>
#include <Fliprugair/platform/linux/LinuxEnvironment.h>

#include <Fliprugair/Fliprugair>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/Text.h"

#ifdef APP_USES_ANOTHER_JSON
#include <nlohmann/json.hpp>
#endif

namespace {

class Delegate final : public fliprugair::MarluneTrackerClientDelegate {
 public:
  void Marlune_attributionResult(const fliprugair::Value& attribution) override { result = attribution; }
  fliprugair::Value result;
};

int failures = 0;

void expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "not so: %s\n", what);
  ++failures;
}

std::filesystem::path freshFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "fliprugair-app-XXXXXX").string();
  return mkdtemp(name.data()) != nullptr ? name : std::string();
}

void visit(const std::filesystem::path& folder) {
#if __cplusplus >= 202002L
  fliprugair::LinuxOptions options{.bundleIdentifier = "com.example.consumer"};
#else
  fliprugair::LinuxOptions options;
  options.bundleIdentifier = "com.example.consumer";
#endif
  options.storePath = folder / "store.sqlite";
  options.backgroundTaskTime = std::chrono::milliseconds(0);
  options.log = [](std::string_view) {};
  auto opened = fliprugair::LinuxEnvironment::open(options);
  expect(opened.environment != nullptr, opened.error.c_str());
  if (!opened.environment) return;
  fliprugair::LinuxEnvironment& environment = *opened.environment;

  // Nobody listens at port 1 of this machine: what is reported stays in the store.
  const fliprugair::Value parameters{{"marluneAppId", "demo"}, {"trackerHostname", "127.0.0.1:1"}};
  auto tracker = fliprugair::MarluneTracker::initMarluneWithParams(environment, parameters);
  expect(tracker != nullptr, "the tracker starts");
  if (!tracker) return;
  const auto delegate = std::make_shared<Delegate>();
  tracker->setTrackerDelegate(delegate);
  tracker->trackEvent("level", "7");
  tracker->trackEvent("level", std::string("8"));
  const auto batch = environment.userDefaults().arrayForKey("com.marlune.marluneTracker.batchEventQueue");
  expect(batch && batch->size() == 2, "both events wait in the store");
  expect(tracker->retrieveAttribution().isNull() && delegate->result.isNull(), "there is no attribution yet");
  environment.terminate();
  tracker.reset();
}

}  // namespace

int main() {
  expect(std::strcmp(app::greeting(), "a header of the app's own") == 0, "the app's own header is the one it gets");
  expect(FLIPRUGAIR_VERSION >= 100, "the version is a number");
  const auto folder = freshFolder();
  expect(!folder.empty(), "there is a temporary folder");
  visit(folder);
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
#ifdef APP_USES_ANOTHER_JSON
  const auto parsed = nlohmann::json::parse(R"({"level": [7, 8]})");
  expect(parsed["level"].size() == 2, "the app's own JSON library works beside the library's");
#endif
  if (failures == 0) std::puts("Fliprugair " FLIPRUGAIR_VERSION_TEXT);
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
