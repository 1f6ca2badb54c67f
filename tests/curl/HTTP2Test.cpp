// Against a server that speaks HTTP/2, nghttpd, which answers with what it was sent.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include "curl/Certificates.h"
#include "curl/Loopback.h"
#include "curl/NetworkTest.h"
#include "support/TemporaryFolder.h"

namespace fliprugair::test {

namespace {

/// Nothing keeps the port from being taken before it is used, so this is for a server that cannot choose one itself.
int freePort() {
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), size), 0);
  EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), 0);
  close(descriptor);
  return ntohs(address.sin_port);
}

bool accepts(int port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in address = loopback(port);
  const bool connected = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(descriptor);
  return connected;
}

class EchoServer {
 public:
  EchoServer(const Certificate& certificate, std::string outputFile) : outputFile_(std::move(outputFile)) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outputFile_.c_str(), O_WRONLY | O_CREAT, 0600);
    std::vector<std::string> arguments{"nghttpd",
                                       "--verbose",
                                       "--echo-upload",
                                       "--address=127.0.0.1",
                                       std::to_string(port_),
                                       certificate.keyFile,
                                       certificate.certificateFile};
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    EXPECT_EQ(posix_spawnp(&process_, "nghttpd", &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!accepts(port_) && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  }
  ~EchoServer() { end(); }
  EchoServer(const EchoServer&) = delete;
  EchoServer& operator=(const EchoServer&) = delete;

  std::string hostname() const { return "127.0.0.1:" + std::to_string(port_); }

  /// Ends the server; the connections that a request came over, by their numbers in its output.
  std::set<std::string> end() {
    if (process_ > 0) {
      kill(process_, SIGTERM);
      waitpid(process_, nullptr, 0);
      process_ = 0;
    }
    std::set<std::string> connections;
    std::ifstream stream(outputFile_);
    for (std::string line; std::getline(stream, line);) {
      if (line.find("recv HEADERS frame") == std::string::npos) continue;
      const std::size_t begin = line.find("[id=");
      connections.insert(line.substr(begin, line.find(']', begin) - begin));
    }
    return connections;
  }

 private:
  const std::string outputFile_;
  const int port_ = freePort();
  pid_t process_ = 0;
};

class HTTP2 : public NetworkTest {};

TEST_F(HTTP2, RequestsShareOneConnection) {
  const TemporaryFolder folder;
  const Certificate certificate = makeCertificate((folder / "server").string(), "IP:127.0.0.1");
  EchoServer server(certificate, (folder / "output").string());
  const Running running = start({.caFile = certificate.certificateFile, .loopbackScheme = LoopbackScheme::https});
  constexpr std::size_t count = 20;
  for (std::size_t number = 0; number < count; ++number) {
    send(server.hostname(), Value{{"action", "init"}, {"number", number}});
  }
  EXPECT_EQ(application_.ended.wait(count).size(), count);
  std::set<std::int64_t> numbers;
  for (const RecordingDelegate::Call& call : delegate_->calls.items()) {
    numbers.insert(call.second.dictionary()["number"].integerValue());
  }
  EXPECT_EQ(numbers.size(), count);
  EXPECT_EQ(server.end().size(), 1u);
}

}  // namespace

}  // namespace fliprugair::test
