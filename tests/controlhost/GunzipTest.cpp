#include <gtest/gtest.h>
#include <httplib.h>
#include <zlib.h>

#include <fstream>
#include <iterator>

#include "Fliprugair/ControlHost.h"
#include "Fliprugair/platform/Text.h"
#include "controlhost/HttpClient.h"
#include "support/TemporaryFolder.h"
#include "tools/controlhost/Gunzip.h"
#include "tools/controlhost/HttpHeaders.h"
#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

namespace {

const std::string twoEvents =
    R"([{"action":"event","data":{"event_name":"one"}},{"action":"event","data":{"event_name":"two"}}])";

std::string gzipped(const std::string& text) {
  const TemporaryFolder folder;
  const std::string path = folder / "text.gz";
  const gzFile file = gzopen(path.c_str(), "wb");
  EXPECT_EQ(gzwrite(file, text.data(), static_cast<unsigned>(text.size())), static_cast<int>(text.size()));
  EXPECT_EQ(gzclose(file), Z_OK);
  std::ifstream bytes(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(bytes), {}};
}

std::optional<std::string> gunzipped(const std::string& bytes, std::size_t longest) {
  return controlhost::gunzipped(bytes, longest, [](std::size_t) { return true; });
}

TEST(Gunzip, GivesNothingWhenThereIsNoRoom) {
  std::size_t room = 50;
  const auto hasRoom = [&](std::size_t bytes) { return bytes <= room; };
  const std::string bytes = gzipped(twoEvents);
  EXPECT_FALSE(controlhost::gunzipped(bytes, 1000, hasRoom));
  room = twoEvents.size();
  EXPECT_EQ(controlhost::gunzipped(bytes, 1000, hasRoom), twoEvents);
}

TEST(Gunzip, GivesWhatWasCompressed) {
  EXPECT_EQ(gunzipped(gzipped(twoEvents + twoEvents), 1000), twoEvents + twoEvents);
}

TEST(Gunzip, GivesWhatStandsInSeveralMembers) {
  EXPECT_EQ(gunzipped(gzipped("one ") + gzipped("") + gzipped("two"), 1000), "one two");
  EXPECT_EQ(gunzipped(gzipped("one ") + gzipped("two"), 5)->size(), 6U);
  EXPECT_FALSE(gunzipped(gzipped("one ") + gzipped("two").substr(0, 10), 1000));
}

TEST(Gunzip, GivesNothingOfWhatIsCutOffOrFollowedOrNoGzip) {
  const std::string bytes = gzipped(twoEvents + twoEvents);
  EXPECT_FALSE(gunzipped(bytes.substr(0, bytes.size() - 1), 1000));
  EXPECT_FALSE(gunzipped(bytes + "x", 1000));
  EXPECT_FALSE(gunzipped(twoEvents, 1000));
  EXPECT_FALSE(gunzipped("", 1000));
}

TEST(Gunzip, StopsOneByteBehindTheLongest) {
  const std::string bytes = gzipped(std::string(100000, 'x'));
  EXPECT_EQ(gunzipped(bytes, 100000)->size(), 100000U);
  EXPECT_EQ(gunzipped(bytes, 99999)->size(), 100000U);
  EXPECT_EQ(gunzipped(bytes, 500)->size(), 501U);
}

class CompressedRequests : public testing::Test {
 protected:
  httplib::Result send(const std::string& body, const std::string& coding) {
    return client_.Post("/marlune/v4", {{"Content-Encoding", coding}}, body, "application/json; charset=utf-8");
  }

  ControlHost host_;
  httplib::Client client_{"127.0.0.1", host_.port()};
};

TEST_F(CompressedRequests, AreReadAndKeptAsWhatWasCompressedAndAsTheyCame) {
  const std::string came = gzipped(twoEvents + std::string(100, ' '));
  ASSERT_EQ(send(came, "gzip")->status, 200);
  const std::vector<ReceivedRequest> requests = host_.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].bytes, twoEvents + std::string(100, ' '));
  EXPECT_EQ(requests[0].compressed, came);
  EXPECT_EQ(requests[0].names, (std::vector<std::string>{"event \"one\"", "event \"two\""}));
  EXPECT_EQ(headerOf(requests[0].headers, "Content-Encoding"), "gzip");
}

TEST_F(CompressedRequests, AreAskedForWithEveryReply) {
  const auto reply = send(twoEvents, "identity");
  EXPECT_EQ(reply->status, 200);
  EXPECT_EQ(reply->get_header_value("Accept-Encoding"), "gzip");
}

TEST_F(CompressedRequests, InAnotherFormatAreRefusedWithWhatIsTaken) {
  for (const char* coding : {"br", "deflate", "gzip, gzip"}) {
    const auto reply = send(twoEvents, coding);
    EXPECT_EQ(reply->status, 415) << coding;
    EXPECT_EQ(reply->get_header_value("Accept-Encoding"), "gzip");
    EXPECT_NE(reply->body.find("gzip"), std::string::npos) << reply->body;
  }
}

TEST_F(CompressedRequests, UnderTheOlderNameAreRead) {
  EXPECT_EQ(send(gzipped(twoEvents), "x-gzip")->status, 200);
  EXPECT_EQ(send(gzipped(twoEvents), "GZip")->status, 200);
}

TEST_F(CompressedRequests, AreExportedInBothForms) {
  const std::string came = gzipped(twoEvents);
  send(came, "gzip");
  const auto json = [&](const char* path) { return test::httpGet(host_.port(), path).json().dictionary(); };
  const Dictionary body = json("/api/export.ndjson")["body"].dictionary();
  EXPECT_EQ(body["text"], Value(twoEvents));
  EXPECT_EQ(body["compressed"], Value({{"bytes", std::int64_t(came.size())}, {"base64", base64Text(came)}}));
  const Dictionary entry = json("/api/export.har")["log"].dictionary()["entries"].array()[0].dictionary();
  const Dictionary request = entry["request"].dictionary();
  EXPECT_EQ(request["bodySize"], Value(std::int64_t(came.size())));
  EXPECT_EQ(request["postData"].dictionary()["text"], Value(twoEvents));
  EXPECT_EQ(request["postData"].dictionary()["_compressed"], Value(base64Text(came)));
}

TEST_F(CompressedRequests, ThatAreBrokenOrTooLargeAreRefusedAndKeptAsTheyCame) {
  const std::string bomb = gzipped(std::string(17 * 1024 * 1024, ' '));
  EXPECT_EQ(send(twoEvents, "gzip")->status, 400);
  EXPECT_EQ(send(bomb, "gzip")->status, 413);
  EXPECT_EQ(send(twoEvents, "br")->status, 415);
  const std::vector<ReceivedRequest> requests = host_.requests();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[0].bytes, twoEvents);
  EXPECT_EQ(requests[1].bytes, bomb);
  EXPECT_EQ(requests[2].bytes, twoEvents);
  const std::string texts[] = {
      "The body is not what its Content-Encoding says: it cannot be read as gzip. Send it compressed to its end, or "
      "without the header.",
      "The body is too large once it is decompressed. Send at most 16 MiB.",
      "The body is compressed in a way that this host cannot read. Use gzip, or nothing."};
  for (std::size_t index = 0; index < 3; ++index) {
    EXPECT_TRUE(requests[index].names.empty());
    ASSERT_EQ(requests[index].findings.size(), 1U);
    EXPECT_EQ(requests[index].findings[0].text, texts[index]);
    EXPECT_EQ(requests[index].findings[0].severity, Severity::error);
  }
}

}  // namespace

}  // namespace fliprugair::controlhost
