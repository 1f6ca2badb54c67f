#include <gtest/gtest.h>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Export.h"

namespace fliprugair::controlhost {

namespace {

ReceivedRequest named(const std::string& name) {
  ReceivedRequest request;
  request.bytes = name;
  return request;
}

std::vector<std::string> piecesOf(Export& pieces) {
  std::vector<std::string> all;
  for (auto piece = pieces.next(); piece; piece = pieces.next()) all.push_back(*piece);
  return all;
}

const ExportForm form{"begin ", [](const ReceivedRequest& request) { return request.bytes; }, ", ", " end"};

TEST(Export, NoPieceHoldsMoreThanOneRequest) {
  RequestLog log(10);
  for (const char* name : {"one", "two", "three"}) log.add(named(name));
  Export pieces(log, Match(""), form);
  EXPECT_EQ(piecesOf(pieces), (std::vector<std::string>{"begin ", "one", ", two", ", three", " end"}));
}

TEST(Export, OfNothingHasItsBeginAndItsEnd) {
  const RequestLog log(10);
  Export pieces(log, Match(""), form);
  EXPECT_EQ(piecesOf(pieces), (std::vector<std::string>{"begin ", " end"}));
}

TEST(Export, HoldsWhatMatches) {
  RequestLog log(10);
  for (const char* name : {"one", "two", "three"}) log.add(named(name));
  Export pieces(log, Match("t"), form);
  EXPECT_EQ(piecesOf(pieces), (std::vector<std::string>{"begin ", "two", ", three", " end"}));
}

TEST(Export, LeavesOutWhatComesAndWhatGoesMeanwhile) {
  RequestLog log(2);
  log.add(named("one"));
  log.add(named("two"));
  Export pieces(log, Match(""), form);
  log.add(named("three"));
  EXPECT_EQ(piecesOf(pieces), (std::vector<std::string>{"begin ", "two", " end"}));
}

TEST(Export, AsAnArchiveShowsAReplyAsFarAsItWentOutAndEachByteOfAHeader) {
  ReceivedRequest request;
  request.headers = {{"X-Odd", "\xE9"}};
  request.status = 200;
  request.isWhole = false;
  request.fault = "reply cut off";
  request.reply = "{\"suc";
  request.replyHeaders = {{"Content-Length", "13"}};
  const Value entry =
      RapidJSONSerialization().value(archiveForm("http://127.0.0.1:8080").request(request)).value_or(Value());
  EXPECT_EQ(entry.dictionary()["request"].dictionary()["headers"].array()[0],
            Value({{"name", "X-Odd"}, {"value", "\u00E9"}, {"_coding", "latin-1"}}));
  const Dictionary reply = entry.dictionary()["response"].dictionary();
  EXPECT_EQ(reply["content"].dictionary()["text"], Value("{\"suc"));
  EXPECT_EQ(reply["comment"], Value("reply cut off; cut off after 5 of 13 bytes"));
}

TEST(Export, AsAnArchiveIsOneJSONText) {
  RequestLog log(10);
  for (const char* name : {"one", "two"}) log.add(named(name));
  Export pieces(log, Match(""), archiveForm("http://127.0.0.1:8080"));
  std::string text;
  for (const std::string& piece : piecesOf(pieces)) text += piece;
  const Value archive = RapidJSONSerialization().value(text).value_or(Value());
  const Dictionary members = archive.dictionary()["log"].dictionary();
  EXPECT_EQ(members["version"], Value("1.2"));
  EXPECT_EQ(members["creator"].dictionary()["name"], Value("fliprugair-controlhost"));
  EXPECT_EQ(members["entries"].array().size(), 2U);
}

}  // namespace

}  // namespace fliprugair::controlhost
