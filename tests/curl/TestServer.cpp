#include "curl/TestServer.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "curl/Loopback.h"

namespace fliprugair::test {

namespace {

/// A server that takes a burst of connections at once.
template <class Server>
class Listening : public Server {
 public:
  using Server::Server;
  int listenAnywhere() {
    this->set_tcp_nodelay(true);
    const int port = this->bind_to_any_port("127.0.0.1");
    ::listen(this->svr_sock_, SOMAXCONN);
    return port;
  }
};

}  // namespace

struct TestServer::Implementation {
  template <class Server>
  Implementation(std::unique_ptr<Listening<Server>> made, Handler handler, Mailbox<Request>& requests) {
    port = made->listenAnywhere();
    server = std::move(made);
    server->new_task_queue = [] { return new httplib::ThreadPool(32); };
    server->set_keep_alive_max_count(1000);
    server->set_keep_alive_timeout(1);
    const auto answer = [handler = std::move(handler), &requests](const httplib::Request& from, httplib::Response& to) {
      const Request request{from.method,
                            from.path,
                            from.body,
                            from.get_header_value("Content-Type"),
                            from.has_header("Expect"),
                            from.remote_port,
                            from.get_header_value("Content-Encoding"),
                            from.get_header_value<std::uint64_t>("Content-Length")};
      requests.put(request);
      const Reply reply = handler(request);
      to.status = reply.status;
      if (!reply.location.empty()) to.set_header("Location", reply.location);
      if (!reply.acceptEncoding.empty()) to.set_header("Accept-Encoding", reply.acceptEncoding);
      if (!reply.retryAfter.empty()) to.set_header("Retry-After", reply.retryAfter);
      to.set_content(reply.body, "application/json");
    };
    server->Post(".*", answer);
    server->Get(".*", answer);
    EXPECT_GT(port, 0);
    thread = std::thread([this] { server->listen_after_bind(); });
    while (!server->is_running()) std::this_thread::yield();
  }

  ~Implementation() {
    server->stop();
    thread.join();
  }

  std::unique_ptr<httplib::Server> server;
  int port = 0;
  std::thread thread;
};

TestServer::TestServer() : TestServer([](const Request&) { return Reply{}; }) {}

TestServer::TestServer(Handler handler)
    : implementation_(std::make_unique<Implementation>(std::make_unique<Listening<httplib::Server>>(),
                                                       std::move(handler), requests)) {}

TestServer::TestServer(const Certificate& certificate, Handler handler)
    : implementation_(
          std::make_unique<Implementation>(std::make_unique<Listening<httplib::SSLServer>>(
                                               certificate.certificateFile.c_str(), certificate.keyFile.c_str()),
                                           std::move(handler), requests)) {}

TestServer::~TestServer() = default;

int TestServer::port() const { return implementation_->port; }

DeadPort::DeadPort() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  EXPECT_EQ(bind(socket_, generic, size), 0);
  EXPECT_EQ(getsockname(socket_, generic, &size), 0);
  port_ = ntohs(address.sin_port);
}

DeadPort::~DeadPort() { close(socket_); }

SilentPort::SilentPort() { EXPECT_EQ(listen(socket_, 8), 0); }

}  // namespace fliprugair::test
