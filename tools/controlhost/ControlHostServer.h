#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/ControlHost.h"
#include "tools/controlhost/HttpServer.h"
#include "tools/controlhost/RequestLog.h"

namespace fliprugair::controlhost {

struct ControlHostOptions {
  std::string address = "127.0.0.1";
  int port = 0;                                                            ///< 0: any free one
  std::size_t capacity = 10000;                                            ///< requests that are kept
  std::function<HostSettings()> settings = [] { return HostSettings(); };  ///< asked at every request
  std::function<void(const LoggedRequest&)> arrived = [](const LoggedRequest&) {};
};

/// A control host for development: answers POST /marlune/v4, and tells what came at GET /api/requests and
/// GET /api/health. Runs from construction to stop. The functions in its options are called on threads of its own,
/// several at a time, with no lock held.
class ControlHostServer {
 public:
  /// Throws std::runtime_error when it cannot listen.
  explicit ControlHostServer(ControlHostOptions options = {});

  int port() const { return server_.port(); }
  /// With the port, as a tracker's "trackerHostname".
  std::string hostname() const;
  std::vector<LoggedRequest> requests() const { return log_.requests(); }
  void stop() { server_.stop(); }

 private:
  HttpReply reply(const HttpRequest& request);
  HttpReply replyToPost(const HttpRequest& request);
  HttpReply replyToGet(const std::string& path) const;
  std::string problemOf(const HttpRequest& request, Value& body) const;
  HttpReply json(int status, const Value& value) const;

  const ControlHostOptions options_;
  const RapidJSONSerialization json_;
  ControlHost host_;
  RequestLog log_;
  HttpServer server_;  ///< last: its threads use what stands above
};

}  // namespace fliprugair::controlhost
