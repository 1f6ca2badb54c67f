// What costs an error reply, and nothing else.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "controlhost/HttpClient.h"
#include "tools/controlhost/ControlHost.h"

namespace fliprugair::controlhost {

namespace {

/// A connection on which anything can be sent.
class Socket {
 public:
  explicit Socket(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    isConnected_ = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const timeval patience{60, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }
  ~Socket() { close(socket_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  bool isConnected() const { return isConnected_; }
  void send(const std::string& bytes) const { ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

  /// All that comes until the end.
  std::string reply() const {
    std::string text;
    std::array<char, 4096> piece{};
    for (ssize_t count = 0; (count = recv(socket_, piece.data(), piece.size(), 0)) > 0;) {
      text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  int socket_;
  bool isConnected_ = false;
};

class HostileRequests : public testing::Test {
 protected:
  ~HostileRequests() override {
    EXPECT_EQ(test::post(host_.port(), Value{{"action", "init"}}).status, 200) << "the host serves no more";
  }

  std::string replyTo(const std::string& bytes) {
    const Socket socket(host_.port());
    socket.send(bytes);
    return socket.reply();
  }

  ControlHost host_;
};

TEST_F(HostileRequests, HeadersWithoutEndAreRefused) {
  std::string request = "GET / HTTP/1.1\r\n";
  for (int number = 0; number < 2000; ++number)
    request += "X-" + std::to_string(number) + ": " + std::string(50, 'x') + "\r\n";
  const std::string reply = replyTo(request);
  EXPECT_EQ(reply.rfind("HTTP/1.1 431 ", 0), 0u) << reply;
  EXPECT_NE(reply.find("\"hint\""), std::string::npos);
}

TEST_F(HostileRequests, AnAddressWithoutEndIsRefused) {
  const std::string reply =
      replyTo("GET /" + std::string(20000, 'x') + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(reply.rfind("HTTP/1.1 414 ", 0), 0u) << reply.substr(0, 200);
}

TEST_F(HostileRequests, ABodyThatIsTooLargeIsRefused) {
  const std::string body(std::size_t{17} * 1024 * 1024, ' ');
  EXPECT_EQ(test::httpPost(host_.port(), "/marlune/v4", body).status, 413);
}

TEST_F(HostileRequests, WhatIsNoHTTPIsRefused) {
  EXPECT_EQ(replyTo("nonsense\r\n\r\n").rfind("HTTP/1.1 400 ", 0), 0u);
  EXPECT_EQ(replyTo("BREW / HTTP/1.1\r\nConnection: close\r\n\r\n").rfind("HTTP/1.1 400 ", 0), 0u);
}

TEST_F(HostileRequests, DeepJSONIsRefused) {
  const std::string deep = R"({"action":"event","data":)" + std::string(100000, '[') + std::string(100000, ']') + '}';
  EXPECT_EQ(test::httpPost(host_.port(), "/marlune/v4", deep).status, 400);
}

TEST_F(HostileRequests, AThousandConnectionsLeaveOthersTheirReply) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  std::vector<std::unique_ptr<Socket>> idle;
  for (int number = 0; number < 400; ++number) {
    idle.push_back(std::make_unique<Socket>(host_.port()));
    ASSERT_TRUE(idle.back()->isConnected());
    idle.back()->send("POST /marlune/v4 HTTP/1.1\r\nContent-Length: 100\r\n\r\n{");
  }
  EXPECT_EQ(test::post(host_.port(), Value{{"action", "init"}}).status, 200);
  for (int number = 400; number < 1000; ++number) idle.push_back(std::make_unique<Socket>(host_.port()));
  const Socket one(host_.port());
  EXPECT_EQ(one.reply().rfind("HTTP/1.1 503 ", 0), 0u);
  idle.clear();
  // Until the threads have seen that their connections are gone, the host says that there are too many.
  while (test::post(host_.port(), Value{{"action", "init"}}).status == 503) {
  }
}

TEST_F(HostileRequests, APostThatNamesNoLengthHasNoBody) {
  const std::string reply =
      replyTo("POST /api/clear HTTP/1.1\r\nHost: " + host_.hostname() + "\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(reply.rfind("HTTP/1.1 200 ", 0), 0u) << reply;
}

}  // namespace

}  // namespace fliprugair::controlhost
