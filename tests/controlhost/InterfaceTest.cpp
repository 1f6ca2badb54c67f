#include <gtest/gtest.h>
#include <httplib.h>

#include "Fliprugair/ControlHost.h"
#include "controlhost/HttpClient.h"
#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Interface.h"

namespace fliprugair::controlhost {

namespace {

using test::HttpAnswer;
using test::post;

Value event(const char* name, const char* device = "MI1") {
  return Value{{"action", "event"},
               {"marlune_device_id", device},
               {"marlune_app_id", "demo"},
               {"data", Value{{"event_name", name}, {"event_data", "7"}}}};
}

class InterfaceTest : public testing::Test {
 protected:
  HttpAnswer get(const std::string& path) { return test::httpGet(host_.port(), path); }
  Dictionary json(const std::string& path) { return get(path).json().dictionary(); }

  HttpAnswer send(const char* method, const std::string& path, const std::string& body, httplib::Headers headers = {}) {
    httplib::Client client("127.0.0.1", host_.port());
    client.set_read_timeout(120);
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    request.headers = std::move(headers);
    const auto answer = client.send(request);
    return answer ? HttpAnswer{answer->status, answer->body} : HttpAnswer{};
  }

  std::vector<std::int64_t> ids(const std::string& path) {
    std::vector<std::int64_t> result;
    for (const Value& request : json(path)["requests"].array()) {
      result.push_back(request.dictionary()["id"].integerValue());
    }
    return result;
  }

  ControlHost host_;
};

using Ids = std::vector<std::int64_t>;

TEST_F(InterfaceTest, ListsWhatCamePageByPage) {
  for (int number = 0; number < 5; ++number) post(host_.port(), Array{event("level")});
  EXPECT_EQ(ids("/api/requests"), (Ids{1, 2, 3, 4, 5}));
  EXPECT_EQ(ids("/api/requests?limit=2"), (Ids{1, 2}));
  EXPECT_EQ(json("/api/requests?limit=2")["next"], Value(2));
  EXPECT_EQ(ids("/api/requests?limit=2&since=2"), (Ids{3, 4}));
  EXPECT_EQ(ids("/api/requests?order=desc&limit=2"), (Ids{5, 4}));
  EXPECT_EQ(ids("/api/requests?order=desc&limit=3&before=4"), (Ids{3, 2, 1}));
  EXPECT_TRUE(json("/api/requests")["next"].isNull());
  EXPECT_EQ(json("/api/requests")["last"], Value(5));
}

TEST_F(InterfaceTest, ListsWhatMatches) {
  post(host_.port(), Array{event("level"), event("Purchase")});
  post(host_.port(), Value{{"action", "init"}, {"marlune_device_id", "MI2"}});
  test::httpPost(host_.port(), "/marlune/v4", "nonsense");
  EXPECT_EQ(ids("/api/requests?q=event:level"), (Ids{1}));
  EXPECT_EQ(ids("/api/requests?q=purchase"), (Ids{1}));
  EXPECT_EQ(ids("/api/requests?q=action:event%20action:batch"), (Ids{}));
  EXPECT_EQ(ids("/api/requests?q=action:batch"), (Ids{1}));
  EXPECT_EQ(ids("/api/requests?q=device:MI2"), (Ids{2}));
  EXPECT_EQ(ids("/api/requests?q=status:400"), (Ids{3}));
  EXPECT_EQ(ids("/api/requests?q=/data/event_data:7"), (Ids{1}));
  EXPECT_EQ(ids("/api/requests?q=severity:error"), (Ids{1, 2, 3}));
  const Array records = json("/api/records?q=event:level")["records"].array();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].dictionary()["id"], Value("1.0"));
}

