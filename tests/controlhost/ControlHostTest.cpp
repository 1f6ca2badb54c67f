#include <gtest/gtest.h>
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "Fliprugair/ControlHost.h"
#include "controlhost/HttpClient.h"
#include "tools/controlhost/HttpHeaders.h"

namespace fliprugair::controlhost {

namespace {

using test::HttpAnswer;
using test::httpGet;
using test::httpPost;
using test::post;

const Value initRequest{{"action", "init"}, {"marlune_device_id", "MI1"}};

TEST(ControlHost, AnswersInJSON) {
  ControlHost server;
  const HttpAnswer answer = post(server.port(), initRequest);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.json(), HostSettings().init);
}

TEST(ControlHost, AnswersByTheSettingsOfTheMoment) {
  std::atomic<int> status = 503;
  ControlHost server({.settings = [&] {
    HostSettings settings;
    settings.status["init"] = status;
    return settings;
  }});
  EXPECT_EQ(post(server.port(), initRequest).status, 503);
  status = 201;
  EXPECT_EQ(post(server.port(), initRequest).status, 201);
}

TEST(ControlHost, KeepsWhatCameAsItCame) {
  ControlHost server;
  const double before = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  const std::string bytes = "[ {\"action\" : \"event\", \"marlune_device_id\":\"MI1\"},\n{\"action\":\"session\"}]";
  httpPost(server.port(), "/marlune/v4?x=1", bytes);
  const std::vector<ReceivedRequest> requests = server.requests();
  ASSERT_EQ(requests.size(), 1u);
  const ReceivedRequest& request = requests[0];
  EXPECT_EQ(request.id, 1);
  EXPECT_GE(request.received, before);
  EXPECT_LE(request.received, before + 60);
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/marlune/v4?x=1");
  EXPECT_EQ(request.bytes, bytes);
  EXPECT_EQ(request.action, "batch");
  EXPECT_EQ(request.device, "MI1");
  EXPECT_EQ(request.records, 2);
  EXPECT_EQ(request.names, (std::vector<std::string>{"event", "session"}));
  EXPECT_EQ(request.status, 200);
  EXPECT_EQ(request.reply, R"({"success":1})");
  EXPECT_EQ(request.remote.rfind("127.0.0.1:", 0), 0u);
  EXPECT_EQ(headerOf(request.headers, "content-type"), "application/json; charset=utf-8");
}

TEST(ControlHost, KeepsBytesThatAreNoJSONAndFormsToo) {
  ControlHost server;
  const std::string bytes("\0\xFF--x\r\n", 7);
  httplib::Client client("127.0.0.1", server.port());
  client.Post("/marlune/v4", bytes, "multipart/form-data; boundary=x");
  client.Post("/marlune/v4", "a=b&c=d", "application/x-www-form-urlencoded");
  const std::vector<ReceivedRequest> requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].bytes, bytes);
  EXPECT_EQ(requests[1].bytes, "a=b&c=d");
}

TEST(ControlHost, KeepsTheLatestRequests) {
  ControlHost server({.capacity = 3});
  for (int number = 0; number < 5; ++number) post(server.port(), initRequest);
  const std::vector<ReceivedRequest> requests = server.requests();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].id, 3);
  EXPECT_EQ(requests[2].id, 5);
}

TEST(ControlHost, SaysWhatIsWrongWithABody) {
  ControlHost server;
  const std::pair<const char*, const char*> rows[] = {
      {"", "The body is not JSON: line 1, column 1: The document is empty."},
      {"{\n \"action\" 1}", "The body is not JSON: line 2, column 11: Missing a colon after a name of object member."},
      {"7", "The body is the number 7, and should be an object (a request) or a list (a batch)."},
      {"{}", "The request has no text under \"action\"."},
      {"[{}, 1]", "Record 1 of the batch is the number 1, and should be an object."},
  };
  for (const auto& [body, message] : rows) {
    const HttpAnswer answer = httpPost(server.port(), "/marlune/v4", body);
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.json().dictionary()["error"], Value(message));
    EXPECT_FALSE(answer.json().dictionary()["hint"].text().empty());
  }
  const std::string deep = std::string(600, '[') + std::string(600, ']');
  EXPECT_EQ(httpPost(server.port(), "/marlune/v4", deep).json().dictionary()["error"],
            Value("The body is not JSON: arrays and objects are nested deeper than 512."));
}

TEST(ControlHost, LogsWhatItRefuses) {
  ControlHost server;
  httpPost(server.port(), "/marlune/v4", "nonsense");
  httpPost(server.port(), "/elsewhere", R"({"action":"init"})");
  const std::vector<ReceivedRequest> requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].bytes, "nonsense");
  EXPECT_EQ(requests[0].status, 400);
  EXPECT_EQ(requests[0].records, 0);
  EXPECT_EQ(requests[0].findings.size(), 1u);
  EXPECT_EQ(requests[1].path, "/elsewhere");
  EXPECT_EQ(requests[1].status, 404);
}

