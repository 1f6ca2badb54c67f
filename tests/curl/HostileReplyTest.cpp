// Replies that no well-behaved host gives. The status decides, and nothing takes more time or memory than it may.

#include "curl/NetworkTest.h"
#include "curl/RawServer.h"

namespace fliprugair::test {

namespace {

const std::string json = R"({"success":1})";
const std::string accepted = "HTTP/1.1 200 OK\r\n";

class HostileReply : public NetworkTest {
 protected:
  /// Sends a queued "init" that is answered with `bytes`, and waits for its end.
  void answer(const std::string& bytes, CurlNetworkOptions options = {}) {
    answerBy([&](RawConnection& connection) { connection.write(bytes); }, options);
  }

  void answerBy(const RawServer::Handler& say, CurlNetworkOptions options = {}) {
    RawServer server([&](RawConnection& connection) {
      if (!connection.readRequest().empty()) say(connection);
    });
    const Running running = start(options);
    sendQueued(server.hostname(), Value{{"action", "init"}});
  }

  void expectAcceptedWith(std::size_t replies) {
    expectAccepted();
    EXPECT_EQ(delegate_->calls.items().size(), replies);
  }

  static constexpr std::chrono::milliseconds shortTime{300};
};

TEST_F(HostileReply, OneByteShortIsAcceptedAndItsWholeJSONArrives) {
  answer(accepted + "Content-Length: " + std::to_string(json.size() + 1) + "\r\n\r\n" + json);
  expectAcceptedWith(1);
  expectLogged("accepted, HTTP status 200, reply cut off: ");
}

TEST_F(HostileReply, CutOffInsideItsJSONIsAcceptedInSilence) {
  answer(accepted + "Content-Length: " + std::to_string(json.size()) + "\r\n\r\n" + json.substr(0, 5));
  expectAcceptedWith(0);
}

TEST_F(HostileReply, ThatEndsBehindItsStatusIsAccepted) {
  answer(accepted + "\r\n");
  expectAcceptedWith(0);
}

TEST_F(HostileReply, ThatEndsInsideItsHeadersIsAccepted) {
  answer(accepted + "Content-Length: 13");
  expectAcceptedWith(0);
}

TEST_F(HostileReply, ThatNeverEndsIsCutOffAtOneMebibyte) {
  std::size_t written = 0;
  answerBy([&](RawConnection& connection) {
    connection.write(accepted + "\r\n" + json);
    const std::string blanks(65536, ' ');
    while (connection.write(blanks) && written < std::size_t{1} << 30) written += blanks.size();
  });
  expectAcceptedWith(0);
  expectLogged("reply over 1 MiB ignored");
  EXPECT_LT(written, std::size_t{64} << 20);
}

TEST_F(HostileReply, WhoseHeadersNeverEndIsCutOff) {
  std::size_t written = 0;
  answerBy([&](RawConnection& connection) {
    connection.write(accepted);
    const std::string header = "X-Fill: " + std::string(1000, 'x') + "\r\n";
    while (connection.write(header) && written < std::size_t{1} << 30) written += header.size();
  });
  expectAcceptedWith(0);
  EXPECT_LT(written, std::size_t{64} << 20);
}

TEST_F(HostileReply, OfEndlessInterimStatusesIsAFailure) {
  answerBy([&](RawConnection& connection) {
    while (connection.write("HTTP/1.1 102 Processing\r\n\r\n")) continue;
  });
  expectStillQueued();
}

TEST_F(HostileReply, ThatStopsInTheMiddleIsCutOffWhenItsTimeIsOver) {
  answerBy(
      [&](RawConnection& connection) {
        connection.write(accepted + "Content-Length: 100\r\n\r\n" + json);
        connection.waitForClose();
      },
      {.timeout = shortTime});
  expectAcceptedWith(1);
}

TEST_F(HostileReply, ByTheByteIsCutOffWhenItsTimeIsOver) {
  answerBy(
      [&](RawConnection& connection) {
        connection.write(accepted + "\r\n");
        while (connection.write(" "))
          std::this_thread::sleep_for(std::chrono::milliseconds(1));  // so slow is this host
      },
      {.timeout = shortTime});
  expectAcceptedWith(0);
}

TEST_F(HostileReply, WhoseStatusHasComeIsConfirmedWhileItsBodyIsStillComing) {
  Gate gate;
  Mailbox<int> durable;
  RawServer server([&](RawConnection& connection) {
    connection.readRequest();
    connection.write(accepted + "Content-Length: " + std::to_string(json.size()) + "\r\n\r\n");
    gate.pass();
    connection.write(json);
  });
  const Running running = start();
  store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
  send(server.hostname(), Value{{"action", "init"}}, "1.000000");
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (store_.synchronizations == 0 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  EXPECT_EQ(store_.objectForKey(networkQueue), Value(Dictionary()));
  EXPECT_EQ(store_.objectForKey(eventsSending), Value({{"1.000000", true}})) << "it has not ended";
  EXPECT_TRUE(delegate_->calls.items().empty());
  gate.open();
  application_.ended.wait(1);
  expectAcceptedWith(1);
}

TEST_F(HostileReply, ThatHasComeWhenTheNetworkStopsCounts) {
  const auto delegate = std::make_shared<BusyDelegate>();
  delegate_ = delegate;
  Gate second;
  Mailbox<bool> answered;
  RawServer server([&](RawConnection& connection) {
    const bool isFirst = connection.readRequest().find("init") != std::string::npos;
    if (!isFirst) second.pass();
    connection.write(accepted + "Content-Length: 13\r\n\r\n" + json);
    answered.put(isFirst);
    connection.waitForClose();
  });
  const Running running = start();
  store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
  send(server.hostname(), Value{{"action", "update"}}, "1.000000");
  send(server.hostname(), Value{{"action", "init"}});
  delegate->calls.wait(1);  // and the network's thread waits with it
  second.open();
  answered.wait(2);
  std::thread stopping([&] { network_->stop(); });
  while (network_->makeAccess()->sendHTTPRequestWithHostname("127.0.0.1:1", Value{{"action", "event"}})) {
    std::this_thread::yield();
  }
  delegate->gate.open();
  stopping.join();
  expectAccepted();
}

TEST_F(HostileReply, WithGarbageForChunksIsAccepted) {
  answer(accepted + "Transfer-Encoding: chunked\r\n\r\nzz\r\n" + json);
  expectAcceptedWith(0);
}

TEST_F(HostileReply, WhoseChunksEndEarlyIsAcceptedWithWhatIsThere) {
  answer(accepted + "Transfer-Encoding: chunked\r\n\r\nd\r\n" + json + "\r\n");
  expectAcceptedWith(1);
}

TEST_F(HostileReply, WithAChunkOfAnAbsurdSizeIsAccepted) {
  answer(accepted + "Transfer-Encoding: chunked\r\n\r\nffffffffffffffff\r\n" + json);
  expectAccepted();
}

TEST_F(HostileReply, WithAnAbsurdLengthIsAccepted) {
  for (const char* length : {"-1", "99999999999999999999999999", "0x10", "12, 13", "thirteen"}) {
    network_.reset();
    const std::size_t before = application_.ended.items().size();
    RawServer server([&](RawConnection& connection) {
      connection.readRequest();
      connection.write(accepted + "Content-Length: " + length + "\r\n\r\n" + json);
    });
    const Running running = start();
    store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
    send(server.hostname(), Value{{"action", "update"}}, "1.000000");
    application_.ended.wait(before + 1);
    expectAccepted();
  }
}

TEST_F(HostileReply, ThatIsCompressedIsNotUnpacked) {
  // A hundred bytes that an obliging reader would make a hundred kilobytes of; nobody asked for them.
  answer(accepted + "Content-Encoding: gzip\r\nContent-Length: 13\r\n\r\n" + json);
  expectAcceptedWith(1);
}

TEST_F(HostileReply, DeepAndLongReachesNobody) {
  const std::string deep = R"({"deep":)" + std::string(500'000, '[') + std::string(500'000, ']') + "}";
  answer(accepted + "Content-Length: " + std::to_string(deep.size()) + "\r\n\r\n" + deep);
  expectAcceptedWith(0);
}

TEST_F(HostileReply, ThatIsNotHTTPIsAFailure) {
  for (const char* bytes :
       {"", "hello\r\n", "HTTP/0.9 200 OK\r\n\r\n", "HTTP/1.1 OK\r\n\r\n", "\0\0\0\0", "SSH-2.0-x\r\n"}) {
    network_.reset();
    const std::size_t before = application_.ended.items().size();
    RawServer server([&](RawConnection& connection) {
      connection.readRequest();
      connection.write(bytes);
    });
    const Running running = start();
    store_.setObject(Value{{"1.000000", "entry"}}, networkQueue);
    send(server.hostname(), Value{{"action", "update"}}, "1.000000");
    application_.ended.wait(before + 1);
    expectStillQueued();
  }
}

}  // namespace

}  // namespace fliprugair::test
