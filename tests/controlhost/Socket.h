#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>

namespace fliprugair::test {

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
  void sendNoMore() const { shutdown(socket_, SHUT_WR); }

  /// All that comes until the end.
  std::string reply() const {
    std::string text;
    while (readSome(text)) {
    }
    return text;
  }
  /// What comes until `part` has; "" when it does not.
  std::string replyUntil(const std::string& part) const {
    std::string text;
    while (text.find(part) == std::string::npos) {
      if (!readSome(text)) return "";
    }
    return text;
  }

 private:
  bool readSome(std::string& text) const {
    std::array<char, 4096> piece{};
    const ssize_t count = recv(socket_, piece.data(), piece.size(), 0);
    if (count > 0) text.append(piece.data(), static_cast<std::size_t>(count));
    return count > 0;
  }

  int socket_;
  bool isConnected_ = false;
};

}  // namespace fliprugair::test
