#include <gtest/gtest.h>

#include <mutex>

#include "controlhost/Socket.h"
#include "support/Eventually.h"
#include "tools/controlhost/HttpServer.h"

namespace fliprugair::controlhost {

namespace {

/// What a server hands to whoever asks, and whether it still has it.
class Endless {
 public:
  HttpServer::Handler handler() {
    return [this](const HttpRequest&) {
      HttpReply reply{200, "text/plain"};
      const auto used = std::make_shared<int>();
      const std::lock_guard lock(mutex_);
      used_ = used;
      reply.next = [used]() -> std::optional<std::string> {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));  // as a source that waits; else the server spins
        return (*used)++ == 0 ? "begun" : "";
      };
      return reply;
    };
  }
  bool isUsed() const {
    const std::lock_guard lock(mutex_);
    return !used_.expired();
  }

 private:
  mutable std::mutex mutex_;  ///< around the rest
  std::weak_ptr<int> used_;
};

TEST(HttpServer, AReplyWithoutEndEndsWhenItsReaderHasGone) {
  for (const std::string behind : {"", "and something that nobody reads"}) {
    Endless endless;
    HttpServer server("127.0.0.1", 0, endless.handler(), [](const HttpProblem&) { return std::string(); });
    {
      const test::Socket reader(server.port());
      reader.send("GET / HTTP/1.1\r\nHost: x\r\n\r\n" + behind);
      EXPECT_NE(reader.replyUntil("begun"), "");
      EXPECT_TRUE(endless.isUsed());
    }
    EXPECT_TRUE(eventually([&] { return !endless.isUsed(); })) << behind;
  }
}

}  // namespace

}  // namespace fliprugair::controlhost
