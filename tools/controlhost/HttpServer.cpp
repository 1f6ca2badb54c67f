#include "tools/controlhost/HttpServer.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tools/controlhost/ConnectionThreads.h"
#include "tools/controlhost/Gunzip.h"
#include "tools/controlhost/HttpConnection.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t mostConnections = 512;
constexpr std::size_t mostTurnedAway = 64;
constexpr std::size_t mostOfUnread = std::size_t{64} * 1024;
constexpr std::chrono::seconds idleTime{5};

/// Why nobody can listen there, and what to do.
std::string reasonNotToListen(const std::string& address, int port, int error) {
  const std::string place = "Cannot listen on " + address;
  const std::string hint =
      " Give an address of this machine, as 127.0.0.1, or 0.0.0.0 for all that it has; without one it is 127.0.0.1.";
  if (error == EINVAL) return place + ": this is no IP address." + hint;
  if (error == EADDRNOTAVAIL) return place + ": this machine does not have that address." + hint;
  const std::string there = place + ", port " + std::to_string(port);
  if (error == EACCES)
    return there + ": only the system's own programs may. Take a port from 1024 on; 0 is any free one.";
  return there + ". Another program may listen there already; --port 0 takes any free port.";
}

bool isAddress(const std::string& text) {
  in6_addr six{};
  in_addr four{};
  return text == "localhost" || inet_pton(AF_INET, text.c_str(), &four) == 1 ||
         inet_pton(AF_INET6, text.c_str(), &six) == 1;
}

struct Body {
  std::string text;
  std::string compressed = {};
  HttpProblem problem = {};
};

/// A body of `bytes`, without its compression.
Body bodyOf(std::string bytes, const HttpHeaders& headers, HttpConnection& connection) {
  const std::string coding = listed(headersOf(headers, "Content-Encoding"));
  if (coding.empty() || sameName(coding, "identity")) return {std::move(bytes)};
  if (!sameName(coding, "gzip") && !sameName(coding, "x-gzip")) return {std::move(bytes), {}, httpProblem(415)};
  bool hasRoom = true;
  auto text = gunzipped(bytes, HttpConnection::longestBody,
                        [&](std::size_t more) { return hasRoom = connection.takeRoom(more); });
  if (!hasRoom) return {bytes.substr(0, mostOfUnread), {}, noRoomProblem()};
  if (!text) {
    const std::string what = "The body is not what its Content-Encoding says: it cannot be read as " + coding + '.';
    return {std::move(bytes), {}, {400, what, "Send it compressed to its end, or without the header."}};
  }
  if (text->size() <= HttpConnection::longestBody) return {*std::move(text), std::move(bytes)};
  HttpProblem tooLarge = httpProblem(413);
  tooLarge.text = "The body is too large once it is decompressed.";
  return {std::move(bytes), {}, std::move(tooLarge)};
}

}  // namespace

