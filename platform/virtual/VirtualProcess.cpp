#include "platform/virtual/VirtualProcess.h"

#include <algorithm>
#include <cmath>

#include "platform/virtual/VirtualCollaborators.h"

namespace fliprugair {

namespace {

constexpr std::string_view documentsFolder = "/Documents/";

}  // namespace

VirtualProcess::VirtualProcess(VirtualDevice& device) : device_(device), mainQueue_(device), network_(device, *this) {}

VirtualProcess::~VirtualProcess() { die(); }

void VirtualProcess::write(const VirtualEvent& event) {
  if (!dead_) device_.write(event);
}

void VirtualProcess::runQueues() {
  do {
    mainQueue_.tasks().runEmpty();
  } while (globalQueue_.tasks().runEmpty());
}

void VirtualProcess::advance(double seconds) {
  const auto step = static_cast<VirtualDevice::Nanoseconds>(std::round(std::clamp(seconds, 0.0, mostSeconds) * 1e9));
  const VirtualDevice::Nanoseconds target = device_.uptime() + step;
  runQueues();
  while (mainQueue_.fireNext(target)) runQueues();
  device_.moveTo(target);
}

void VirtualProcess::die() {
  dead_ = true;
  mainQueue_.close();
  globalQueue_.tasks().close();
  const std::lock_guard lock(backgroundTasksMutex_);
  backgroundTasks_.clear();
}

bool VirtualProcess::answerSearchAd(const Value& details, bool unknown) {
  return newestSearchAd_ != nullptr && newestSearchAd_->answer(details, unknown);
}

bool VirtualProcess::expire(BackgroundTaskIdentifier task) {
  std::function<void()> handler;
  {
    const std::lock_guard lock(backgroundTasksMutex_);
    const auto found = backgroundTasks_.find(task);
    if (found == backgroundTasks_.end()) return false;
    handler = found->second;
  }
  if (handler) handler();
  return true;
}

std::vector<BackgroundTaskIdentifier> VirtualProcess::backgroundTasks() const {
  const std::lock_guard lock(backgroundTasksMutex_);
  std::vector<BackgroundTaskIdentifier> tasks;
  for (const auto& [task, handler] : backgroundTasks_) tasks.push_back(task);
  return tasks;
}

std::shared_ptr<VirtualSearchAd> VirtualProcess::makeSearchAd() {
  return std::make_shared<VirtualSearchAd>([this](const VirtualEvent& event) { write(event); });
}

std::shared_ptr<MarluneRetrieveiAdAttribution> VirtualProcess::makeSearchAdOfTheHostApp() { return makeSearchAd(); }

std::shared_ptr<MarluneRetrieveiAdAttribution> VirtualProcess::makeRetrieveiAdAttribution() {
  newestSearchAd_ = makeSearchAd();
  return newestSearchAd_;
}

std::shared_ptr<MarluneLocationManager> VirtualProcess::makeLocationManager() {
  return std::make_shared<VirtualLocationManager>([this](const VirtualEvent& event) { write(event); });
}

std::shared_ptr<MarluneHardwareInfo> VirtualProcess::makeHardwareInfo() {
  return std::make_shared<VirtualHardwareInfo>(facts().hardware);
}

std::shared_ptr<WebViewUserAgent> VirtualProcess::makeWebViewUserAgent() {
  return std::make_shared<VirtualUserAgent>(facts().userAgent, [this](const VirtualEvent& event) { write(event); });
}

void VirtualProcess::log(std::string_view line) {
  write({"log", [&](PairList& event) { event.add("text", line); }});
}

BackgroundTaskIdentifier VirtualProcess::beginBackgroundTask(std::string_view name,
                                                             std::function<void()> expirationHandler) {
  const BackgroundTaskIdentifier task = device_.nextTask();
  write({"background_task_began", [&](PairList& event) { event.add("name", name).add("task", task); }});
  const std::lock_guard lock(backgroundTasksMutex_);
  backgroundTasks_.emplace(task, std::move(expirationHandler));
  return task;
}

void VirtualProcess::endBackgroundTask(BackgroundTaskIdentifier task) {
  {
    const std::lock_guard lock(backgroundTasksMutex_);
    if (backgroundTasks_.erase(task) == 0) return;
  }
  write({"background_task_ended", [&](PairList& event) { event.add("task", task); }});
}

Value VirtualProcess::infoEntry(std::string_view key) const {
  const auto entry = facts().bundle.find(key);
  return entry == facts().bundle.end() ? Value() : Value(entry->second);
}

Value VirtualProcess::encodedReceipt() const { return facts().receipt ? Value(base64Text(*facts().receipt)) : Value(); }

Reachability VirtualProcess::reachability(std::string_view /*host*/) const { return facts().reachability; }

std::optional<Surroundings::Pasteboard> VirtualProcess::pasteboard(std::string_view name) const {
  const auto found = facts().pasteboards.find(name);
  if (found == facts().pasteboards.end()) return std::nullopt;
  return Pasteboard{found->second};
}

std::string VirtualProcess::pathForFile(std::string_view name) const {
  return std::string(documentsFolder) + std::string(name);
}

bool VirtualProcess::unarchivesAsObject(const std::string& path) const {
  if (!path.starts_with(documentsFolder)) return false;
  const auto file = facts().documents.find(path.substr(documentsFolder.size()));
  return file != facts().documents.end() && device_.readsAsArchive(file->second);
}

}  // namespace fliprugair