TEST(ControlHost, TellsOfARequestBeforeTheReplyGoesOut) {
  std::mutex mutex;
  std::condition_variable changed;
  bool arrived = false;
  HostSettings slow;
  slow.delay = std::chrono::minutes(5);
  ControlHost server({.settings = [slow] { return slow; },
                      .arrived =
                          [&](const ReceivedRequest&) {
                            const std::lock_guard lock(mutex);
                            arrived = true;
                            changed.notify_all();
                          }});
  HttpAnswer answer;
  std::thread client([&] { answer = post(server.port(), initRequest); });
  {
    std::unique_lock lock(mutex);
    EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(30), [&] { return arrived; }));
  }
  const auto begin = std::chrono::steady_clock::now();
  server.stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60)) << "the delay was waited for";
  client.join();
}

TEST(ControlHost, SaysWhyItCannotListenAndWhatToDo) {
  const std::string hint =
      " Give an address of this machine, as 127.0.0.1, or 0.0.0.0 for all that it has; without one it is 127.0.0.1.";
  const std::pair<const char*, std::string> rows[] = {
      {"nonsense", "Cannot listen on nonsense: this is no IP address." + hint},
      {"127.0.0", "Cannot listen on 127.0.0: this is no IP address." + hint},
      {"", "Cannot listen on : this is no IP address." + hint},
      {"192.0.2.1", "Cannot listen on 192.0.2.1: this machine does not have that address." + hint},
  };
  for (const auto& [address, text] : rows) {
    try {
      const ControlHost host({.address = address});
      ADD_FAILURE() << address;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(std::string(error.what()), text);
    }
  }
}

TEST(ControlHost, OnAllAddressesIsReachedAtTheOneOfThisMachine) {
  const ControlHost host({.address = "0.0.0.0"});
  EXPECT_EQ(host.hostname(), "127.0.0.1:" + std::to_string(host.port()));
  EXPECT_EQ(httpGet(host.port(), "/health").status, 200);
}

TEST(ControlHost, APortIsForOneHost) {
  const ControlHost first;
  try {
    const ControlHost second({.port = first.port()});
    FAIL() << "both listen on one port";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()),
              "Cannot listen on 127.0.0.1, port " + std::to_string(first.port()) +
                  ". Another program may listen there already; --port 0 takes any free port.");
  }
}

TEST(ControlHost, WaitsForARecordThatIsStillToCome) {
  ControlHost host;
  const Value level{{"action", "event"}, {"marlune_device_id", "MI1"}, {"data", Value{{"event_name", "level"}}}};
  std::thread client([&] { post(host.port(), Array{level}); });
  const Waited waited = host.waitFor("event:level device:MI1", 1, std::chrono::seconds(60));
  client.join();
  ASSERT_TRUE(waited.matched) << waited.text;
  EXPECT_EQ(waited.records[0].dictionary()["json"], level);
}

TEST(ControlHost, AWaitForWhatIsMistypedEndsAtOnceAndSaysSo) {
  const ControlHost host;
  const Waited waited = host.waitFor("evnet:level", 1, std::chrono::hours(1));
  EXPECT_FALSE(waited.matched);
  EXPECT_EQ(waited.text.rfind("\"evnet:level\": there is no term \"evnet\"", 0), 0u) << waited.text;
}

TEST(ControlHost, AnswersAsItIsTold) {
  ControlHost host;
  const Value reply{{"success", 1}, {"flags", Value{{"mlinit_wait", 90}}}};
  host.setInitReply(reply);
  EXPECT_EQ(post(host.port(), initRequest).json(), reply);
  host.setFaults({{.kind = Fault::Kind::status, .status = 418, .times = 1}});
  EXPECT_EQ(post(host.port(), initRequest).status, 418);
  EXPECT_EQ(post(host.port(), initRequest).status, 200);
  host.setOffline(true);
  EXPECT_EQ(post(host.port(), initRequest).status, 0);
  host.reset();
  EXPECT_EQ(post(host.port(), initRequest).json(), HostSettings().init);
  EXPECT_EQ(host.requests().size(), 1u);
}

TEST(ControlHost, AnswersManyClientsAtOnce) {
  ControlHost server;
  std::vector<std::thread> clients;
  std::atomic<int> good = 0;
  for (int client = 0; client < 8; ++client) {
    clients.emplace_back([&] {
      for (int number = 0; number < 20; ++number) good += post(server.port(), initRequest).status == 200;
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(good, 160);
  EXPECT_EQ(server.requests().size(), 160u);
}

}  // namespace

}  // namespace fliprugair::controlhost