struct HttpServer::Implementation final : httplib::Server {
  Implementation(HttpServer::Handler givenHandler, Refusal givenRefusal)
      : handler(std::move(givenHandler)), refusal(std::move(givenRefusal)) {
    new_task_queue = [] { return std::make_unique<ConnectionThreads>(mostConnections).release(); };
    set_tcp_nodelay(true);
    set_payload_max_length(HttpConnection::longestBody);
    // Without the library's SO_REUSEPORT, by which two hosts would share one port and each get some of the requests.
    set_socket_options([](socket_t socket) {
      const int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    const auto any = [this](const httplib::Request& from, httplib::Response& to) { serve(from, to); };
    Get(".*", any).Post(".*", any).Put(".*", any).Delete(".*", any).Patch(".*", any).Options(".*", any);
    set_error_handler([this](const httplib::Request& from, httplib::Response& to) {
      if (to.body.empty() && !to.has_header("Content-Type")) refuse(from, to);
    });
    set_post_routing_handler([this](const httplib::Request&, httplib::Response& to) {
      if (!canHaveBody(to.status)) to.headers.erase("Content-Length");
      if (!connectionOfThisThread().endsWithThisReply()) return;
      to.headers.erase("Keep-Alive");
      to.headers.erase("Connection");
      to.set_header("Connection", "close");
    });
  }

  /// The port, or 0 when it cannot listen there; then errno says why.
  int listenOn(const std::string& address, int wanted) {
    errno = EINVAL;
    if (!isAddress(address)) return 0;  // a name would be looked up, who knows where
    const int bound = wanted == 0 ? bind_to_any_port(address) : bind_to_port(address, wanted) ? wanted : 0;
    if (bound <= 0) return 0;
    ::listen(svr_sock_, SOMAXCONN);  // a client opens more connections at once than the library's backlog holds
    return bound;
  }

  void serve(const httplib::Request& from, httplib::Response& to) {
    HttpConnection& connection = connectionOfThisThread();
    HttpRequest request = requestOf(connection);
    request.path = from.path;
    for (const auto& [key, value] : from.params) request.query.emplace(key, value);
    Body body = bodyOf(from.body, request.headers, connection);
    if (from.body.size() > HttpConnection::longestBody)
      body = {from.body.substr(0, mostOfUnread), {}, httpProblem(413)};
    request.body = std::move(body.text);
    request.compressed = std::move(body.compressed);
    request.problem = std::move(body.problem);
    request.isAbandoned = [&connection] { return connection.clientHasGone(std::chrono::milliseconds(0)); };
    give(handler(request), connection, to);
  }

  /// What the library answers by itself: it could not read the request.
  void refuse(const httplib::Request& from, httplib::Response& to) {
    HttpConnection& connection = connectionOfThisThread();
    connection.endWithThisReply();
    if (to.status == 400) connection.finishHead();  // after a line that it cannot read, the library stops
    const HttpProblem problem =
        connection.problem().status != 0 ? connection.problem() : problemOf(connection, to.status);
    if (!connection.head()) {
      give({problem.status, "application/json; charset=utf-8", refusal(problem)}, connection, to);
      return;
    }
    HttpRequest request = requestOf(connection);
    request.path = request.target.substr(0, request.target.find('?'));
    const bool isUnread = from.body.empty() && connection.head()->hasBody();
    request.body = isUnread ? connection.beginOfBody(mostOfUnread) : from.body.substr(0, mostOfUnread);
    request.problem = problem;
    give(handler(request), connection, to);
  }

  /// Why the library gives this status, where the connection saw nothing wrong.
  static HttpProblem problemOf(const HttpConnection& connection, int status) {
    if (status != 400 || !connection.head()) return httpProblem(status);
    const RequestHead& head = *connection.head();
    const bool isLong = std::any_of(head.headers.begin(), head.headers.end(), [](const auto& header) {
      return header.first.size() + header.second.size() + 4 > CPPHTTPLIB_HEADER_MAX_LENGTH;
    });
    if (isLong) return {431, "A header is too large.", "Send at most 8 KiB in each."};
    if (head.hasBody())
      return {400, "The chunks of the body cannot be read.", "Send the length of each, and one of 0 last."};
    return {400, "The method " + head.method + " is not known.", "Use POST."};
  }

  static HttpRequest requestOf(const HttpConnection& connection) {
    const RequestHead& head = *connection.head();
    HttpRequest request{head.method, head.target, {}, {}, head.headers, {}, connection.remote(), connection.local()};
    request.arrival = connection.age();
    return request;
  }

  void give(HttpReply reply, HttpConnection& connection, httplib::Response& to) {
    delay(reply.delay, connection);
    if (reply.sending == Sending::never) {
      while (!isStopping() && !connection.clientHasGone(std::chrono::milliseconds(200))) {
      }
      reply.sending = Sending::resetBefore;
    }
    connection.setSending(reply.sending, !reply.body.empty());
    to.status = reply.status;
    for (const auto& [key, value] : reply.headers) to.set_header(key, value);
    if (!reply.next) {
      if (canHaveBody(reply.status)) to.set_content(reply.body, reply.contentType);
      return;
    }
    const auto provide = [this, &connection, next = std::move(reply.next)](size_t, httplib::DataSink& sink) {
      const std::optional<std::string> piece = next();
      if (!piece || isStopping()) {
        sink.done();
        return true;
      }
      if (piece->empty()) return !connection.clientHasGone(std::chrono::milliseconds(0));
      return sink.write(piece->data(), piece->size());
    };
    to.set_chunked_content_provider(reply.contentType, provide);
  }

  /// In short pieces: an abandoned connection must not hold its thread.
  void delay(std::chrono::milliseconds time, const HttpConnection& connection) {
    constexpr std::chrono::milliseconds piece{200};
    const auto end = std::chrono::steady_clock::now() + time;
    for (auto left = time; left.count() > 0 && !connection.clientHasGone(std::chrono::milliseconds(0));) {
      std::unique_lock lock(mutex);
      if (stopped.wait_for(lock, std::min(left, piece), [this] { return stopping; })) return;
      left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    }
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
    turnedAway.emplace_back(socket, room).refuse(503, refusal(httpProblem(503)));
    if (turnedAway.size() > mostTurnedAway) turnedAway.pop_front();
  }

  bool process_and_close_socket(socket_t socket) override {
    if (std::this_thread::get_id() == accepting) {
      turnAway(socket);
      return false;
    }
    HttpConnection connection(socket, room);
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
      const bool served = process_request(connection, false, closed, [&connection](httplib::Request& request) {
        request.ranges.clear();                     // else it would cut the reply
        request.headers.erase("Content-Type");      // else the library takes forms apart, and their bytes would be lost
        request.headers.erase("Accept-Encoding");   // else it compresses, which keeps events back until there are many
        request.headers.erase("Content-Encoding");  // else it knows no bounds to what it makes of a body
        // Else it takes what has no length for a body until the end of the connection.
        const bool hasBody = request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
        if (!hasBody) request.set_header("Content-Length", "0");
        // It reads no body of these, and would take it for the next request.
        const bool isRead = request.method == "POST" || request.method == "PUT" || request.method == "PATCH" ||
                            request.method == "DELETE";
        if (!isRead && connection.head()->hasBody()) connection.endWithThisReply();
      });
      if (const HttpProblem& problem = connection.problem(); problem.status != 0 && !connection.hasReplied()) {
        connection.refuse(problem.status, refusal(problem));
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
  BodyRoom room;
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
  if (self.port == 0) throw std::runtime_error(reasonNotToListen(address, port, errno));
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
