#include "Fliprugair/ControlHost.h"

#include <optional>
#include <utility>

#include "tools/controlhost/HttpServer.h"
#include "tools/controlhost/Interface.h"
#include "tools/controlhost/Reception.h"
#include "tools/controlhost/Waiting.h"

namespace fliprugair {

using namespace controlhost;

namespace {

/// Who listens on all addresses is not reached at one that says so.
std::string hostnameOf(const std::string& address, int port) {
  const std::string end = ':' + std::to_string(port);
  if (address == "0.0.0.0") return "127.0.0.1" + end;
  if (address == "::") return "[::1]" + end;
  return (address.find(':') != std::string::npos ? '[' + address + ']' : address) + end;
}

/// What a browser on this machine may call the host.
std::vector<std::string> namesOf(const std::string& address, int port) {
  std::vector<std::string> names{hostnameOf(address, port)};
  for (const char* name : {"127.0.0.1", "localhost", "[::1]"})
    names.push_back(std::string(name) + ':' + std::to_string(port));
  return names;
}

}  // namespace

struct ControlHost::Implementation {
  explicit Implementation(ControlHostOptions options)
      : address(options.address),
        reception({options.capacity, std::move(options.settings), std::move(options.arrived),
                   std::move(options.complain), std::move(options.answersSet), options.savePath}),
        server(
            address, options.port, [this](const HttpRequest& request) { return reply(request); },
            [this](const HttpProblem& problem) {
              reception.noteRefusal(problem);
              return refusalReply(problem).body;
            }) {
    const std::lock_guard lock(mutex);
    interface = std::make_unique<Interface>(reception, namesOf(address, server.port()));
  }

  HttpReply reply(const HttpRequest& request) {
    Interface* ready = nullptr;
    {
      const std::lock_guard lock(mutex);
      ready = interface.get();
    }
    if (ready == nullptr)
      return refusalReply(httpProblem(503));  // the port is open for a moment before its number is known
    if (auto answer = ready->reply(request)) return std::move(*answer);
    return reception.receive(request);
  }

  const std::string address;
  Reception reception;
  std::mutex mutex;  ///< around the pointer
  std::unique_ptr<Interface> interface;
  HttpServer server;  ///< last: its threads use what stands above
};

ControlHost::ControlHost(ControlHostOptions options)
    : implementation_(std::make_unique<Implementation>(std::move(options))) {}

ControlHost::~ControlHost() { stop(); }

int ControlHost::port() const { return implementation_->server.port(); }

std::string ControlHost::hostname() const { return hostnameOf(implementation_->address, port()); }

std::vector<ReceivedRequest> ControlHost::requests() const {
  std::vector<ReceivedRequest> result;
  for (const RequestPointer& request : implementation_->reception.log().requests()) result.push_back(*request);
  return result;
}

std::vector<Finding> ControlHost::findings() const {
  std::vector<Finding> result;
  for (const RequestPointer& request : implementation_->reception.log().requests()) {
    result.insert(result.end(), request->findings.begin(), request->findings.end());
  }
  return result;
}

Waited ControlHost::waitFor(const std::string& match, std::int64_t count, std::chrono::milliseconds timeout) const {
  return waitForRecords(implementation_->reception.log(), match, count, timeout, 0);
}

void ControlHost::setInitReply(Value reply) {
  implementation_->reception.answers().setInitReply(std::move(reply));
  implementation_->reception.announceAnswers();
}

void ControlHost::setSettings(HostSettings settings) {
  implementation_->reception.answers().setUsual(std::move(settings));
  implementation_->reception.announceAnswers();
}

void ControlHost::setRules(std::vector<AnswerRule> rules) {
  implementation_->reception.answers().setRules(std::move(rules));
  implementation_->reception.announceAnswers();
}

void ControlHost::setFaults(std::vector<Fault> faults) {
  implementation_->reception.faults().set(std::move(faults));
  implementation_->reception.announceFaults();
}

void ControlHost::setOffline(bool offline) {
  implementation_->reception.faults().setOffline(offline);
  implementation_->reception.announceFaults();
}

void ControlHost::clear() { implementation_->reception.clear(); }

void ControlHost::reset() { implementation_->reception.reset(); }

void ControlHost::stop() {
  implementation_->reception.log().end();
  implementation_->server.stop();
}

}  // namespace fliprugair