TEST_F(InterfaceTest, ShowsOneRequestWhole) {
  test::httpPost(host_.port(), "/marlune/v4", R"( {"action":"init"})");
  const Dictionary request = json("/api/requests/1");
  const Dictionary body = request["body"].dictionary();
  EXPECT_EQ(body["text"], Value(R"( {"action":"init"})"));
  EXPECT_EQ(body["base64"], Value("IHsiYWN0aW9uIjoiaW5pdCJ9"));
  EXPECT_EQ(body["json"], Value({{"action", "init"}}));
  EXPECT_EQ(request["reply"].dictionary()["json"], HostSettings().init);
  EXPECT_EQ(request["headers"].array()[0].array().size(), 2u);
  EXPECT_FALSE(request["problems"].array().empty());
}

TEST_F(InterfaceTest, ABodyThatIsNotUTF8IsNoJSONAndSaysWhere) {
  const HttpAnswer answer = test::httpPost(host_.port(), "/marlune/v4", "[\n{\"action\":\"caf\xE9\"}]");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.json().dictionary()["error"], Value("The body is not UTF-8: line 2, column 15: byte 17 is 0xE9."));
  const Dictionary request = json("/api/requests/1");
  EXPECT_EQ(request["body"].dictionary()["base64"], Value("Wwp7ImFjdGlvbiI6ImNhZukifV0="));
  EXPECT_TRUE(request["body"].dictionary()["text"].isNull());
  EXPECT_TRUE(request["body"].dictionary()["json"].isNull());
  EXPECT_TRUE(request["items"].array().empty());
  const Array problems = request["problems"].array();
  ASSERT_EQ(problems.size(), 1U);
  EXPECT_EQ(problems[0].dictionary()["code"], Value("not-json"));
  EXPECT_EQ(problems[0].dictionary()["expected"], Value("UTF-8"));
}

