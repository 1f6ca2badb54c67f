#include "curl/RawServer.h"

#include <poll.h>
#include <strings.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>

#include "platform/posix/FileDescriptor.h"

namespace fliprugair::test {

std::string RawConnection::readRequest() {
  std::string request;
  std::array<char, 4096> buffer;
  while (true) {
    const std::size_t head = request.find("\r\n\r\n");
    if (head != std::string::npos) {
      const std::size_t field = request.find("Content-Length: ");
      const std::size_t length = field < head ? std::strtoul(request.c_str() + field + 16, nullptr, 10) : 0;
      if (request.size() >= head + 4 + length) return request;
    }
    const ssize_t count = recv(descriptor_, buffer.data(), buffer.size(), 0);
    if (count <= 0) return "";
    request.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

bool RawConnection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void RawConnection::waitForClose() {
  pollfd end{descriptor_, POLLIN, 0};
  poll(&end, 1, static_cast<int>(std::chrono::milliseconds(patience).count()));
}

RawServer::RawServer(Handler handler) : handler_(std::move(handler)), thread_([this] { serve(); }) {}

RawServer::~RawServer() {
  shutdown(port_.listener(), SHUT_RDWR);
  thread_.join();
  for (std::thread& connection : connections_) connection.join();
}

void RawServer::serve() {
  while (true) {
    const int arrived = accept(port_.listener(), nullptr, nullptr);
    if (arrived < 0) return;
    connections_.emplace_back([this, arrived] {
      const FileDescriptor descriptor(arrived);
      RawConnection connection(arrived);
      handler_(connection);
    });
  }
}

}  // namespace fliprugair::test
