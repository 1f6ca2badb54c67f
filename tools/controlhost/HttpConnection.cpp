#include "tools/controlhost/HttpConnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t longestHead = std::size_t{64} * 1024;
constexpr std::size_t longestChunks = HttpConnection::longestBody + HttpConnection::longestBody / 8;
constexpr std::chrono::seconds writeTime{20};
constexpr std::chrono::milliseconds moment{100};

bool ready(socket_t socket, short what, std::chrono::milliseconds time) {
  pollfd entry{socket, what, 0};
  int result = 0;
  do {
    result = poll(&entry, 1, static_cast<int>(std::max<std::int64_t>(time.count(), 0)));
  } while (result < 0 && errno == EINTR);
  return result > 0;
}

void addressOf(const sockaddr_storage& from, std::string& address, int& port) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (from.ss_family == AF_INET6) {
    const auto& six = reinterpret_cast<const sockaddr_in6&>(from);
    inet_ntop(AF_INET6, &six.sin6_addr, text.data(), text.size());
    port = ntohs(six.sin6_port);
  } else {
    const auto& four = reinterpret_cast<const sockaddr_in&>(from);
    inet_ntop(AF_INET, &four.sin_addr, text.data(), text.size());
    port = ntohs(four.sin_port);
  }
  address = text.data();
}

std::string place(const std::string& address, int port) {
  const bool bracketed = address.find(':') != std::string::npos;
  return (bracketed ? '[' + address + ']' : address) + ':' + std::to_string(port);
}

}  // namespace

HttpConnection::HttpConnection(socket_t socket, BodyRoom& room, std::chrono::milliseconds requestTime)
    : socket_(socket), requestTime_(requestTime), room_(room) {}

HttpConnection::~HttpConnection() {
  if (!isReset_) ::shutdown(socket_, SHUT_RDWR);
  ::close(socket_);
}

bool HttpConnection::waitForRequest(std::chrono::milliseconds time) {
  headBytes_.clear();
  head_.reset();
  headComplete_ = false;
  bodySize_ = 0;
  room_.giveBack();
  problem_ = {};
  sending_ = Sending::whole;
  hasReplied_ = false;
  const bool begun = !stopped_ && (used_ < buffer_.size() || ready(socket_, POLLIN, time)) && !stopped_;
  begin_ = std::chrono::steady_clock::now();
  return begun && (used_ < buffer_.size() || fill());
}

std::chrono::microseconds HttpConnection::age() const {
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin_);
}

std::chrono::milliseconds HttpConnection::timeLeft() const {
  return std::chrono::ceil<std::chrono::milliseconds>(requestTime_ - age());
}

void HttpConnection::finishHead() {
  for (char byte = 0; !headComplete_ && read(&byte, 1) == 1;) {
  }
}

std::string HttpConnection::beginOfBody(std::size_t most) {
  std::string text;
  while (text.size() < most) {
    if (used_ == buffer_.size() && !(ready(socket_, POLLIN, moment) && fill())) break;
    const std::size_t count = std::min(most - text.size(), buffer_.size() - used_);
    text.append(buffer_, used_, count);
    used_ += count;
  }
  return text;
}

std::string HttpConnection::remote() const {
  std::string address;
  int port = 0;
  get_remote_ip_and_port(address, port);
  return place(address, port);
}

std::string HttpConnection::local() const {
  std::string address;
  int port = 0;
  get_local_ip_and_port(address, port);
  return place(address, port);
}

void HttpConnection::refuse(int status, const std::string& body) {
  const std::string text = "HTTP/1.1 " + std::to_string(status) + ' ' + std::string(reasonPhrase(status)) +
                           "\r\nConnection: close\r\nContent-Type: application/json; charset=utf-8\r\n" +
                           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  writeAll(text.data(), text.size());
  ::shutdown(socket_, SHUT_WR);
}

void HttpConnection::drain() {
  ::shutdown(socket_, SHUT_WR);
  std::array<char, 4096> rest{};
  while (timeLeft().count() > 0 && ready(socket_, POLLIN, moment)) {
    if (recv(socket_, rest.data(), rest.size(), 0) <= 0) break;
  }
}

