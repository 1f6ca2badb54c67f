#include "GpsFake.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "platform/posix/FileDescriptor.h"

namespace fliprugair::test {

namespace {

std::string sentence(const std::string& body) {
  unsigned checksum = 0;
  for (const char character : body) checksum ^= static_cast<unsigned char>(character);
  std::array<char, 8> end{};
  std::snprintf(end.data(), end.size(), "*%02X\r\n", checksum & 0xFFU);
  return "$" + body + end.data();
}

std::string sentences(const Epoch& epoch, std::size_t second) {
  std::array<char, 16> time{};
  std::snprintf(time.data(), time.size(), "12%02zu%02zu.00", second / 60 % 60, second % 60);
  if (!epoch.fix) {
    return sentence(std::string("GPGGA,") + time.data() + ",,,,,0,00,,,M,,M,,") + sentence("GPGSA,A,1,,,,,,,,,,,,,,,") +
           sentence(std::string("GPRMC,") + time.data() + ",V,,,,,,,011124,,,N");
  }
  const std::string position = "4807.038,N,01131.000,E";
  const std::string dilution = std::to_string(epoch.horizontalDilution);
  return sentence(std::string("GPGGA,") + time.data() + "," + position + ",1,08," + dilution + ",545.4,M,46.9,M,,") +
         sentence("GPGSA,A,3,04,05,,09,12,,,24,,,,,2.5," + dilution + ",2.1") +
         sentence(std::string("GPRMC,") + time.data() + ",A," + position + ",000.0,360.0,011124,,,A");
}

FileDescriptor loopbackSocket(std::uint16_t port, sockaddr_in& address) {
  address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return FileDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

/// gpsd's list of its receivers; "" while nobody answers.
std::string devicesAt(const std::string& port) {
  sockaddr_in address;
  const auto client = loopbackSocket(static_cast<std::uint16_t>(std::stoi(port)), address);
  if (connect(client.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return "";
  constexpr std::string_view command = "?DEVICES;\n";
  if (send(client.get(), command.data(), command.size(), MSG_NOSIGNAL) < 0) return "";
  std::string answer;
  std::array<char, 1024> buffer;
  while (answer.find("DEVICES") == std::string::npos || answer.back() != '\n') {
    const auto count = recv(client.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) return "";
    answer.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return answer;
}

bool hasEnded(pid_t process) {
  siginfo_t end{};
  return waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT) != 0 || end.si_pid != 0;
}

/// The terminal that gpsfake writes the sentences into; "" while it has none.
std::string terminalOf(pid_t process) {
  for (int descriptor = STDERR_FILENO + 1; descriptor < 16; ++descriptor) {
    std::error_code ignored;
    const auto link = "/proc/" + std::to_string(process) + "/fd/" + std::to_string(descriptor);
    const std::string file = std::filesystem::read_symlink(link, ignored).string();
    if (file.starts_with("/dev/pts/") && file != "/dev/pts/ptmx") return file;
  }
  return "";
}

/// Tells gpsd of a receiver over its control socket. What it answers is seen in its list of receivers.
void tellOfReceiver(const std::string& controlSocket, const std::string& terminal) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  controlSocket.copy(address.sun_path, sizeof address.sun_path - 1);
  const FileDescriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(client.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return;
  const std::string command = "+" + terminal + "\r\n";
  if (send(client.get(), command.data(), command.size(), MSG_NOSIGNAL) < 0) return;
  std::array<char, 16> answer;
  recv(client.get(), answer.data(), answer.size(), 0);
}

/// What the child does between fork and exec: calls of the system only, since other threads may have held locks.
[[noreturn]] void becomeGpsFake(const std::string& folder, const std::string& log, char* const* arguments) {
  setpgid(0, 0);
  if (chdir(folder.c_str()) != 0) _exit(126);
  const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  execvp(arguments[0], arguments);
  _exit(127);
}

}  // namespace

/// None of those that the system gives to connections: one that is tried again and again while nobody listens could be
/// given the very port that it goes to, and then meets itself and keeps others from listening there.
std::string freePort() {
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const auto port = static_cast<std::uint16_t>(20000 + random() % 10000);
    sockaddr_in address;
    const auto probe = loopbackSocket(port, address);
    if (bind(probe.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return std::to_string(port);
  }
  throw std::runtime_error("no free port");
}

GpsFake::GpsFake(const std::vector<Epoch>& epochs, const std::string& port) {
  std::ofstream log(folder_ / "receiver.nmea", std::ios::binary);
  for (std::size_t second = 0; second < epochs.size(); ++second) log << sentences(epochs[second], second);
  log.close();
  // Another program may take the port before gpsd does.
  for (int attempt = 0; attempt < 10; ++attempt) {
    start(port.empty() ? freePort() : port);
    if (hasReceiver()) return;
    kill();
  }
  throw std::runtime_error("gpsfake did not start");
}

GpsFake::~GpsFake() { kill(); }

void GpsFake::start(const std::string& port) {
  port_ = port;
  const auto output = (folder_ / "output").string();
  // gpsd is where only the superuser's search path leads. Its control socket stands where temporary files do.
  std::vector<std::string> words{"env",
                                 "GPSD_HOME=/usr/sbin",
                                 "TMPDIR=" + folder_.path().string(),
                                 "gpsfake",
                                 "-q",
                                 "-c",
                                 "0.01",
                                 "-P",
                                 port_,
                                 (folder_ / "receiver.nmea").string()};
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  process_ = fork();
  if (process_ == 0) becomeGpsFake(folder_.path().string(), output, arguments.data());
  setpgid(process_, process_);
}

bool GpsFake::hasReceiver() const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);  // on a machine with much to do
  while (std::chrono::steady_clock::now() < deadline && !hasEnded(process_)) {
    const std::string devices = devicesAt(port_);
    if (devices.find("/dev/") != std::string::npos) return true;
    // gpsfake may have told gpsd of the receiver before gpsd listened to that, and does so once.
    const std::string terminal = devices.empty() ? "" : terminalOf(process_);
    if (!terminal.empty()) tellOfReceiver(controlSocket(), terminal);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));  // gpsd tells nobody when it is ready
  }
  return false;
}

void GpsFake::kill() {
  if (process_ < 0) return;
  // gpsd is in gpsfake's process group.
  ::kill(-process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  std::error_code ignored;
  std::filesystem::remove(controlSocket(), ignored);
  process_ = -1;
}

std::string GpsFake::controlSocket() const { return folder_ / ("gpsfake-" + std::to_string(process_) + ".sock"); }

}  // namespace fliprugair::test
