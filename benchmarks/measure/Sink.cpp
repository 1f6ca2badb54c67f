#include "benchmarks/measure/Sink.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>

#include "benchmarks/Support.h"

namespace fliprugair::bench {

namespace {

constexpr std::string_view body = R"({"success":1})";

std::string replyOf(Sink::Manner manner) {
  std::string head = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n";
  if (manner == Sink::Manner::answersTakesGzip) head += "Accept-Encoding: gzip\r\n";
  return head + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

/// What the head of a request says of its body's length; whoever measures sends it spelled so.
std::size_t bodySizeOf(std::string_view head) {
  constexpr std::string_view name = "Content-Length: ";
  const std::size_t place = head.find(name);
  return place == std::string_view::npos ? 0 : std::strtoull(head.data() + place + name.size(), nullptr, 10);
}

}  // namespace

Sink::Sink(Manner manner) {
  void* shared = mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  require(shared != MAP_FAILED, "the sink's counters");
  counts_ = std::construct_at(static_cast<Counts*>(shared));
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  require(bind(listener, reinterpret_cast<const sockaddr*>(&address), size) == 0 && listen(listener, SOMAXCONN) == 0 &&
              getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) == 0,
          "the sink's port");
  port_ = ntohs(address.sin_port);
  process_ = fork();
  require(process_ >= 0, "the sink's process");
  if (process_ == 0) serve(listener, manner);
  close(listener);
}

Sink::~Sink() {
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  munmap(counts_, sizeof(Counts));
}

void Sink::serve(int listener, Manner manner) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  while (true) {
    const int connection = accept(listener, nullptr, nullptr);
    if (connection >= 0) std::thread([this, connection, manner] { converse(connection, manner); }).detach();
  }
}

/// One request after the other. A batch is counted when all of it has come.
void Sink::converse(int connection, Manner manner) {
  const int yes = 1;
  setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  const std::string reply = replyOf(manner);
  std::string text;
  std::array<char, 65536> buffer;
  while (true) {
    const ssize_t count = read(connection, buffer.data(), buffer.size());
    if (count <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    while (true) {
      const std::size_t end = text.find("\r\n\r\n");
      if (end == std::string::npos) break;
      const std::size_t size = end + 4 + bodySizeOf(std::string_view(text).substr(0, end));
      if (text.size() < size) break;
      counts_->bytes += size;
      if (text.size() > end + 4 && text[end + 4] == '[') ++counts_->batches;
      ++counts_->requests;
      text.erase(0, size);
      if (manner != Manner::keepsSilent && write(connection, reply.data(), reply.size()) < 0) break;
    }
  }
  close(connection);
}

void Sink::waitFor(const std::atomic<std::uint64_t>& counter, std::uint64_t count) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (counter < count) {
    require(std::chrono::steady_clock::now() < end, "the sink waits in vain for requests");
    // A condition to wait on would put a lock and a wake-up into what is measured.
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

}  // namespace fliprugair::bench
