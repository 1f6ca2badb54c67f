#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/curl/CurlNetwork.h"
#include "platform/json/RapidJSONSerialization.h"
#include "platform/posix/FileDescriptor.h"
#include "tests/curl/Doubles.h"
#include "tests/curl/Loopback.h"

namespace {

using fliprugair::CurlNetwork;
using fliprugair::FileDescriptor;
using fliprugair::Value;

void require(bool condition) {
  if (!condition) std::abort();
}

/// Answers one request after the other, each with the bytes of the moment, and closes.
class Host {
 public:
  Host() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = fliprugair::test::loopback(0);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    require(bind(listener_.get(), generic, size) == 0 && listen(listener_.get(), 8) == 0);
    require(getsockname(listener_.get(), generic, &size) == 0);
    hostname = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    std::thread([this] { serve(); }).detach();
  }

  std::string hostname;
  std::string bytes;  ///< set while no request is under way

 private:
  [[noreturn]] void serve() {
    while (true) {
      const FileDescriptor client(accept(listener_.get(), nullptr, nullptr));
      std::array<char, 4096> request;
      if (recv(client.get(), request.data(), request.size(), 0) <= 0) continue;
      send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
  }

  const FileDescriptor listener_;
};

}  // namespace

/// What a host says to a request, from the first byte to the end of the connection.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Host& host = *new Host;  // its thread ends with the process
  static fliprugair::RapidJSONSerialization json;
  static fliprugair::MemoryUserDefaults noStore;
  static fliprugair::test::RecordingApplication noApplication;
  static const CurlNetwork keepsTheLibrary({}, noStore, json, noApplication, [](std::string_view) {});

  host.bytes.assign(reinterpret_cast<const char*>(data), size);
  fliprugair::MemoryUserDefaults store;
  fliprugair::test::RecordingApplication application;
  const auto delegate = std::make_shared<fliprugair::test::RecordingDelegate>();
  store.setObject(Value{{"1.000000", "entry"}}, fliprugair::key::networkQueue);
  CurlNetwork network({.timeout = std::chrono::seconds(2)}, store, json, application, [](std::string_view) {});
  const auto access = network.makeAccess();
  access->setNetworkAccessDelegate(delegate);
  access->setEventTimestamp("1.000000");
  access->setBackgroundTask(1);
  require(access->sendHTTPRequestWithHostname(host.hostname, Value{{"action", "init"}}));
  require(application.ended.wait(1).size() == 1);
  network.stop();

  const bool isQueued = store.objectForKey(fliprugair::key::networkQueue).dictionary().holds("1.000000");
  const auto calls = delegate->calls.items();
  require(store.objectForKey(fliprugair::key::eventsSending).dictionary().empty());
  require(application.ended.items().size() == 1);
  require(calls.size() <= 1 && (calls.empty() || (!isQueued && calls[0].second.isDictionary())));
  return 0;
}
