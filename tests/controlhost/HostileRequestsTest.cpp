// What costs an error reply, and nothing else.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <deque>
#include <thread>

#include "Fliprugair/ControlHost.h"
#include "controlhost/HttpClient.h"
#include "controlhost/Socket.h"
#include "tools/controlhost/HttpHeaders.h"

namespace fliprugair::controlhost {

namespace {

using test::Socket;

class HostileRequests : public testing::Test {
 protected:
  ~HostileRequests() override {
    EXPECT_EQ(test::post(host_.port(), Value{{"action", "init"}}).status, 200) << "the host serves no more";
  }

  std::string replyTo(const std::string& bytes) {
    const Socket socket(host_.port());
    socket.send(bytes);
    return socket.reply();
  }

  /// What a tracker's request with these headers and whatever follows them is answered.
  std::string replyToPost(const std::string& headers, const std::string& rest = "") {
    return replyTo("POST /marlune/v4 HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n" + rest);
  }

  /// How often something was refused with this status.
  std::int64_t refused(int status) {
    const Array counts = test::httpGet(host_.port(), "/health").json().dictionary()["refused"].array();
    for (const Value& one : counts) {
      if (one.dictionary()["status"] == Value(status)) return one.dictionary()["count"].integerValue();
    }
    return 0;
  }