bool HttpConnection::clientHasGone(std::chrono::milliseconds time) const {
  return stopped_ || ready(socket_, POLLRDHUP, time);
}

void HttpConnection::stopReading() {
  stopped_ = true;
  ::shutdown(socket_, SHUT_RD);
}

bool HttpConnection::is_readable() const { return used_ < buffer_.size() || ready(socket_, POLLIN, requestTime_); }

bool HttpConnection::is_writable() const { return !stopped_ && ready(socket_, POLLOUT, writeTime); }

ssize_t HttpConnection::read(char* bytes, size_t size) {
  if (problem_.status != 0 || (used_ == buffer_.size() && !fill())) return -1;
  const std::size_t count = headComplete_ ? std::min(size, buffer_.size() - used_) : std::size_t{1};
  std::copy_n(buffer_.data() + used_, count, bytes);
  used_ += count;
  if (!headComplete_) {
    keep(*bytes);
  } else if ((bodySize_ += count) > longestChunks) {
    problem_ = httpProblem(413);
  } else if (!takeRoom(count)) {
    problem_ = noRoomProblem();
  }
  return problem_.status == 0 ? static_cast<ssize_t>(count) : -1;
}

/// One more byte of the head.
void HttpConnection::keep(char byte) {
  headBytes_ += byte;
  headComplete_ = byte == '\n' && (headBytes_.ends_with("\r\n\r\n") || headBytes_.ends_with("\n\n"));
  if (headBytes_.size() > longestHead) problem_ = httpProblem(431);
  if (!headComplete_) return;
  head_ = requestHeadOf(headBytes_);
  problem_ = head_ ? framingProblem(*head_, longestBody) : httpProblem(400);
}

bool HttpConnection::fill() {
  buffer_.resize(std::size_t{16} * 1024);
  used_ = 0;
  const auto left = timeLeft();
  const bool came = left.count() > 0 && ready(socket_, POLLIN, left);
  const ssize_t count = came ? recv(socket_, buffer_.data(), buffer_.size(), 0) : 0;
  buffer_.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  if (count > 0 || stopped_ || headBytes_.empty() || problem_.status != 0) return count > 0;
  problem_ = httpProblem(came ? 400 : 408);
  if (came)
    problem_.text =
        headComplete_ ? "The connection ended before the body did." : "The connection ended before the head did.";
  return false;
}

ssize_t HttpConnection::write(const char* bytes, size_t size) {
  hasReplied_ = true;
  if (ended_) return -1;
  const bool breaks = sending_ != Sending::whole && piecesLeft_-- == 0;
  if (!breaks) return writeAll(bytes, size) ? static_cast<ssize_t>(size) : -1;
  if (sending_ != Sending::resetBefore) writeAll(bytes, middleOf(size));
  if (sending_ != Sending::endsTooEarly) reset();
  ended_ = true;
  return -1;
}

/// The first piece that the library writes is the head of the reply, the second one its body.
void HttpConnection::setSending(Sending sending, bool hasBody) {
  sending_ = sending;
  piecesLeft_ = sending == Sending::resetBefore || !hasBody ? 0 : 1;
}

bool HttpConnection::writeAll(const char* bytes, size_t size) {
  while (size > 0) {
    if (!ready(socket_, POLLOUT, writeTime)) return false;
    const ssize_t count = send(socket_, bytes, size, MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

/// Makes the end of the connection a reset.
void HttpConnection::reset() {
  isReset_ = true;
  const linger atOnce{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

void HttpConnection::get_remote_ip_and_port(std::string& address, int& port) const {
  sockaddr_storage from{};
  socklen_t size = sizeof from;
  if (getpeername(socket_, reinterpret_cast<sockaddr*>(&from), &size) == 0) addressOf(from, address, port);
}

void HttpConnection::get_local_ip_and_port(std::string& address, int& port) const {
  sockaddr_storage from{};
  socklen_t size = sizeof from;
  if (getsockname(socket_, reinterpret_cast<sockaddr*>(&from), &size) == 0) addressOf(from, address, port);
}

}  // namespace fliprugair::controlhost
