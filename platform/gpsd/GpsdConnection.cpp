#include "platform/gpsd/GpsdConnection.h"

#include <netdb.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace fliprugair {

namespace {

/// Several times gpsd's own bound for a report. What sends longer lines is not gpsd.
constexpr std::size_t longestLine = 65536;

std::vector<std::string> addressesOf(const std::string& host) {
  if (host == "localhost") return {"127.0.0.1", "::1"};
  return {host};
}

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses numericAddress(const std::string& host, const std::string& port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), port.c_str(), &hints, &found) != 0) found = nullptr;
  return {found, &freeaddrinfo};
}

/// Where nobody listens on a port that the system gives to connections, it can be given to the very one that tries it.
bool hasMetItself(int socket) {
  sockaddr_storage here{};
  sockaddr_storage there{};
  socklen_t size = sizeof here;
  socklen_t sizeThere = sizeof there;
  return getsockname(socket, reinterpret_cast<sockaddr*>(&here), &size) == 0 &&
         getpeername(socket, reinterpret_cast<sockaddr*>(&there), &sizeThere) == 0 &&
         std::memcmp(&here, &there, size) == 0;
}

}  // namespace

GpsdConnection::GpsdConnection(const GpsdOptions& options, Deadline deadline, GpsdStop& stop)
    : deadline_(deadline), stop_(stop), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!wake_) return;
  stop_.setWake(wake_.get());
  for (const auto& address : addressesOf(options.host)) {
    connect(address, options.port);
    if (isOpen()) return;
  }
}

GpsdConnection::~GpsdConnection() { stop_.setWake(-1); }

std::optional<std::string> GpsdConnection::nextLine() {
  if (!isOpen()) return std::nullopt;
  auto end = received_.find('\n');
  while (end == std::string::npos) {
    const auto searched = received_.size();
    if (searched > longestLine || !receive()) return std::nullopt;
    end = received_.find('\n', searched);
  }
  std::string line = received_.substr(0, end);
  received_.erase(0, end + 1);
  return line;
}

void GpsdConnection::connect(const std::string& address, const std::string& port) {
  const auto target = numericAddress(address, port);
  if (!target) return;
  socket_ = FileDescriptor(::socket(target->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_) return;
  int error = ::connect(socket_.get(), target->ai_addr, target->ai_addrlen) == 0 ? 0 : errno;
  if (error == EINPROGRESS && waitFor(POLLOUT)) {
    socklen_t size = sizeof error;
    if (getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
  }
  if (error != 0 || hasMetItself(socket_.get()) || !watch()) socket_ = FileDescriptor();
}

bool GpsdConnection::watch() {
  // So short that a fresh connection takes it whole.
  constexpr std::string_view command = "?WATCH={\"enable\":true,\"json\":true};\n";
  return send(socket_.get(), command.data(), command.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(command.size());
}

bool GpsdConnection::receive() {
  std::array<char, 4096> buffer;
  while (waitFor(POLLIN)) {
    const auto count = recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (count > 0) {
      received_.append(buffer.data(), static_cast<std::size_t>(count));
      return true;
    }
    if (count == 0 || (errno != EAGAIN && errno != EINTR)) return false;
  }
  return false;
}

bool GpsdConnection::waitFor(short events) {
  while (!stop_.isRequested()) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now()).count();
    if (left <= 0) return false;
    std::array<pollfd, 2> awaited{{{socket_.get(), events, 0}, {wake_.get(), POLLIN, 0}}};
    // An hour at a time: poll counts in less than std::chrono does.
    const int ready = poll(awaited.data(), awaited.size(), static_cast<int>(std::min<std::int64_t>(left, 3600000)));
    if (ready < 0 && errno != EINTR) return false;
    if (ready > 0 && awaited[0].revents != 0) return true;
  }
  return false;
}

}  // namespace fliprugair
