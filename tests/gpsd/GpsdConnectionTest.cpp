#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <string>

#include "platform/gpsd/GpsdConnection.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;

/// Listens on a port of this machine's own address of IPv6, where there is one.
class SixthVersion {
 public:
  SixthVersion() : listener_(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    socklen_t size = sizeof address;
    isThere_ =
        bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), size) == 0 && listen(listener_.get(), 1) == 0;
    getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    port_ = std::to_string(ntohs(address.sin6_port));
  }
  bool isThere() const { return isThere_; }
  const std::string& port() const { return port_; }

 private:
  FileDescriptor listener_;
  bool isThere_ = false;
  std::string port_;
};

GpsdConnection::Deadline inAMinute() { return std::chrono::steady_clock::now() + 60s; }

TEST(GpsdConnection, FindsALocalhostThatHasNothingButIPv6) {
  const SixthVersion gpsd;
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

TEST(GpsdOptions, NameThePortOfGpsdOnThisMachine) {
  EXPECT_EQ(GpsdOptions().host, "localhost");
  EXPECT_EQ(GpsdOptions().port, "2947");
}

}  // namespace
}  // namespace fliprugair
