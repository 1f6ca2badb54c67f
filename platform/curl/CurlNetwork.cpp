#include "platform/curl/CurlNetwork.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/Joined.h"
#include "platform/curl/NetworkThread.h"

namespace fliprugair {

namespace {

/// Keeps what was given as a host name from ending the log line.
std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char character) { return character < 0x20 || character == 0x7F; }, '?');
  return text;
}

class CurlNetworkAccess final : public MarluneNetworkAccess {
 public:
  explicit CurlNetworkAccess(std::weak_ptr<NetworkThread> thread) : thread_(std::move(thread)) {}

  void setLoggingEnabled(bool enabled) override { request_.loggingEnabled = enabled; }
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> delegate) override {
    request_.delegate = std::move(delegate);
  }
  void setEventTimestamp(const Text& timestamp) override { request_.eventTimestamp = timestamp; }
  void setBackgroundTask(BackgroundTaskIdentifier task) override { request_.backgroundTask = task; }

  bool sendHTTPRequestWithHostname(const std::string& hostname, const Value& payload) override {
    const std::shared_ptr<NetworkThread> thread = thread_.lock();
    if (thread == nullptr || thread->isInherited()) return false;
    NetworkRequest request = request_;
    request.payload = payload;
    if (!payload.isDictionary() && !payload.isArray()) {
      thread->refuse(request, "not sent, there is nothing to send");
      return false;
    }
    std::optional<ControlHostURL> url = controlHostURL(hostname, thread->loopbackScheme());
    if (!url) {
      thread->refuse(request,
                     joined({"not sent, \"", printable(hostname), "\" is not a host name (with or without a port)"}));
      return false;
    }
    request.url = std::move(*url);
    return thread->send(request);
  }

 private:
  std::weak_ptr<NetworkThread> thread_;
  NetworkRequest request_;
};

}  // namespace

CurlNetwork::CurlNetwork(CurlNetworkOptions options, UserDefaults& store, const JSONSerialization& json,
                         Application& application, std::function<void(std::string_view)> log, bool advises)
    : thread_(std::make_shared<NetworkThread>(options, json,
                                              RequestLedger(store, json, application, std::move(log), advises))) {}

CurlNetwork::~CurlNetwork() { stop(); }

std::shared_ptr<MarluneNetworkAccess> CurlNetwork::makeAccess() { return std::make_shared<CurlNetworkAccess>(thread_); }

void CurlNetwork::stop() { thread_->stop(); }

void CurlNetwork::adviseNoMore() { thread_->adviseNoMore(); }

bool CurlNetwork::isIdle() const { return thread_->isIdle(); }

void CurlNetwork::whenIdle(std::function<void()> action) { thread_->whenIdle(std::move(action)); }

bool CurlNetwork::isOwnThread() const { return thread_->isOwnThread(); }

}  // namespace fliprugair