TEST_F(InterfaceTest, ARecordCanBeSentAgainAndBeProvoked) {
  post(host_.port(), Array{event("it's")});
  const Dictionary record = json("/api/records/1.0");
  EXPECT_EQ(record["sim"], Value(R"({"do":"store","remove":["com.marlune.MarluneTracker.currency"]})"
                                 "\n"
                                 R"({"do":"call","method":"trackEvent::","args":["it's","7"]})"));
  EXPECT_EQ(record["sim_reason"], Value(""));
  EXPECT_EQ(
      record["curl"],
      Value("curl -sS '" + host_.url() +
            "/marlune/v4' -H 'Content-Type: application/json; charset=utf-8' --data-binary " +
            R"('[{"action":"event","marlune_device_id":"MI1","marlune_app_id":"demo","data":{"event_name":"it'\''s",)" +
            R"("event_data":"7"}}]')"));
}

TEST_F(InterfaceTest, ARecordOfABatchIsSentAgainAsItStandsThere) {
  const std::string record = R"({"action":"event", "data":{"a":12345678901234567890123,"b":1.10,"b":"\u00e9"}})";
  test::httpPost(host_.port(), "/marlune/v4", R"([{"action":"init"}, )" + record + " ]");
  const std::string command = json("/api/records/1.1")["curl"].text();
  EXPECT_TRUE(command.ends_with(" --data-binary '[" + record + "]'")) << command;
}

TEST_F(InterfaceTest, ARequestIsSentAgainAsItCame) {
  send("PUT", "/marlune/v4?x=1", "plain", {{"Content-Type", "text/plain"}});
  send("POST", "/elsewhere/[1]", "@file", {{"Content-Type", "text/plain"}});
  send("POST", "/marlune/v4", "");
  EXPECT_EQ(
      get("/api/requests/1/curl").body,
      "curl -sS -X 'PUT' '" + host_.url() + "/marlune/v4?x=1' -H 'Content-Type: text/plain' --data-binary 'plain'\n");
  EXPECT_EQ(get("/api/requests/2/curl").body,
            "echo QGZpbGU= | base64 -d | curl -sS '" + host_.url() +
                "' --request-target '/elsewhere/[1]' -H 'Content-Type: text/plain' --data-binary @-\n");
  EXPECT_EQ(get("/api/requests/3/curl").body,
            "curl -sS '" + host_.url() + "/marlune/v4' -H 'Content-Type:' --data-binary ''\n");
}

TEST_F(InterfaceTest, SaysWhatIsWrongAndWhatToDo) {
  for (const auto& [path, status] : std::vector<std::pair<std::string, int>>{{"/api/requests/7", 404},
                                                                             {"/api/requests/x", 404},
                                                                             {"/api/records/1.0", 404},
                                                                             {"/api/requests?limit=0", 400},
                                                                             {"/api/requests?since=x", 400},
                                                                             {"/api/wait?timeout=601", 400},
                                                                             {"/api/wait?timeout=1s", 400},
                                                                             {"/api/wait?timeout=nan", 400},
                                                                             {"/api/nothing", 404},
                                                                             {"/nothing.html", 404},
                                                                             {"/api/clear", 405}}) {
    const HttpAnswer answer = get(path);
    EXPECT_EQ(answer.status, status) << path;
    EXPECT_FALSE(answer.json().dictionary()["error"].text().empty()) << path;
    EXPECT_FALSE(answer.json().dictionary()["hint"].text().empty()) << path;
  }
}

TEST_F(InterfaceTest, ServesThePage) {
  const HttpAnswer page = get("/");
  EXPECT_EQ(page.status, 200);
  EXPECT_NE(page.body.find("<html"), std::string::npos);
  EXPECT_EQ(get("/index.html").body, page.body);
  EXPECT_EQ(get("/../CMakeLists.txt").status, 404);
}

TEST(Interface, IsAtTheUsualPortWithAndWithoutItsNumber) {
  Reception reception({10, [] { return HostSettings(); }, {}, {}, {}, ""});
  Interface interface(reception, {"127.0.0.1:80", "localhost:80", "[::1]:80"});
  const auto statusOf = [&](const std::string& host, const std::string& origin) {
    HttpRequest request{"GET", "/health", "/health", {}, {{"Host", host}}, "", "", "127.0.0.1:80"};
    if (!origin.empty()) request.headers.emplace_back("Origin", origin);
    return interface.reply(request).value_or(HttpReply{}).status;
  };
  for (const char* host : {"127.0.0.1", "127.0.0.1:80", "localhost", "[::1]", "[::1]:80"}) {
    EXPECT_EQ(statusOf(host, ""), 200) << host;
    EXPECT_EQ(statusOf(host, "http://" + std::string(host)), 200) << host;
    EXPECT_EQ(statusOf(host, "http://evil"), 403) << host;
  }
  EXPECT_EQ(statusOf("localhost", "http://localhost:80"), 200);
  EXPECT_EQ(statusOf("127.0.0.1:8080", ""), 403);
  EXPECT_EQ(statusOf("evil", ""), 403);
  const HttpHeaders headers{{"Origin", "http://localhost"}};
  const HttpRequest posted{"POST", "/marlune/v4", "/marlune/v4", {}, headers, "", "", "127.0.0.1:80"};
  EXPECT_FALSE(interface.reply(posted)) << "it is left to the trackers' place";
}

TEST_F(InterfaceTest, TakesNoRequestOfAnotherSiteAndNoForeignHost) {
  const std::string host = "127.0.0.1:" + std::to_string(host_.port());
  EXPECT_EQ(send("GET", "/api/requests", "", {{"Origin", "http://evil.example"}}).status, 403);
  EXPECT_EQ(send("POST", "/api/reset", "", {{"Origin", "null"}}).status, 403);
  EXPECT_EQ(send("GET", "/", "", {{"Host", "evil.example"}}).status, 403);
  EXPECT_EQ(send("GET", "/api/requests", "", {{"Sec-Fetch-Site", "cross-site"}}).status, 403);
  EXPECT_EQ(send("GET", "/api/requests", "", {{"Origin", "http://" + host}}).status, 200);
  EXPECT_EQ(send("GET", "/api/requests", "", {{"Host", "localhost:" + std::to_string(host_.port())}}).status, 200);
}

TEST_F(InterfaceTest, APageOfAnotherSiteWritesNothingIntoTheList) {
  const std::string port = ':' + std::to_string(host_.port());
  const std::string body = R"({"action":"init"})";
  const std::vector<httplib::Headers> foreign{{{"Origin", "http://evil.example"}},
                                              {{"Origin", "null"}},
                                              {{"Origin", "https://127.0.0.1" + port}},
                                              {{"Origin", "http://127.0.0.1:1"}},
                                              {{"Origin", "http://evil" + port}, {"Host", "evil" + port}},
                                              {{"Sec-Fetch-Site", "cross-site"}}};
  for (const httplib::Headers& headers : foreign) {
    EXPECT_EQ(send("POST", "/marlune/v4", body, headers).status, 403);
    EXPECT_EQ(send("PUT", "/elsewhere", body, headers).status, 403);
  }
  EXPECT_TRUE(host_.requests().empty());
  EXPECT_EQ(json("/health")["refused"].array()[0].dictionary()["count"], Value(12));
  EXPECT_EQ(send("POST", "/marlune/v4", body, {{"Origin", "http://localhost" + port}}).status, 200);
  EXPECT_EQ(send("POST", "/marlune/v4", body, {{"Host", "tracker.example"}}).status, 200);
}

TEST(Interface, IsThereForOtherMachinesAtTheAddressThatTheyReachWhenItListensOnAll) {
  const ControlHost host({.address = "0.0.0.0"});
  httplib::Client client("127.0.0.2", host.port());
  EXPECT_EQ(client.Get("/health")->status, 200);
  EXPECT_EQ(client.Get("/health", {{"Host", "evil.example:" + std::to_string(host.port())}})->status, 403);
}

TEST_F(InterfaceTest, WaitingAnswersWithWhatCame) {
  post(host_.port(), Array{event("level")});
  EXPECT_EQ(get("/api/wait?match=event:level&timeout=0.5").status, 200);
  const HttpAnswer missing = get("/api/wait?match=event:other&timeout=0");
  EXPECT_EQ(missing.status, 408);
  EXPECT_EQ(missing.json().dictionary()["missed"], Value(Array{"event:other"}));
  EXPECT_EQ(get("/api/wait?match=event:level&timeout=0&since=1").status, 408);
}

TEST_F(InterfaceTest, AMistypedParameterIsRefusedWithThoseThatThereAre) {
  const HttpAnswer mistyped = get("/api/wait?mtach=event:level&timeout=0");
  EXPECT_EQ(mistyped.status, 400);
  EXPECT_EQ(mistyped.json(), Value({{"error", "/api/wait has no parameter \"mtach\"."},
                                    {"hint", "It takes match, count, timeout, since."}}));
  EXPECT_EQ(get("/health?x=1").json().dictionary()["hint"], Value("It takes none."));
  EXPECT_EQ(get("/api/requests?order=up").status, 400);
  EXPECT_EQ(get("/api/requests?order=asc").status, 200);
}

TEST_F(InterfaceTest, AMistypedMatchIsRefusedWithTheTermsThatThereAre) {
  for (const char* path : {"/api/wait?timeout=600&match=", "/api/requests?q=", "/api/records?q=", "/api/events?q=",
                           "/api/export.ndjson?q=", "/api/export.har?q="}) {
    const HttpAnswer answer = get(path + std::string("event:level%20evnet:level"));
    EXPECT_EQ(answer.status, 400) << path;
    EXPECT_EQ(
        answer.json().dictionary()["error"],
        Value("\"evnet:level\": there is no term \"evnet\"; a text that holds a colon stands in quotation marks."));
    EXPECT_NE(answer.json().dictionary()["hint"].text().find("action, name, device, app, status, severity, id, state"),
              std::string::npos)
        << path;
  }
}

TEST_F(InterfaceTest, AnswersAndFaultsAreReadAsTheyAreWritten) {
  const HttpAnswer answers = send("PUT", "/api/answers", R"({"default":{"initial":{"success":0}}})");
  EXPECT_EQ(answers.status, 200);
  EXPECT_EQ(get("/api/answers").json(), answers.json());
  EXPECT_EQ(post(host_.port(), Value{{"action", "initial"}}).json(), Value({{"success", 0}}));
  EXPECT_EQ(send("PUT", "/api/answers", "{").status, 400);
  EXPECT_EQ(send("PUT", "/api/faults", R"({"faults":[{"kind":"status","status":500,"times":1}]})").status, 200);
  EXPECT_EQ(post(host_.port(), Value{{"action", "initial"}}).status, 500);
  EXPECT_EQ(json("/api/faults")["faults"].array()[0].dictionary()["hits"], Value(1));
}

TEST_F(InterfaceTest, AFaultIsAddedAndRemovedByItself) {
  const auto kinds = [&] {
    std::string all;
    for (const Value& fault : json("/api/faults")["faults"].array()) all += fault.dictionary()["kind"].text() + ' ';
    return all;
  };
  EXPECT_EQ(send("PUT", "/api/faults", R"({"faults":[{"kind":"hang","action":"update"}]})").status, 200);
  const HttpAnswer added = send("POST", "/api/faults", R"({"kind":"status","status":500})");
  EXPECT_EQ(added.status, 200);
  EXPECT_EQ(added.json(), get("/api/faults").json());
  EXPECT_EQ(kinds(), "hang status ");
  const std::int64_t id = json("/api/faults")["faults"].array()[0].dictionary()["id"].integerValue();
  const std::string place = "/api/faults/" + std::to_string(id);
  EXPECT_EQ(send("DELETE", place, "").status, 200);
  EXPECT_EQ(send("DELETE", place, "").status, 404);
  EXPECT_EQ(send("POST", "/api/faults", R"({"kind":"burn"})").status, 400);
  EXPECT_EQ(kinds(), "status ");
}

TEST_F(InterfaceTest, ForgetsADevicePausesAndClears) {
  post(host_.port(), Array{event("level", "MI1")});
  post(host_.port(), Array{event("level", "MI2")});
  EXPECT_EQ(send("DELETE", "/api/devices/MI1", "").status, 200);
  EXPECT_EQ(send("DELETE", "/api/devices/MI1", "").status, 404);
  EXPECT_EQ(ids("/api/requests"), (Ids{2}));
  EXPECT_EQ(send("POST", "/api/pause", R"({"paused":true})").status, 200);
  EXPECT_EQ(post(host_.port(), Array{event("level")}).status, 200);
  EXPECT_EQ(ids("/api/requests"), (Ids{2}));
  EXPECT_EQ(send("POST", "/api/clear", "").status, 200);
  EXPECT_EQ(ids("/api/requests"), (Ids{}));
  EXPECT_TRUE(json("/api/devices")["devices"].array().empty());
}

TEST_F(InterfaceTest, TellsOfDevicesAndTheirSessions) {
  const auto session = [](const char* state, const char* time) {
    return Value{{"action", "session"},
                 {"marlune_device_id", "MI1"},
                 {"data", Value{{"state", state}, {"usertime", time}, {"uptime", "5"}}}};
  };
  post(host_.port(), Array{session("resume", "100"), session("pause", "160"), session("resume", "200")});
  const Dictionary device = json("/api/devices")["devices"].array()[0].dictionary();
  EXPECT_EQ(device["device"], Value("MI1"));
  EXPECT_EQ(device["records"], Value(3));
  EXPECT_EQ(device["sessions"], Value(Array{Value{{"start", 100}, {"end", 160}, {"records", 2}},
                                            Value{{"start", 200}, {"end", nullptr}, {"records", 1}}}));
}

TEST_F(InterfaceTest, EveryFindingSaysWhatWasExpectedWhatCameAndWhatToDo) {
  send("POST", "/marlune/v4", "nonsense");
  send("POST", "/marlune/v4", "");
  send("POST", "/marlune/v4", "{\"action\":\"\xE9\"}");
  send("POST", "/elsewhere", "{}");
  send("PUT", "/marlune/v4", "{}");
  send("POST", "/marlune/v4", "7");
  send("POST", "/marlune/v4", "[7]");
  send("POST", "/marlune/v4", R"({"action":7})");
  send("POST", "/marlune/v4", "{}", {{"Content-Encoding", "br"}});
  send("POST", "/marlune/v4", R"({"action":"fly","data":[]})", {{"Content-Type", "text/plain"}});
  const std::vector<Finding> findings = host_.findings();
  EXPECT_GT(findings.size(), 12U);
  for (const Finding& finding : findings) {
    EXPECT_NE(finding.expected, "") << finding.text;
    EXPECT_NE(finding.got, "") << finding.text;
    EXPECT_NE(finding.hint, "") << finding.text;
    EXPECT_TRUE(finding.text.ends_with(finding.hint)) << finding.text;
  }
}

TEST_F(InterfaceTest, ExplainsWhatTheHostWouldRefuseAsASlip) {
  const auto refused = [&](const std::string& reply) {
    return send("POST", "/api/explain", reply).json().dictionary()["refused"];
  };
  EXPECT_EQ(refused(R"({"success":1})"), Value(Array()));
  EXPECT_EQ(refused("{ broken"), Value(Array()));
  EXPECT_EQ(refused(R"({"outside_services":"none"})"),
            Value(Array{R"(init.outside_services is the text "none", and should be an object, as {})"}));
  const std::string answers = R"({"rules":[],"default":{"init":{"outside_services":"none"}}})";
  EXPECT_EQ(send("PUT", "/api/answers", answers).status, 400);
}

TEST_F(InterfaceTest, ExportsWhatCame) {
  post(host_.port(), Array{event("level")});
  post(host_.port(), Array{event("other")});
  const std::string lines = get("/api/export.ndjson").body;
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
  EXPECT_EQ(get("/api/export.ndjson?q=event:other").json().dictionary()["id"], Value(2));
  const Array entries = json("/api/export.har")["log"].dictionary()["entries"].array();
  ASSERT_EQ(entries.size(), 2u);
  const Dictionary request = entries[0].dictionary()["request"].dictionary();
  EXPECT_EQ(request["url"], Value(host_.url() + "/marlune/v4"));
  EXPECT_EQ(request["postData"].dictionary()["text"], Value(host_.requests()[0].bytes));
}

TEST_F(InterfaceTest, AnArchiveHoldsWhatCameAsItCame) {
  send("POST", "/marlune/v4?a=1&b", "\xFF", {{"Content-Type", "text/plain"}});
  const Dictionary entry = json("/api/export.har")["log"].dictionary()["entries"].array()[0].dictionary();
  const Dictionary request = entry["request"].dictionary();
  EXPECT_EQ(request["url"], Value(host_.url() + "/marlune/v4?a=1&b"));
  EXPECT_EQ(request["queryString"],
            Value(Array{Value{{"name", "a"}, {"value", "1"}}, Value{{"name", "b"}, {"value", ""}}}));
  EXPECT_EQ(request["postData"], Value({{"mimeType", "text/plain"}, {"text", "/w=="}, {"_encoding", "base64"}}));
  EXPECT_EQ(entry["response"].dictionary()["status"], Value(400));
}

TEST_F(InterfaceTest, AnArchiveSaysWhatIsKnownOfTimesAndOfTheReply) {
  HostSettings slow;
  slow.delay = std::chrono::milliseconds(3);
  host_.setSettings(slow);
  post(host_.port(), Value{{"action", "init"}});
  const Dictionary entry = json("/api/export.har")["log"].dictionary()["entries"].array()[0].dictionary();
  const Dictionary times = entry["timings"].dictionary();
  EXPECT_GT(times["send"].realValue(), 0);
  EXPECT_GT(times["wait"].realValue(), 3);
  EXPECT_DOUBLE_EQ(entry["time"].realValue(), times["send"].realValue() + times["wait"].realValue());
  const Dictionary response = entry["response"].dictionary();
  const std::string length = std::to_string(host_.requests()[0].reply.size());
  EXPECT_EQ(response["headers"],
            Value(Array{Value{{"name", "Accept-Encoding"}, {"value", "gzip"}},
                        Value{{"name", "Content-Type"}, {"value", "application/json; charset=utf-8"}},
                        Value{{"name", "Content-Length"}, {"value", length}}}));
  EXPECT_EQ(response["statusText"], Value("OK"));
}

TEST_F(InterfaceTest, EventsTellOfEachRequestAndOfChanges) {
  post(host_.port(), Array{event("before")});
  std::string stream;
  httplib::Client client("127.0.0.1", host_.port());
  client.set_read_timeout(120);
  bool changed = false;
  client.Get("/api/events?since=0", [&](const char* bytes, size_t size) {
    stream.append(bytes, size);
    if (!changed && stream.find("event: request") != std::string::npos) {
      changed = true;
      host_.setOffline(true);
      host_.clear();
    }
    return stream.find("event: cleared") == std::string::npos;
  });
  EXPECT_EQ(stream.rfind("event: hello\ndata: {\"version\":", 0), 0u) << stream;
  EXPECT_NE(stream.find("event: request\nid: 1\ndata: {\"request\":{\"id\":1,"), std::string::npos) << stream;
  EXPECT_NE(stream.find("event: faults\ndata: {\"offline\":true,"), std::string::npos) << stream;
}

/// The first that a host tells who follows.
Dictionary greeting(const ControlHost& host) {
  std::string stream;
  httplib::Client("127.0.0.1", host.port()).Get("/api/events", [&](const char* data, std::size_t length) {
    stream.append(data, length);
    return stream.find("\n\n") == std::string::npos;
  });
  const std::string hello = stream.substr(stream.find('{'), stream.find("\n\n") - stream.find('{'));
  return RapidJSONSerialization().value(hello).value_or(Value()).dictionary();
}

TEST_F(InterfaceTest, EventsAreOfTheRequestsThatMatch) {
  for (const char* name : {"one", "two", "three"}) post(host_.port(), Array{event(name)});
  std::string stream;
  httplib::Client client("127.0.0.1", host_.port());
  client.set_read_timeout(120);
  client.Get("/api/events?since=0&q=event:two", [&](const char* bytes, size_t size) {
    stream.append(bytes, size);
    if (stream.find("id: 2\n") != std::string::npos) host_.clear();
    return stream.find("event: cleared") == std::string::npos;
  });
  EXPECT_NE(stream.find("event: request\nid: 2\n"), std::string::npos) << stream;
  EXPECT_EQ(stream.find("event: request\nid: 1\n"), std::string::npos);
  EXPECT_EQ(stream.find("event: request\nid: 3\n"), std::string::npos);
}

TEST_F(InterfaceTest, WhoComesBackIsToldHowOftenSomethingWasErased) {
  post(host_.port(), Array{event("level", "MI1")});
  const std::int64_t before = greeting(host_)["erasures"].integerValue();
  EXPECT_EQ(greeting(host_)["erasures"], Value(before));
  EXPECT_EQ(send("DELETE", "/api/devices/MI1", "").status, 200);
  EXPECT_EQ(greeting(host_)["erasures"], Value(before + 1));
  host_.clear();
  EXPECT_EQ(greeting(host_)["erasures"], Value(before + 2));
}

TEST_F(InterfaceTest, GreetsAnewAtEachStart) {
  const auto run = [](const ControlHost& host) { return greeting(host)["run"]; };
  const ControlHost other;
  EXPECT_FALSE(run(host_).text().empty());
  EXPECT_EQ(run(host_), run(host_));
  EXPECT_NE(run(host_), run(other));
}

TEST_F(InterfaceTest, SaysHowItIs) {
  post(host_.port(), Array{event("level")});
  EXPECT_EQ(json("/health")["status"], Value("ok"));
  EXPECT_EQ(json("/health")["requests"], Value(1));
}

}  // namespace

}  // namespace fliprugair::controlhost
