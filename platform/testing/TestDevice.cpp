#include "Fliprugair/testing/TestDevice.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/Locked.h"
#include "platform/testing/WireRecords.h"
#include "platform/virtual/FirstVisit.h"
#include "platform/virtual/VirtualDevice.h"
#include "platform/virtual/VirtualProcess.h"

namespace fliprugair {

namespace {

using Clock = std::chrono::system_clock;

constexpr std::string_view batchEventQueue = "com.marlune.marluneTracker.batchEventQueue";

/// A list that any thread appends to.
template <class Item>
class Journal {
 public:
  void append(Item item) {
    const std::lock_guard lock(mutex_);
    items_.push_back(std::move(item));
  }

  std::vector<Item> all() const {
    const std::lock_guard lock(mutex_);
    return items_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Item> items_;
};

}  // namespace

struct TestDevice::Parts {
  Parts()
      : device(
            [this](const Dictionary& event) { note(event); }, [](std::string_view) { return false; }, 1,
            [this](std::string_view key, const Value& before, const Value& after) { noteWrite(key, before, after); }),
        process(std::make_unique<VirtualProcess>(device)) {}

  void note(const Dictionary& event) {
    const std::string name = event["event"].text();
    if (name == "log") log.append(event["text"].text());
    if (name == "send") noteRequest(event);
    // This device's search-ad service knows nothing, as that of an app without one.
    if (name == "search_ad_request") {
      process->mainQueue().async([this] { process->answerSearchAd(Value(), false); });
    }
  }

  void noteRequest(const Dictionary& event) {
    SentRequest request;
    request.number = static_cast<std::uint64_t>(event["request"].integerValue());
    request.payload = event["payload"];
    request.name = nameOfRequest(request.payload);
    request.host = event["hostname"].text();
    request.events = eventsOf(request.payload);
    requests.append(std::move(request));
  }

  /// Records are added one by one at the end of the stored queue, and taken from its beginning.
  void noteWrite(std::string_view key, const Value& before, const Value& after) {
    if (key != batchEventQueue) return;
    const Array longer = after.array();
    const std::size_t known = before.array().size();
    if (longer.size() <= known || before.array().sharedPrefix(longer) < known) return;
    for (std::size_t index = known; index < longer.size(); ++index) records.append(longer[index]);
  }

  std::vector<SentRequest> pending() const {
    const std::vector<std::uint64_t> numbers = process->network().pending();
    std::vector<SentRequest> found;
    for (const SentRequest& request : requests.all()) {
      if (std::binary_search(numbers.begin(), numbers.end(), request.number)) found.push_back(request);
    }
    return found;
  }

  /// The number of the oldest one; 0 when none is pending.
  std::uint64_t oldest(std::string_view name) const {
    const std::vector<SentRequest> all = pending();
    const auto found = std::find_if(all.begin(), all.end(), [&](const SentRequest& each) { return each.name == name; });
    return found == all.end() ? 0 : found->number;
  }

  Journal<Value> records;
  Journal<SentRequest> requests;
  Journal<std::string> log;
  VirtualDevice device;
  std::unique_ptr<VirtualProcess> process;
  std::vector<std::unique_ptr<VirtualProcess>> ended;  ///< the test's trackers may still hold on to one
};

TestDevice::TestDevice(Life life) : parts_(std::make_unique<Parts>()) {
  if (life == Life::laterVisit) storeFirstVisit(parts_->device);
}

TestDevice::~TestDevice() { parts_->process->die(); }

TestDevice::Parts& TestDevice::settled() {
  parts_->process->runQueues();
  return *parts_;
}

Environment& TestDevice::environment() { return *settled().process; }

void TestDevice::applicationDidFinishLaunching() {
  settled().process->post(ApplicationNotification::didFinishLaunching);
  settled();
}

void TestDevice::applicationDidBecomeActive() {
  settled().process->post(ApplicationNotification::didBecomeActive);
  settled();
}

void TestDevice::applicationWillResignActive() {
  settled().process->post(ApplicationNotification::willResignActive);
  settled();
}

void TestDevice::applicationWillTerminate() {
  settled().process->post(ApplicationNotification::willTerminate);
  settled();
}

void TestDevice::restart() {
  parts_->process->die();
  parts_->ended.push_back(std::exchange(parts_->process, std::make_unique<VirtualProcess>(parts_->device)));
}

void TestDevice::advance(std::chrono::duration<double> time) { settled().process->advance(time.count()); }

Clock::time_point TestDevice::now() const {
  return Clock::time_point(
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(parts_->device.now())));
}

void TestDevice::setNow(Clock::time_point time) {
  settled().device.setNow(std::chrono::duration<double>(time.time_since_epoch()).count());
}

RecordedEvents TestDevice::events() {
  const std::vector<Value> records = settled().records.all();
  return eventsOf(Array(records));
}

std::vector<Value> TestDevice::identityLinks() {
  std::vector<Value> found;
  for (const Value& record : settled().records.all()) {
    if (Value identities = identitiesOf(record); !identities.isNull()) found.push_back(std::move(identities));
  }
  return found;
}

std::vector<RecordedDeepLink> TestDevice::deepLinks() {
  std::vector<RecordedDeepLink> found;
  for (const Value& record : settled().records.all()) {
    if (auto link = deepLinkOf(record)) found.push_back(std::move(*link));
  }
  return found;
}

std::vector<SentRequest> TestDevice::requests(std::string_view name) {
  std::vector<SentRequest> found = settled().requests.all();
  if (!name.empty()) {
    const auto other = [&](const SentRequest& request) { return request.name != name; };
    found.erase(std::remove_if(found.begin(), found.end(), other), found.end());
  }
  return found;
}

std::vector<SentRequest> TestDevice::pending() { return settled().pending(); }

bool TestDevice::reply(std::string_view name, const Value& body) {
  const bool replied = settled().process->network().reply(parts_->oldest(name), body);
  settled();
  return replied;
}

bool TestDevice::fail(std::string_view name) {
  const bool failed = settled().process->network().fail(parts_->oldest(name));
  settled();
  return failed;
}

void TestDevice::replyToAll(const Value& body) {
  for (auto left = settled().pending(); !left.empty(); left = settled().pending()) {
    parts_->process->network().reply(left.front().number, body);
  }
}

void TestDevice::failAll() {
  for (const SentRequest& request : settled().pending()) parts_->process->network().fail(request.number);
  settled();
}

Value TestDevice::hostWithoutWishes() { return {{"success", 1}, {"flags", Value{{"resend_initial", false}}}}; }

Value TestDevice::attribution(const Value& result) {
  return {{"success", 1}, {"data", Value{{"retry", -1}, {"attribution", result}}}};
}

std::vector<std::string> TestDevice::log() { return settled().log.all(); }

}  // namespace fliprugair
