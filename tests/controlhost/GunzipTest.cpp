#include <gtest/gtest.h>
#include <httplib.h>
#include <zlib.h>

#include <fstream>
#include <iterator>

#include "controlhost/HttpClient.h"
#include "support/TemporaryFolder.h"
#include "tools/controlhost/ControlHost.h"
#include "tools/controlhost/Gunzip.h"

namespace fliprugair::controlhost {

namespace {

const std::string batch =
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

TEST(Gunzip, GivesWhatWasCompressed) { EXPECT_EQ(gunzipped(gzipped(batch + batch), 1000), batch + batch); }

TEST(Gunzip, GivesNothingOfWhatIsCutOffOrFollowedOrNoGzip) {
  const std::string bytes = gzipped(batch + batch);
  EXPECT_FALSE(gunzipped(bytes.substr(0, bytes.size() - 1), 1000));
  EXPECT_FALSE(gunzipped(bytes + "x", 1000));
  EXPECT_FALSE(gunzipped(batch, 1000));
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

TEST_F(CompressedRequests, AreReadAndKeptAsWhatWasCompressed) {
  ASSERT_EQ(send(gzipped(batch + std::string(100, ' ')), "gzip")->status, 200);
  const std::vector<ReceivedRequest> requests = host_.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].bytes, batch + std::string(100, ' '));
  EXPECT_EQ(requests[0].names, (std::vector<std::string>{"event \"one\"", "event \"two\""}));
  EXPECT_EQ(headerOf(requests[0].headers, "Content-Encoding"), "gzip");
}

TEST_F(CompressedRequests, AreAskedForWithEveryReply) {
  const auto reply = send(batch, "identity");
  EXPECT_EQ(reply->status, 200);
  EXPECT_EQ(reply->get_header_value("Accept-Encoding"), "gzip");
}

TEST_F(CompressedRequests, InAnotherFormatAreRefusedWithWhatIsTaken) {
  for (const char* coding : {"br", "deflate", "gzip, gzip"}) {
    const auto reply = send(batch, coding);
    EXPECT_EQ(reply->status, 415) << coding;
    EXPECT_EQ(reply->get_header_value("Accept-Encoding"), "gzip");
    EXPECT_NE(reply->body.find("gzip"), std::string::npos) << reply->body;
  }
}

TEST_F(CompressedRequests, ThatAreBrokenOrTooLargeAreRefused) {
  EXPECT_EQ(send(batch, "gzip")->status, 400);
  EXPECT_EQ(send(gzipped(std::string(17 * 1024 * 1024, ' ')), "gzip")->status, 413);
  EXPECT_TRUE(host_.requests().empty());
}

}  // namespace

}  // namespace fliprugair::controlhost
