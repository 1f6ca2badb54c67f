#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>

#include "GpsFake.h"
#include "platform/gpsd/GpsdConnection.h"

namespace {

/// Whether each connection of this process comes from where it goes to, as it now and then does by chance.
std::atomic<bool> connectionsMeetThemselves{false};

}  // namespace

/// Instead of the system's.
extern "C" int connect(int socket, const sockaddr* address, socklen_t size) {
  if (connectionsMeetThemselves) {
    EXPECT_EQ(bind(socket, address, size), 0);
  }
  return static_cast<int>(syscall(SYS_connect, socket, address, size));
}

namespace fliprugair {
namespace {

using namespace std::chrono_literals;

/// Listens on a port of this machine's own address of IPv4 or, where there is one, of IPv6.
class Listener {
 public:
  explicit Listener(int family) : listener_(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in fourth{};
    fourth.sin_family = AF_INET;
    fourth.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in6 sixth{};
    sixth.sin6_family = AF_INET6;
    sixth.sin6_addr = in6addr_loopback;
    sockaddr* const address =
        family == AF_INET ? reinterpret_cast<sockaddr*>(&fourth) : reinterpret_cast<sockaddr*>(&sixth);
    socklen_t size = family == AF_INET ? sizeof fourth : sizeof sixth;
    isThere_ = bind(listener_.get(), address, size) == 0 && listen(listener_.get(), 1) == 0;
    getsockname(listener_.get(), address, &size);
    port_ = std::to_string(ntohs(family == AF_INET ? fourth.sin_port : sixth.sin6_port));
  }
  bool isThere() const { return isThere_; }
  const std::string& port() const { return port_; }

  /// Accepts a connection, reads what it says, and closes it.
  void closeOne() {
    const FileDescriptor connection(accept(listener_.get(), nullptr, nullptr));
    std::array<char, 4096> said;
    EXPECT_GT(recv(connection.get(), said.data(), said.size(), 0), 0);
  }

 private:
  FileDescriptor listener_;
  bool isThere_ = false;
  std::string port_;
};

GpsdConnection::Deadline inAMinute() { return std::chrono::steady_clock::now() + 60s; }

TEST(GpsdConnection, FindsALocalhostThatHasNothingButIPv6) {
  const Listener gpsd(AF_INET6);
  GpsdStop stop;
  EXPECT_EQ(GpsdConnection({"localhost", gpsd.port()}, inAMinute(), stop).isOpen(), gpsd.isThere());
  EXPECT_EQ(GpsdConnection({"::1", gpsd.port()}, inAMinute(), stop).isOpen(), gpsd.isThere());
  EXPECT_FALSE(GpsdConnection({"127.0.0.1", gpsd.port()}, inAMinute(), stop).isOpen());
}

TEST(GpsdConnection, HasNoLineWhenItIsNotOpen) {
  GpsdStop stop;
  GpsdConnection connection({"gps.invalid", "2947"}, inAMinute(), stop);
  EXPECT_FALSE(connection.isOpen());
  EXPECT_FALSE(connection.nextLine());
}

TEST(GpsdConnection, IsNotOpenWhenNobodyListensAndItMeetsItself) {
  const auto port = test::freePort();
  GpsdStop stop;
  connectionsMeetThemselves = true;
  const GpsdConnection connection({"127.0.0.1", port}, inAMinute(), stop);
  connectionsMeetThemselves = false;
  EXPECT_FALSE(connection.isOpen());
}

TEST(GpsdConnection, HasNoLineOnceGpsdHasClosedItWhateverErrorCameBefore) {
  Listener gpsd(AF_INET);
  GpsdStop stop;
  GpsdConnection connection({"127.0.0.1", gpsd.port()}, inAMinute(), stop);
  ASSERT_TRUE(connection.isOpen());
  gpsd.closeOne();
  const auto begin = std::chrono::steady_clock::now();
  errno = EAGAIN;
  EXPECT_FALSE(connection.nextLine());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
}

TEST(GpsdOptions, NameThePortOfGpsdOnThisMachine) {
  EXPECT_EQ(GpsdOptions().host, "localhost");
  EXPECT_EQ(GpsdOptions().port, "2947");
}

}  // namespace
}  // namespace fliprugair
