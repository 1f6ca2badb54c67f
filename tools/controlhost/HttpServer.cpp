// The only file that includes httplib.h, which takes long to compile.
#include "tools/controlhost/HttpServer.h"

#include <httplib.h>
#include <sys/socket.h>

#include <condition_variable>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t threadCount = 32;  // each holds one connection
constexpr std::size_t longestBody = std::size_t{64} * 1024 * 1024;

class ListeningServer final : public httplib::Server {
 public:
  /// The port, or 0 when it cannot listen there.
  int listenOn(const std::string& address, int port) {
    const int bound = port == 0 ? bind_to_any_port(address) : bind_to_port(address, port) ? port : 0;
    if (bound <= 0) return 0;
    ::listen(svr_sock_, SOMAXCONN);  // a client opens more connections at once than the library's backlog holds
    return bound;
  }
};

}  // namespace

struct HttpServer::Implementation {
  explicit Implementation(Handler given) : handler(std::move(given)) {
    server.new_task_queue = [] { return std::make_unique<httplib::ThreadPool>(threadCount).release(); };
    server.set_tcp_nodelay(true);
    server.set_payload_max_length(longestBody);
    server.set_keep_alive_max_count(std::numeric_limits<std::size_t>::max());
    server.set_keep_alive_timeout(1);  // seconds; stopping waits as long for an idle connection
    const auto answer = [this](const httplib::Request& from, httplib::Response& to) {
      const HttpReply reply = handler({from.method, from.path, from.body});
      waitFor(reply.delay);
      to.status = reply.status;
      to.set_content(reply.body, reply.contentType);
    };
    server.Get("/.*", answer);
    server.Post("/.*", answer);
  }

  void waitFor(std::chrono::milliseconds delay) {
    std::unique_lock lock(mutex);
    stopped.wait_for(lock, delay, [this] { return stopping; });
  }

  Handler handler;
  ListeningServer server;
  int port = 0;
  std::thread thread;
  std::mutex mutex;
  std::condition_variable stopped;
  bool stopping = false;
};

HttpServer::HttpServer(const std::string& address, int port, Handler handler)
    : implementation_(std::make_unique<Implementation>(std::move(handler))) {
  Implementation& self = *implementation_;
  self.port = self.server.listenOn(address, port);
  if (self.port == 0) throw std::runtime_error("cannot listen on " + address + ", port " + std::to_string(port));
  self.thread = std::thread([&self] { self.server.listen_after_bind(); });
  while (!self.server.is_running()) std::this_thread::yield();  // stop has no effect on a server that does not run yet
}

HttpServer::~HttpServer() { stop(); }

int HttpServer::port() const { return implementation_->port; }

void HttpServer::stop() {
  {
    const std::lock_guard lock(implementation_->mutex);
    implementation_->stopping = true;
  }
  implementation_->stopped.notify_all();
  implementation_->server.stop();
  if (implementation_->thread.joinable()) implementation_->thread.join();
}

}  // namespace fliprugair::controlhost
