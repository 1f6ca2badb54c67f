#include "tools/controlhost/HttpServer.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <variant>

#include "tools/controlhost/ConnectionThreads.h"
#include "tools/controlhost/Gunzip.h"
#include "tools/controlhost/HttpConnection.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t mostConnections = 512;
constexpr std::size_t mostTurnedAway = 64;
constexpr std::size_t longestBody = std::size_t{16} * 1024 * 1024;
constexpr std::chrono::seconds idleTime{5};

bool sameName(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); });
}

}  // namespace

std::string headerOf(const HttpHeaders& headers, std::string_view name) {
  const auto found =
      std::find_if(headers.begin(), headers.end(), [&](const auto& header) { return sameName(header.first, name); });
  return found == headers.end() ? "" : found->second;
}

struct HttpServer::Implementation final : httplib::Server {
  Implementation(HttpServer::Handler givenHandler, Refusal givenRefusal)
      : handler(std::move(givenHandler)), refusal(std::move(givenRefusal)) {
    new_task_queue = [] { return std::make_unique<ConnectionThreads>(mostConnections).release(); };
    set_tcp_nodelay(true);
    set_payload_max_length(longestBody);
    // Without the library's SO_REUSEPORT, by which two hosts would share one port and each get some of the requests.
    set_socket_options([](socket_t socket) {
      const int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    const auto any = [this](const httplib::Request& from, httplib::Response& to) { serve(from, to); };
    Get(".*", any).Post(".*", any).Put(".*", any).Delete(".*", any).Patch(".*", any).Options(".*", any);
    set_error_handler([this](const httplib::Request&, httplib::Response& to) {
      if (to.body.empty() && !to.has_header("Content-Type")) {
        to.set_content(refusal(to.status), "application/json; charset=utf-8");
        connectionOfThisThread().endWithThisReply();
      }
    });
  }

  /// The port, or 0 when it cannot listen there.
  int listenOn(const std::string& address, int wanted) {
    const int bound = wanted == 0 ? bind_to_any_port(address) : bind_to_port(address, wanted) ? wanted : 0;
    if (bound <= 0) return 0;
    ::listen(svr_sock_, SOMAXCONN);  // a client opens more connections at once than the library's backlog holds
    return bound;
  }

  /// The body without its compression. Of one that cannot be read, the status that says why.
  static std::variant<std::string, int> bodyOf(const httplib::Request& from, const HttpHeaders& headers) {
    const std::string coding = headerOf(headers, "Content-Encoding");
    if (coding.empty() || sameName(coding, "identity")) return from.body;
    if (!sameName(coding, "gzip")) return 415;
    auto text = gunzipped(from.body, longestBody);
    if (!text) return 400;
    if (text->size() > longestBody) return 413;
    return *std::move(text);
  }

  void serve(const httplib::Request& from, httplib::Response& to) {
    HttpConnection& connection = connectionOfThisThread();
    HttpHeaders headers = connection.headers();
    auto body = bodyOf(from, headers);
    if (const int* status = std::get_if<int>(&body)) {
      to.status = *status;  // what stands in the reply comes with all errors
      if (*status == 415) to.set_header("Accept-Encoding", "gzip");
      return;
    }
    HttpRequest request{from.method,         from.target,
                        from.path,           {},
                        std::move(headers),  std::get<std::string>(std::move(body)),
                        connection.remote(), connection.local()};
    for (const auto& [key, value] : from.params) request.query.emplace(key, value);
    HttpReply reply = handler(request);
    if (reply.delay.count() > 0) waitFor(reply.delay);
    if (reply.sending == Sending::never) {
      while (!isStopping() && !connection.clientHasGone(std::chrono::milliseconds(200))) {
      }
      reply.sending = Sending::resetBefore;
    }
    connection.setSending(reply.sending);
    to.status = reply.status;
    for (const auto& [key, value] : reply.headers) to.set_header(key, value);
    if (!reply.next) {
      to.set_content(reply.body, reply.contentType);
      return;
    }
    to.set_chunked_content_provider(reply.contentType, [this, next = reply.next](size_t, httplib::DataSink& sink) {
      const std::optional<std::string> piece = next();
      if (!piece || isStopping()) {
        sink.done();
      } else if (!piece->empty()) {
        return sink.write(piece->data(), piece->size());
      }
      return true;
    });
  }

  void waitFor(std::chrono::milliseconds delay) {
    std::unique_lock lock(mutex);
    stopped.wait_for(lock, delay, [this] { return stopping; });
  }

  bool isStopping() {
    const std::lock_guard lock(mutex);
    return stopping;
  }

  HttpConnection& connectionOfThisThread() {
    const std::lock_guard lock(mutex);
    return *connections.at(std::this_thread::get_id());
  }

  /// On the accepting thread, which waits for nobody: a connection that it turns away is closed once others are.
  void turnAway(socket_t socket) {
    turnedAway.emplace_back(socket).refuse(503, refusal(503));
    if (turnedAway.size() > mostTurnedAway) turnedAway.pop_front();
  }

  bool process_and_close_socket(socket_t socket) override {
    if (std::this_thread::get_id() == accepting) {
      turnAway(socket);
      return false;
    }
    HttpConnection connection(socket);
    {
      const std::lock_guard lock(mutex);
      if (stopping) return false;
      connections[std::this_thread::get_id()] = &connection;
    }
    serveRequests(connection);
    const std::lock_guard lock(mutex);
    connections.erase(std::this_thread::get_id());
    return true;
  }

  void serveRequests(HttpConnection& connection) {
    while (connection.waitForRequest(idleTime)) {
      bool closed = false;
      const bool served = process_request(connection, false, closed, [](httplib::Request& request) {
        request.headers.erase("Content-Type");      // else the library takes forms apart, and their bytes would be lost
        request.headers.erase("Accept-Encoding");   // else it compresses, which keeps events back until there are many
        request.headers.erase("Content-Encoding");  // else it knows no bounds to what it makes of a body
        // Else it takes what has no length for a body until the end of the connection.
        const bool hasBody = request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
        if (!hasBody) request.set_header("Content-Length", "0");
      });
      if (connection.refusedWith() != 0) {
        connection.refuse(connection.refusedWith(), refusal(connection.refusedWith()));
        connection.endWithThisReply();
      }
      if (connection.endsWithThisReply()) return connection.drain();
      if (!served || closed) return;
    }
  }

  void stopAll() {
    {
      const std::lock_guard lock(mutex);
      stopping = true;
      for (const auto& [id, connection] : connections) connection->stopReading();
    }
    stopped.notify_all();
    stop();
    if (thread.joinable()) thread.join();
  }

  HttpServer::Handler handler;
  Refusal refusal;
  int port = 0;
  std::thread thread;
  std::mutex mutex;  ///< around the rest
  std::condition_variable stopped;
  bool stopping = false;
  std::thread::id accepting;
  std::deque<HttpConnection> turnedAway;  ///< of the accepting thread alone
  std::map<std::thread::id, HttpConnection*> connections;
};

HttpServer::HttpServer(const std::string& address, int port, Handler handler, Refusal refusal)
    : implementation_(std::make_unique<Implementation>(std::move(handler), std::move(refusal))) {
  Implementation& self = *implementation_;
  self.port = self.listenOn(address, port);
  if (self.port == 0) {
    const std::string place = address + ", port " + std::to_string(port);
    throw std::runtime_error("Cannot listen on " + place +
                             ". Another program may listen there already; --port 0 takes any free port.");
  }
  self.thread = std::thread([&self] {
    {
      const std::lock_guard lock(self.mutex);
      self.accepting = std::this_thread::get_id();
    }
    self.listen_after_bind();
  });
  while (!self.is_running()) std::this_thread::yield();  // stop has no effect on a server that does not run yet
}

HttpServer::~HttpServer() { stop(); }

int HttpServer::port() const { return implementation_->port; }

void HttpServer::stop() { implementation_->stopAll(); }

}  // namespace fliprugair::controlhost