  ControlHost host_;
};

const std::string json = R"({"action":"init"})";

TEST_F(HostileRequests, ALengthThatCannotBeOneIsRefused) {
  const std::pair<const char*, const char*> rows[] = {
      {"Content-Length: x\r\n", "400 Bad Request"},
      {"Content-Length: -5\r\n", "400 Bad Request"},
      {"Content-Length: +5\r\n", "400 Bad Request"},
      {"Content-Length: 0x11\r\n", "400 Bad Request"},
      {"Content-Length: 17, 17\r\n", "400 Bad Request"},
      {"Content-Length: \r\n", "400 Bad Request"},
      {"Content-Length: 17\r\nContent-Length: 18\r\n", "400 Bad Request"},
      {"Content-Length: 17\r\nTransfer-Encoding: chunked\r\n", "400 Bad Request"},
      {"Content-Length : 17\r\n", "400 Bad Request"},
      {"Content-Length: 17\r\n folded: too\r\n", "400 Bad Request"},
      {"Content-Length: 17\nX: y\r\n", "400 Bad Request"},
      {"Transfer-Encoding: gzip, chunked\r\n", "501 Not Implemented"},
      {"Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", "501 Not Implemented"},
      {"Content-Length: 99999999999999999999999999\r\n", "413 Payload Too Large"},
  };
  for (const auto& [headers, status] : rows) {
    const Socket socket(host_.port());
    socket.send("POST /marlune/v4 HTTP/1.1\r\n" + std::string(headers) + "\r\n");
    socket.sendNoMore();
    const std::string reply = socket.reply();
    EXPECT_EQ(reply.substr(0, reply.find("\r\n")), "HTTP/1.1 " + std::string(status)) << headers;
    EXPECT_NE(reply.find("Connection: close\r\n"), std::string::npos) << reply;
    EXPECT_NE(reply.find("\"hint\""), std::string::npos) << reply;
  }
}

TEST_F(HostileRequests, ALengthThatIsTooLargeIsRefusedBeforeTheBodyComes) {
  EXPECT_EQ(replyToPost("Content-Length: 16777217\r\n").rfind("HTTP/1.1 413 Payload Too Large\r\n", 0), 0u);
}

TEST_F(HostileRequests, LongBodiesThatStallLeaveRoomForShortOnesAndAreTooManyAtSomeNumber) {
  const std::string most(std::size_t{15} * 1024 * 1024, ' ');
  std::deque<Socket> stalled;
  for (int number = 0; number < 5; ++number) {
    stalled.emplace_back(host_.port()).send("POST /marlune/v4 HTTP/1.1\r\nHost: x\r\nContent-Length: 16000000\r\n\r\n");
    stalled.back().send(most);
  }
  while (host_.requests().empty()) std::this_thread::yield();
  EXPECT_EQ(test::post(host_.port(), Value{{"action", "init"}}).status, 200);
  const ReceivedRequest first = host_.requests().at(0);
  EXPECT_EQ(first.status, 503);
  EXPECT_EQ(first.findings.at(0).text,
            "There is no room for this body: too many long ones come at once. Send it again in a moment.");
}

TEST_F(HostileRequests, ALengthThatIsSaidTwiceAlikeIsTaken) {
  const std::string reply = replyToPost("Connection: close\r\nContent-Length: 17\r\nContent-Length: 17\r\n", json);
  EXPECT_EQ(reply.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << reply;
}

TEST_F(HostileRequests, WhatIsRefusedStandsInTheListWithWhatCameOfIt) {
  replyToPost("Content-Length: 99999999\r\nX: y\r\n", json);
  const std::vector<ReceivedRequest> requests = host_.requests();
  ASSERT_EQ(requests.size(), 1u);
  const ReceivedRequest& request = requests[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/marlune/v4");
  EXPECT_EQ(headerOf(request.headers, "X"), "y");
  EXPECT_EQ(request.bytes, json);
  EXPECT_EQ(request.action, "");
  EXPECT_EQ(request.records, 0);
  EXPECT_EQ(request.status, 413);
  EXPECT_NE(request.reply.find("\"The body is too large.\""), std::string::npos);
  ASSERT_EQ(request.findings.size(), 1u);
  EXPECT_EQ(request.findings[0].text, "The body is too large. Send at most 16 MiB.");
  EXPECT_EQ(refused(413), 1);
}

TEST_F(HostileRequests, WhatIsRefusedIsNoRecordThatAnyoneWaitsFor) {
  replyToPost("Content-Encoding: br\r\nConnection: close\r\nContent-Length: 17\r\n", json);
  EXPECT_FALSE(host_.waitFor("action:init", 1, std::chrono::milliseconds(0)).matched);
  EXPECT_EQ(host_.requests().size(), 1u);
}

TEST_F(HostileRequests, ABodyThatEndsTooEarlyIsKeptAsFarAsItCame) {
  const Socket socket(host_.port());
  socket.send("POST /marlune/v4 HTTP/1.1\r\nContent-Length: 100\r\n\r\n" + json);
  socket.sendNoMore();
  EXPECT_EQ(socket.reply().rfind("HTTP/1.1 400 ", 0), 0u);
  ASSERT_EQ(host_.requests().size(), 1u);
  EXPECT_EQ(host_.requests()[0].bytes, json);
  EXPECT_EQ(host_.findings()[0].text.rfind("The connection ended before the body did.", 0), 0u);
}

TEST_F(HostileRequests, ChunksThatCannotBeReadAreRefusedAndKept) {
  const std::string reply = replyToPost("Transfer-Encoding: chunked\r\n", "zzz\r\n" + json);
  EXPECT_EQ(reply.rfind("HTTP/1.1 400 ", 0), 0u) << reply;
  ASSERT_EQ(host_.requests().size(), 1u);
  EXPECT_EQ(host_.findings()[0].text.rfind("The chunks of the body cannot be read.", 0), 0u);
}

TEST_F(HostileRequests, ChunksWithoutEndAreRefused) {
  const Socket socket(host_.port());
  socket.send("POST /marlune/v4 HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n");
  const std::string chunk = "100000\r\n" + std::string(std::size_t{1} << 20U, ' ') + "\r\n";
  for (int number = 0; number < 20; ++number) socket.send(chunk);
  socket.sendNoMore();
  EXPECT_EQ(socket.reply().rfind("HTTP/1.1 413 ", 0), 0u);
}

TEST_F(HostileRequests, AHeadThatCannotBeReadIsCounted) {
  replyTo("nonsense\r\n\r\n");
  replyTo("GET / HTTP/3\r\n\r\n");
  EXPECT_TRUE(host_.requests().empty());
  EXPECT_EQ(refused(400), 2);
}

TEST_F(HostileRequests, AMethodThatNobodyKnowsStandsInTheList) {
  replyTo("BREW /marlune/v4 HTTP/1.1\r\nX: y\r\nConnection: close\r\n\r\n");
  ASSERT_EQ(host_.requests().size(), 1u);
  EXPECT_EQ(host_.requests()[0].method, "BREW");
  EXPECT_EQ(headerOf(host_.requests()[0].headers, "X"), "y");
  EXPECT_EQ(host_.findings()[0].text, "The method BREW is not known. Use POST.");
}

TEST_F(HostileRequests, AHeaderThatIsTooLargeIsRefused) {
  const std::string reply = replyToPost("X: " + std::string(10000, 'x') + "\r\n");
  EXPECT_EQ(reply.rfind("HTTP/1.1 431 Request Header Fields Too Large\r\n", 0), 0u) << reply;
  EXPECT_EQ(host_.requests().size(), 1u);
}

TEST_F(HostileRequests, TheBodyOfAGetIsNotTakenForTheNextRequest) {
  const std::string hidden = "POST /marlune/v4 HTTP/1.1\r\nContent-Length: 17\r\n\r\n" + json;
  const std::string reply = replyTo("GET /health HTTP/1.1\r\nHost: " + host_.hostname() +
                                    "\r\nContent-Length: " + std::to_string(hidden.size()) + "\r\n\r\n" + hidden);
  EXPECT_EQ(reply.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << reply;
  EXPECT_EQ(reply.find("HTTP/1.1", 1), std::string::npos) << reply;
  EXPECT_TRUE(host_.requests().empty());
}

TEST_F(HostileRequests, ARangeDoesNotCutTheReply) {
  const std::string reply = replyToPost("Connection: close\r\nRange: bytes=0-1\r\nContent-Length: 17\r\n", json);
  EXPECT_TRUE(reply.ends_with(host_.requests().back().reply)) << reply;
}

TEST_F(HostileRequests, HeadersWithoutEndAreRefused) {
  std::string request = "GET / HTTP/1.1\r\n";
  for (int number = 0; number < 2000; ++number)
    request += "X-" + std::to_string(number) + ": " + std::string(50, 'x') + "\r\n";
  const std::string reply = replyTo(request);
  EXPECT_EQ(reply.rfind("HTTP/1.1 431 ", 0), 0u) << reply;
  EXPECT_NE(reply.find("\"hint\""), std::string::npos);
  EXPECT_EQ(refused(431), 1);
}

TEST_F(HostileRequests, AnAddressWithoutEndIsRefused) {
  const std::string reply =
      replyTo("GET /" + std::string(20000, 'x') + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(reply.rfind("HTTP/1.1 414 ", 0), 0u) << reply.substr(0, 200);
}

TEST_F(HostileRequests, ABodyThatIsTooLargeIsRefused) {
  const std::string body(std::size_t{17} * 1024 * 1024, ' ');
  EXPECT_EQ(test::httpPost(host_.port(), "/marlune/v4", body).status, 413);
}

TEST_F(HostileRequests, WhatIsNoHTTPIsRefused) {
  EXPECT_EQ(replyTo("nonsense\r\n\r\n").rfind("HTTP/1.1 400 ", 0), 0u);
  EXPECT_EQ(replyTo("BREW / HTTP/1.1\r\nConnection: close\r\n\r\n").rfind("HTTP/1.1 400 ", 0), 0u);
}

TEST_F(HostileRequests, DeepJSONIsRefused) {
  const std::string deep = R"({"action":"event","data":)" + std::string(10000, '[') + std::string(10000, ']') + '}';
  EXPECT_EQ(test::httpPost(host_.port(), "/marlune/v4", deep).status, 400);
}

TEST_F(HostileRequests, MoreValuesThanAnyTrackerSendsAreRefusedAndKept) {
  std::string body = "[{}";
  for (int number = 0; number < 30000; ++number) body += ",{}";
  EXPECT_EQ(test::httpPost(host_.port(), "/marlune/v4", body + ']').status, 413);
  ASSERT_EQ(host_.requests().size(), 1u);
  EXPECT_EQ(host_.requests()[0].bytes, body + ']');
  EXPECT_TRUE(host_.requests()[0].names.empty());
  EXPECT_EQ(host_.findings()[0].text,
            "The body holds more than 20,000 values. Send fewer records at once: a batch has up to 25.");
}

TEST_F(HostileRequests, TheFindingsOfOneRequestHaveAnEnd) {
  std::string body = R"({"action":"event","data":{"first":1)";
  for (int number = 0; number < 3000; ++number) body += ",\"k" + std::to_string(number) + "\":1";
  EXPECT_EQ(test::httpPost(host_.port(), "/marlune/v4", body + "}}").status, 200);
  const std::vector<Finding> findings = host_.findings();
  ASSERT_EQ(findings.size(), 501u);
  EXPECT_EQ(findings.back().text, "More is wrong than these 500 findings say. Mend them first.");
}

TEST_F(HostileRequests, StallingConnectionsLeaveOthersTheirReplyUntilThereAreTooMany) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  std::vector<std::unique_ptr<Socket>> idle;
  for (int number = 0; number < 400; ++number) {
    idle.push_back(std::make_unique<Socket>(host_.port()));
    ASSERT_TRUE(idle.back()->isConnected());
    idle.back()->send("POST /marlune/v4 HTTP/1.1\r\nContent-Length: 100\r\n\r\n{");
  }
  EXPECT_EQ(test::post(host_.port(), Value{{"action", "init"}}).status, 200);
  for (int number = 400; number < 1000; ++number) idle.push_back(std::make_unique<Socket>(host_.port()));
  const Socket one(host_.port());
  EXPECT_EQ(one.reply().rfind("HTTP/1.1 503 ", 0), 0u);
  idle.clear();
  // Until the threads have seen that their connections are gone, the host says that there are too many.
  while (test::post(host_.port(), Value{{"action", "init"}}).status == 503) {
  }
}

TEST_F(HostileRequests, APostThatNamesNoLengthHasNoBody) {
  const std::string reply =
      replyTo("POST /api/clear HTTP/1.1\r\nHost: " + host_.hostname() + "\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(reply.rfind("HTTP/1.1 200 ", 0), 0u) << reply;
}

}  // namespace

}  // namespace fliprugair::controlhost
