#include "curl/ConnectProxy.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "curl/Loopback.h"
#include "platform/posix/FileDescriptor.h"

namespace fliprugair::test {

namespace {

/// Hands on what `from` has. Whether there was anything.
bool handOn(int from, int to) {
  std::array<char, 16384> bytes;
  const ssize_t count = read(from, bytes.data(), bytes.size());
  return count > 0 && send(to, bytes.data(), static_cast<std::size_t>(count), MSG_NOSIGNAL) == count;
}

}  // namespace

ConnectProxy::ConnectProxy() : thread_([this] { serve(); }) {}

ConnectProxy::~ConnectProxy() {
  stops_ = true;
  shutdown(port_.listener(), SHUT_RDWR);
  thread_.join();
}

void ConnectProxy::serve() {
  while (!stops_) {
    const FileDescriptor client(accept(port_.listener(), nullptr, nullptr));
    if (client) tunnel(client.get());
  }
}

void ConnectProxy::tunnel(int client) {
  std::string request;
  for (char byte = 0; request.find("\r\n\r\n") == std::string::npos && read(client, &byte, 1) == 1;) request += byte;
  asked.put(request.substr(0, request.find("\r\n")));
  const auto colon = request.find(':');
  const FileDescriptor server(socket(AF_INET, SOCK_STREAM, 0));
  const sockaddr_in address = loopback(colon == std::string::npos ? 0 : std::atoi(request.c_str() + colon + 1));
  if (connect(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return;
  const std::string granted = "HTTP/1.1 200 Connection established\r\n\r\n";
  send(client, granted.data(), granted.size(), MSG_NOSIGNAL);
  std::array<pollfd, 2> ends{pollfd{client, POLLIN, 0}, pollfd{server.get(), POLLIN, 0}};
  while (!stops_ && poll(ends.data(), ends.size(), 20) >= 0) {
    if (ends[0].revents != 0 && !handOn(client, server.get())) return;
    if (ends[1].revents != 0 && !handOn(server.get(), client)) return;
  }
}

}  // namespace fliprugair::test
