// What listens where gpsd should be may say anything, or nothing.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <random>
#include <string>
#include <thread>

#include "gpsd/Patience.h"
#include "platform/gpsd/GpsdLocation.h"
#include "platform/posix/FileDescriptor.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;

/// The far end of one connection; `number` counts them from 1.
class Connection {
 public:
  Connection(FileDescriptor socket, const std::atomic<bool>& stopped, int place)
      : number(place), socket_(std::move(socket)), stopped_(stopped) {}

  /// False when the other end, or the test, has gone.
  bool say(std::string_view bytes) const {
    while (!bytes.empty() && !stopped_) {
      const auto count = send(socket_.get(), bytes.data(), std::min<std::size_t>(bytes.size(), 4096), MSG_NOSIGNAL);
      if (count <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return !stopped_;
  }

  /// Until the other end, or the test, has gone.
  void saySilence() const {
    pollfd gone{socket_.get(), POLLRDHUP, 0};
    while (!stopped_ && (poll(&gone, 1, 5) == 0 || (gone.revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0)) continue;
  }

  const int number;

 private:
  const FileDescriptor socket_;
  const std::atomic<bool>& stopped_;
};

/// Runs `script` with one connection after the other.
class Host {
 public:
  explicit Host(std::function<void(const Connection&)> script)
      : script_(std::move(script)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), size);
    listen(listener_.get(), 16);
    getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    port_ = std::to_string(ntohs(address.sin_port));
    thread_ = std::thread([this] { serve(); });
  }
  ~Host() {
    stopped_ = true;
    thread_.join();
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  const std::string& port() const { return port_; }

 private:
  void serve() {
    for (int number = 0; !stopped_;) {
      pollfd ready{listener_.get(), POLLIN, 0};
      if (poll(&ready, 1, 5) <= 0) continue;
      FileDescriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!socket) continue;
      const timeval soon{0, 100000};
      setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &soon, sizeof soon);
      script_(Connection(std::move(socket), stopped_, ++number));
    }
  }

  const std::function<void(const Connection&)> script_;
  const FileDescriptor listener_;
  std::string port_;
  std::atomic<bool> stopped_ = false;
  std::thread thread_;
};

struct FixListener final : MarluneLocationManagerDelegate {
  void currentLocationUpdate(const Value& given) override { fix.set_value(given); }
  std::promise<Value> fix;
};

/// One search on a host's port, as long as it lives.
class Search {
 public:
  explicit Search(const Host& host, std::int64_t timeout = 3600) : location_({"127.0.0.1", host.port()}, nullptr) {
    manager_ = location_.makeManager();
    manager_->setLocationManagerDelegate(listener_);
    manager_->initLocationServices(false, 50, timeout);
  }

  bool findsAFix() { return found_.wait_for(patience) == std::future_status::ready; }
  bool hasFound() { return found_.wait_for(0s) == std::future_status::ready; }

  /// Ends what runs, as the end of an environment does. How long that took.
  std::chrono::steady_clock::duration stop() {
    const auto begin = std::chrono::steady_clock::now();
    location_.stop();
    return std::chrono::steady_clock::now() - begin;
  }

 private:
  const std::shared_ptr<FixListener> listener_ = std::make_shared<FixListener>();
  std::future<Value> found_ = listener_->fix.get_future();
  GpsdLocation location_;
  std::shared_ptr<MarluneLocationManager> manager_;
};

/// Two reports of a receiver that goes on.
const std::string position =
    R"({"class":"TPV","device":"/dev/a","mode":3,"time":"2026-01-01T12:00:00Z","lat":1.5,"lon":2.5,"eph":9.0})"
    "\n"
    R"({"class":"TPV","device":"/dev/a","mode":3,"time":"2026-01-01T12:00:01Z","lat":1.5,"lon":2.5,"eph":9.0})"
    "\n";

TEST(HostileGpsd, GarbageIsPassedOver) {
  const Host host([](const Connection& connection) {
    std::minstd_rand random(20260921);
    std::string noise(30000, '\0');
    for (char& byte : noise) byte = static_cast<char>(random());
    connection.say(noise + "\n\n\r\n{}\n[]\n" + std::string(20000, '{') + "\n");
    connection.say(R"({"class":"TPV","device":")" + std::string(30000, 'x') + "\"}\n");
    connection.say(R"({"class":"TPV","mode":"three","time":12,"lat":{},"lon":[],"eph":null})"
                   "\n");
    connection.say(R"({"class":"TPV","mode":3,"time":"tomorrow","lat":1.5,"lon":2.5,"eph":9.0})"
                   "\n");
    connection.say(position);
    connection.saySilence();
  });
  EXPECT_TRUE(Search(host).findsAFix());
}

TEST(HostileGpsd, ALineWithoutEndCostsItsConnectionAlone) {
  const Host host([](const Connection& connection) {
    if (connection.number > 1) {
      connection.say(position);
      connection.saySilence();
    }
    while (connection.number == 1 && connection.say(std::string(4096, '{'))) continue;
  });
  EXPECT_TRUE(Search(host).findsAFix());
}

TEST(HostileGpsd, AReportMayComeByteByByte) {
  const Host host([](const Connection& connection) {
    for (const char byte : position) connection.say({&byte, 1});
    connection.saySilence();
  });
  EXPECT_TRUE(Search(host).findsAFix());
}

TEST(HostileGpsd, OneThatClosesEveryConnectionIsAskedOnceASecondUntilTheTimeIsOver) {
  std::atomic<int> connections = 0;
  const Host host([&](const Connection&) { ++connections; });
  Search search(host, 2);
  std::this_thread::sleep_for(3s);  // in which a search that does not end, or does not pause, is seen
  const int asked = connections;
  EXPECT_GE(asked, 2);
  EXPECT_LE(asked, 3);
  EXPECT_FALSE(search.hasFound());
  EXPECT_LT(search.stop(), promptly);
}

TEST(HostileGpsd, OneThatIsSilentHoldsUpNoEnd) {
  std::promise<void> connected;
  const Host host([&](const Connection& connection) {
    if (connection.number == 1) connected.set_value();
    connection.saySilence();
  });
  Search search(host);
  ASSERT_EQ(connected.get_future().wait_for(patience), std::future_status::ready);
  EXPECT_LT(search.stop(), promptly);
  EXPECT_FALSE(search.hasFound());
}

TEST(HostileGpsd, OneThatNeverPausesHoldsUpNoEnd) {
  std::promise<void> connected;
  const Host host([&](const Connection& connection) {
    connection.say("\n");
    if (connection.number == 1) connected.set_value();
    while (connection.say("{\"class\":\"TPV\"}\n\n\n\n\n\n\n\n")) continue;
  });
  Search search(host);
  ASSERT_EQ(connected.get_future().wait_for(patience), std::future_status::ready);
  EXPECT_LT(search.stop(), promptly);
}

TEST(HostileGpsd, ASearchCanBeEndedAtAnyMoment) {
  const Host host([](const Connection& connection) { connection.saySilence(); });
  std::minstd_rand random(20260921);
  for (int round = 0; round < 200; ++round) {
    Search search(host);
    const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 400);
    while (std::chrono::steady_clock::now() < moment) continue;
    ASSERT_LT(search.stop(), promptly) << "round " << round;
  }
}

}  // namespace
}  // namespace fliprugair
