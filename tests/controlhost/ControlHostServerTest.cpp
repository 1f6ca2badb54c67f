#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "controlhost/HttpClient.h"
#include "tools/controlhost/ControlHostServer.h"

namespace fliprugair::controlhost {

namespace {

using test::HttpAnswer;
using test::httpGet;
using test::httpPost;
using test::post;

const Value initRequest{{"action", "init"}, {"marlune_device_id", "MI1"}};

std::string memberNames(const Value& object) {
  std::string names;
  for (const Dictionary::Entry& entry : object.dictionary().entries()) names += entry.key() + ' ';
  return names;
}

TEST(ControlHostServer, AnswersInJSON) {
  ControlHostServer server;
  const HttpAnswer answer = post(server.port(), initRequest);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.json(), HostSettings().init);
}

TEST(ControlHostServer, AnswersByTheSettingsOfTheMoment) {
  std::atomic<int> status = 503;
  ControlHostServer server({.settings = [&] {
    HostSettings settings;
    settings.status["init"] = status;
    return settings;
  }});
  EXPECT_EQ(post(server.port(), initRequest).status, 503);
  status = 201;
  EXPECT_EQ(post(server.port(), initRequest).status, 201);
}

TEST(ControlHostServer, TellsWhatCame) {
  ControlHostServer server;
  const double before = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  const Array batch{initRequest, Value{{"action", "event"}}};
  post(server.port(), initRequest);
  post(server.port(), batch);
  const Array requests = httpGet(server.port(), "/api/requests").json().array();
  ASSERT_EQ(requests.size(), 2u);
  const Dictionary first = requests[0].dictionary();
  EXPECT_EQ(memberNames(requests[0]), "number received path action records body status reply ");
  EXPECT_EQ(first["number"], Value(1));
  EXPECT_GE(first["received"].realValue(), before);
  EXPECT_LE(first["received"].realValue(), before + 60);
  EXPECT_EQ(first["path"], Value("/marlune/v4"));
  EXPECT_EQ(first["action"], Value("init"));
  EXPECT_EQ(first["records"], Value(1));
  EXPECT_EQ(first["body"], initRequest);
  EXPECT_EQ(first["status"], Value(200));
  EXPECT_EQ(first["reply"], HostSettings().init);
  const Dictionary second = requests[1].dictionary();
  EXPECT_EQ(second["number"], Value(2));
  EXPECT_EQ(second["action"], Value("batch"));
  EXPECT_EQ(second["records"], Value(2));
  EXPECT_EQ(second["body"], Value(batch));
}

TEST(ControlHostServer, KeepsTheLatestRequests) {
  ControlHostServer server({.capacity = 3});
  for (int number = 0; number < 5; ++number) post(server.port(), initRequest);
  const Array requests = httpGet(server.port(), "/api/requests").json().array();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].dictionary()["number"], Value(3));
  EXPECT_EQ(requests[2].dictionary()["number"], Value(5));
  EXPECT_EQ(httpGet(server.port(), "/api/health").json(), Value({{"status", "ok"}, {"requests", 5}}));
}

TEST(ControlHostServer, SaysWhatIsWrongWithABody) {
  ControlHostServer server;
  const std::pair<const char*, const char*> rows[] = {
      {"", "The body is not JSON: line 1, column 1: The document is empty.\n"},
      {"{\n \"action\" 1}",
       "The body is not JSON: line 2, column 11: Missing a colon after a name of object member.\n"},
      {"7", "The body is neither an object (a request) nor an array (a batch).\n"},
      {"{}", "The request has no text under \"action\".\n"},
      {"[{}, 1]", "Record 2 of the batch is no object.\n"},
  };
  for (const auto& [body, message] : rows) {
    const HttpAnswer answer = httpPost(server.port(), "/marlune/v4", body);
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.body, message);
  }
  EXPECT_EQ(httpPost(server.port(), "/marlune/v4", std::string(600, '[') + std::string(600, ']')).body,
            "The body is not JSON: arrays and objects are nested deeper than 512\n");
}

TEST(ControlHostServer, LogsWhatItRefuses) {
  ControlHostServer server;
  httpPost(server.port(), "/marlune/v4", "nonsense");
  httpPost(server.port(), "/elsewhere", R"({"action":"init"})");
  const std::vector<LoggedRequest> requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].body, Value("nonsense"));
  EXPECT_EQ(requests[0].status, 400);
  EXPECT_EQ(requests[0].records, 0);
  EXPECT_EQ(requests[1].path, "/elsewhere");
  EXPECT_EQ(requests[1].status, 404);
}

TEST(ControlHostServer, SaysWhatThereIsToGet) {
  ControlHostServer server;
  const HttpAnswer answer = httpGet(server.port(), "/");
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.body, "Here are POST /marlune/v4, GET /api/requests and GET /api/health.\n");
}

TEST(ControlHostServer, TellsOfARequestBeforeTheReplyGoesOut) {
  std::mutex mutex;
  std::condition_variable changed;
  bool arrived = false;
  HostSettings slow;
  slow.delay = std::chrono::minutes(5);
  ControlHostServer server({.settings = [slow] { return slow; },
                            .arrived =
                                [&](const LoggedRequest&) {
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

TEST(ControlHostServer, SaysWhenItCannotListen) {
  const ControlHostServer first;
  EXPECT_THROW(ControlHostServer({.address = "192.0.2.1", .port = first.port()}), std::runtime_error);
}

TEST(ControlHostServer, AnswersManyClientsAtOnce) {
  ControlHostServer server;
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
