// A host that says that it takes gzip gets it; every other one gets JSON as it is.

#include <zlib.h>

#include <optional>

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"
#include "platform/curl/Gzip.h"

namespace fliprugair::test {

namespace {

TEST(GzippedText, IsShorterAndReadsTheSame) {
  std::string text;
  for (int number = 0; number < 200; ++number)
    text += "{\"action\":\"event\",\"number\":" + std::to_string(number) + "}";
  const auto bytes = gzipped(text);
  ASSERT_TRUE(bytes);
  EXPECT_LT(bytes->size(), text.size() / 4);
  std::string read(text.size() + 1, '\0');
  z_stream stream{};
  ASSERT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes->data()));
  stream.avail_in = static_cast<uInt>(bytes->size());
  stream.next_out = reinterpret_cast<Bytef*>(read.data());
  stream.avail_out = static_cast<uInt>(read.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0U);
  read.resize(stream.total_out);
  inflateEnd(&stream);
  EXPECT_EQ(read, text);
}

TEST(GzippedText, IsNotMadeOfWhatWouldBecomeNoShorter) {
  EXPECT_FALSE(gzipped(""));
  EXPECT_FALSE(gzipped("{}"));
}

TEST(AcceptEncoding, NamesGzipAmongOthersInAnyCaseWithAnyWeightAboveZero) {
  for (const char* line : {"Accept-Encoding: gzip\r\n", "accept-encoding:GZip", "ACCEPT-ENCODING: br, gzip , identity",
                           "Accept-Encoding: gzip;q=0.5", "Accept-Encoding: identity;q=0, gzip; level=9; q=1.000"}) {
    EXPECT_EQ(takesGzip(line), std::optional(true)) << line;
  }
}

TEST(AcceptEncoding, WithoutGzipOrWithItsWeightAtZeroRefusesIt) {
  for (const char* line :
       {"Accept-Encoding: identity", "Accept-Encoding:", "Accept-Encoding: gzip;q=0",
        "Accept-Encoding: br, gzip; Q=0.000", "Accept-Encoding: gzip; q=0 ; level=9", "Accept-Encoding: gzipped"}) {
    EXPECT_EQ(takesGzip(line), std::optional(false)) << line;
  }
}

TEST(AcceptEncoding, IsNoOtherHeader) {
  for (const char* line :
       {"Content-Encoding: gzip", "HTTP/1.1 200 OK", "", "Accept: gzip", "X-Accept-Encoding: gzip"}) {
    EXPECT_EQ(takesGzip(line), std::nullopt) << line;
  }
}

class Gzip : public NetworkTest {
 protected:
  /// Long enough to become shorter.
  static Value batch() {
    Array records;
    for (int number = 0; number < 25; ++number)
      records = records.appending(Value{{"action", "event"}, {"data", number}});
    return records;
  }

  /// Sends a batch and waits for its end; what arrived of it.
  std::vector<TestServer::Request> sendBatch(TestServer& server) {
    const std::size_t ended = application_.ended.items().size();
    const std::size_t arrived = server.requests.items().size();
    send(server.hostname(), batch());
    application_.ended.wait(ended + 1);
    const auto requests = server.requests.items();
    return {requests.begin() + static_cast<std::ptrdiff_t>(arrived), requests.end()};
  }

  static std::string codingOf(const std::vector<TestServer::Request>& requests) {
    return requests.size() == 1 ? requests[0].contentEncoding : std::to_string(requests.size()) + " requests";
  }

  static TestServer::Reply takingGzip(const TestServer::Request& /*request*/) {
    TestServer::Reply reply;
    reply.acceptEncoding = "gzip";
    return reply;
  }

  const std::string text_ = json_.textOfAny(batch());
};

TEST_F(Gzip, IsSentFromTheSecondRequestOnToAHostThatTakesIt) {
  TestServer server(takingGzip);
  const Running running = start();
  EXPECT_EQ(codingOf(sendBatch(server)), "");
  const auto second = sendBatch(server);
  ASSERT_EQ(codingOf(second), "gzip");
  EXPECT_EQ(second[0].body, text_);
  EXPECT_EQ(second[0].contentType, "application/json; charset=utf-8");
  EXPECT_LT(second[0].length, text_.size() / 2);
}

TEST_F(Gzip, IsNotSentToAHostThatSaysNothing) {
  TestServer server;
  const Running running = start();
  for (int count = 0; count < 2; ++count) EXPECT_EQ(codingOf(sendBatch(server)), "");
}

TEST_F(Gzip, IsSentToTheHostThatTakesItAlone) {
  TestServer taking(takingGzip);
  TestServer other;
  const Running running = start();
  sendBatch(taking);
  EXPECT_EQ(codingOf(sendBatch(other)), "");
}

TEST_F(Gzip, EndsWhenTheHostNoLongerTakesIt) {
  std::vector<std::string> words = {"gzip", "", "identity", "gzip", ""};
  TestServer server([&](const TestServer::Request&) {
    TestServer::Reply reply;
    reply.acceptEncoding = words.front();
    words.erase(words.begin());
    return reply;
  });
  const Running running = start();
  std::vector<std::string> codings;
  for (int count = 0; count < 5; ++count) codings.push_back(codingOf(sendBatch(server)));
  EXPECT_EQ(codings, (std::vector<std::string>{"", "gzip", "gzip", "", "gzip"}));
}

TEST_F(Gzip, IsNotToBlameWhenAHostCannotReadJSONEither) {
  TestServer server([](const TestServer::Request&) {
    TestServer::Reply reply;
    reply.status = 415;
    return reply;
  });
  const Running running = start();
  EXPECT_EQ(codingOf(sendBatch(server)), "");
  expectLogged("failed, HTTP status 415");
}

TEST_F(Gzip, ThatAHostCannotReadAfterAllIsSentAgainAtOnceAsJSONAndNeverTried) {
  TestServer server([](const TestServer::Request& request) {
    TestServer::Reply reply;
    reply.status = request.contentEncoding == "gzip" ? 415 : 200;
    reply.acceptEncoding = "gzip";
    return reply;
  });
  const Running running = start();
  sendBatch(server);
  const auto twice = sendBatch(server);
  ASSERT_EQ(twice.size(), 2U);
  EXPECT_EQ(twice[0].contentEncoding, "gzip");
  EXPECT_EQ(twice[1].contentEncoding, "");
  EXPECT_EQ(twice[1].body, text_);
  expectLogged("accepted, HTTP status 200");
  EXPECT_EQ(codingOf(sendBatch(server)), "");
}

TEST_F(Gzip, IsLeftOutWhereItWouldMakeARequestLonger) {
  TestServer server(takingGzip);
  const Running running = start();
  sendBatch(server);
  send(server.hostname(), Value{{"action", "update"}});
  application_.ended.wait(2);
  EXPECT_EQ(server.requests.items().at(1).contentEncoding, "");
}

}  // namespace

}  // namespace fliprugair::test
