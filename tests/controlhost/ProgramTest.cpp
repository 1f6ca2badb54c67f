// The program as a user starts it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <vector>

#include "Fliprugair/ControlHost.h"
#include "controlhost/HttpClient.h"
#include "controlhost/TemporaryFile.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::test {

namespace {

/// The program with its output and its errors in one pipe.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    output_ = ends[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
    std::string name = CONTROLHOST_PROGRAM;
    std::vector<char*> argv{name.data()};
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    EXPECT_EQ(posix_spawn(&process_, name.c_str(), &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
  }
  ~Program() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    close(output_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// The next line without its end; what is left at the end of the output.
  std::string line() {
    std::string text;
    char character = 0;
    while (read(output_, &character, 1) == 1 && character != '\n') text += character;
    return text;
  }

  void send(int signal) const { kill(process_, signal); }

  /// -1 when a signal ended it.
  int exitStatus() {
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_ = 0;
  int output_ = -1;
};

/// The port in the line of JSON that the program prints with --port 0.
int portOf(const std::string& line) {
  const Value where = RapidJSONSerialization().value(line).value_or(Value());
  return static_cast<int>(where.dictionary()["port"].integerValue());
}

const Value session{
    {"marlune_device_id", "MI1"},    {"marlune_app_id", "demo"},
    {"action", "session"},           {"data", Value{{"state", "pause"}, {"usertime", "1"}, {"uptime", "1"}}},
    {"sdk_version", "ios-20160921"}, {"sdk_protocol", "4"}};

TEST(ControlHostProgram, PrintsItsAddressAndThenEachRequest) {
  Program program({"--port", "0"});
  const std::string line = program.line();
  const int port = portOf(line);
  const std::string hostname = "127.0.0.1:" + std::to_string(port);
  EXPECT_EQ(line, R"({"url":"http://)" + hostname + R"(","hostname":")" + hostname + R"(","port":)" +
                      std::to_string(port) + '}');
  post(port, Value{{"action", "get_attribution"},
                   {"marlune_device_id", "MI1"},
                   {"marlune_app_id", "demo"},
                   {"sdk_version", "ios-20160921"},
                   {"sdk_protocol", "4"}});
  const std::string first = program.line();
  EXPECT_EQ(first.substr(2, 1) + first.substr(5, 1) + first.substr(8, 1), "::.");
  EXPECT_EQ(first.substr(12), "  get_attribution  MI1");
  httpPost(port, "/marlune/v4", "{");
  EXPECT_EQ(program.line().substr(12), "  not a request  (no device id)  answered with status 400");
  EXPECT_EQ(program.line(),
            "    error  The body is not JSON: line 1, column 2: Missing a name for object member. Send one JSON text.");
}

TEST(ControlHostProgram, WhatEndsItIsHandedOnToTheAppThatItRuns) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    Program program(
        {"run", "--", "/bin/sh", "-c", "trap 'exit 7' TERM INT HUP; echo ready; while :; do sleep 0.05; done"});
    while (program.line() != "ready") {
    }
    program.send(signal);
    EXPECT_EQ(program.exitStatus(), 7) << signal;
  }
}

TEST(ControlHostProgram, ItsExitStatusSaysWhichSignalEndedTheAppThatItRan) {
  Program program({"run", "--", "/bin/sh", "-c", "echo ready; exec sleep 1000"});
  while (program.line() != "ready") {
  }
  program.send(SIGTERM);
  EXPECT_EQ(program.exitStatus(), 128 + SIGTERM);
}

TEST(ControlHostProgram, RequestsCannotSteerTheTerminal) {
  Program program({"--port", "0"});
  const int port = portOf(program.line());
  post(port, Array{Value{{"marlune_device_id", "MI\x1B[2J\n2"}}, Value{{"action", "event"}}});
  EXPECT_EQ(program.line().substr(12), "  batch of 2  MI\\u001B[2J\\u000A2");
}

TEST(ControlHostProgram, SaysItsVersion) {
  Program program({"--version"});
  EXPECT_EQ(program.line().rfind("fliprugair-controlhost ", 0), 0u);
  EXPECT_EQ(program.exitStatus(), 0);
}

TEST(ControlHostProgram, WarnsWhenOthersCanReachIt) {
  Program program({"--port", "0", "--address", "0.0.0.0"});
  EXPECT_EQ(program.line(),
            "Listening on 0.0.0.0, all addresses of this machine: whoever reaches one can read and change everything "
            "here.");
  EXPECT_EQ(program.line(),
            "A tracker elsewhere takes this machine's own address with the port. Without --address only this machine "
            "reaches it.");
  EXPECT_EQ(program.line().rfind(R"({"url":"http://127.0.0.1:)", 0), 0u);
}

TEST(ControlHostProgram, SaysWhatIsNoAddress) {
  Program program({"--address", "nonsense"});
  EXPECT_EQ(program.line().rfind("Cannot listen on nonsense: this is no IP address.", 0), 0u);
  EXPECT_EQ(program.exitStatus(), 2);
}

TEST(ControlHostProgram, RunsAnAppWithItsAddressAndHandsOnItsExitStatus) {
  Program program({"run", "--", "sh", "-c", "echo $FLIPRUGAIR_CONTROL_HOST; exit 7"});
  const std::string url = program.line();
  EXPECT_EQ("http://" + program.line(), url);
  EXPECT_EQ(program.line().rfind("Nothing came.", 0), 0u);
  EXPECT_EQ(program.exitStatus(), 7);
}

TEST(ControlHostProgram, SaysWhichAppCannotBeStarted) {
  Program program({"run", "--", "/no/such/app"});
  program.line();
  EXPECT_EQ(program.line(),
            "/no/such/app cannot be started: No such file or directory. Give the path of a program that you may run, "
            "behind --.");
  EXPECT_EQ(program.exitStatus(), 2);
}

TEST(ControlHostProgram, TailFollowsARunningHost) {
  const ControlHost host;
  Program tail({"tail", "--at", host.hostname()});
  // Following begins when its connection stands; a request before that is not shown, so they go on until one is.
  std::atomic<bool> shown = false;
  std::thread sender([&] {
    while (!shown) post(host.port(), session);
  });
  EXPECT_EQ(tail.line().substr(12), "  session  MI1");
  // Those behind the first one are the same again.
  std::string line = tail.line();
  while (line.find("which was confirmed") == std::string::npos) line = tail.line();
  EXPECT_TRUE(line.starts_with("    warning  The same as request ")) << line;
  shown = true;
  sender.join();
}

TEST(ControlHostProgram, TailAndRequestsShowWhatMatches) {
  const ControlHost host;
  post(host.port(), Value{{"action", "init"}});
  post(host.port(), session);
  Program list({"requests", "--at", host.hostname(), "action:session"});
  list.line();
  EXPECT_EQ(list.line().rfind("  2    +0.0 s  MI1     session", 0), 0u);
  EXPECT_EQ(list.line(), "  Findings: 0 errors, 1 warning, 1 note");
  Program tail({"tail", "--at", host.hostname(), "action:session", "device:MI1"});
  std::atomic<bool> shown = false;
  std::thread sender([&] {
    while (!shown) {
      post(host.port(), Value{{"action", "init"}});
      post(host.port(), session);
    }
  });
  for (int number = 0; number < 5; ++number) {
    std::string line = tail.line();
    while (line.starts_with("    ")) line = tail.line();
    EXPECT_EQ(line.substr(12), "  session  MI1");
  }
  shown = true;
  sender.join();
}

TEST(ControlHostProgram, AMistypedMatchIsAnErrorThatNamesTheTerms) {
  for (const char* command : {"tail", "requests"}) {
    Program program({command, "action:evnt"});
    EXPECT_EQ(program.line(),
              "\"action:evnt\": no request has the action \"evnt\"; there are batch, deeplink, event, get_attribution, "
              "identityLink, init, initial, session, spatial, update.");
    EXPECT_EQ(program.line().rfind("Terms: action, name,", 0), 0u);
    EXPECT_EQ(program.exitStatus(), 2);
  }
}

TEST(ControlHostProgram, WhatAHostBeginsWithIsRefusedByThoseWhoAskARunningOne) {
  for (const char* command : {"tail", "requests"}) {
    Program program({"--port", "8081", command});
    EXPECT_EQ(program.line(), "--port is for a host that begins. One that runs is asked by --at HOST:PORT.");
    EXPECT_EQ(program.exitStatus(), 2);
  }
}

TEST(ControlHostProgram, ARunningOneIsAskedByTheAddressOfItsPageToo) {
  Program host({"--port", "0"});
  Program program({"requests", "--at", "http://127.0.0.1:" + std::to_string(portOf(host.line())) + '/'});
  std::string said;
  for (int number = 0; number < 20; ++number) said += program.line();
  EXPECT_NE(said.find("Findings: 0 errors"), std::string::npos) << said;
  EXPECT_EQ(program.exitStatus(), 0);
}

TEST(ControlHostProgram, ShowsWhatAnEarlierOneSaved) {
  const TemporaryFile file("");
  const std::string saved = file.path() + ".sqlite";
  {
    Program program({"--port", "0", "--save", saved});
    post(portOf(program.line()), session);
    program.line();
    program.send(SIGKILL);
    program.exitStatus();
  }
  Program program({"--port", "0", "--save", saved});
  const Value list = httpGet(portOf(program.line()), "/api/requests").json();
  EXPECT_EQ(list.dictionary()["requests"].array()[0].dictionary()["action"], Value("session"));
}

TEST(ControlHostProgram, EndsCleanlyOnASignal) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Program program({"--port", "0"});
    program.line();
    program.send(signal);
    EXPECT_EQ(program.exitStatus(), 0);
  }
}

TEST(ControlHostProgram, ShowsBodiesWhenVerbose) {
  Program program({"--port", "0", "--verbose"});
  const int port = portOf(program.line());
  post(port, session);
  while (program.line().substr(0, 8) != "    note") {
  }
  EXPECT_EQ(program.line(), "request: {");
  EXPECT_EQ(program.line(), "    \"marlune_device_id\": \"MI1\",");
}

TEST(ControlHostProgram, AnswersAsItsSettingsFileSays) {
  const TemporaryFile file(R"({"initial": {"success": 0}})");
  Program program({"--port", "0", "--settings", file.path()});
  const int port = portOf(program.line());
  EXPECT_EQ(post(port, Value{{"action", "initial"}}).json(), Value({{"success", 0}}));
}

TEST(ControlHostProgram, SaysThatItsSettingsFileIsNotReadOnceOtherAnswersAreSet) {
  const TemporaryFile file(R"({"initial": {"success": 0}})");
  Program program({"--port", "0", "--settings", file.path()});
  httplib::Client client("127.0.0.1", portOf(program.line()));
  ASSERT_EQ(client.Put("/api/answers", R"({"rules":[]})", "application/json")->status, 200);
  ASSERT_EQ(client.Put("/api/answers", R"({"default":{}})", "application/json")->status, 200);
  EXPECT_EQ(program.line(), "The answers have been set on the page or by PUT /api/answers: changes of " + file.path() +
                                " count again after POST /api/reset.");
}

TEST(ControlHostProgram, RefusesFaultySettings) {
  const TemporaryFile file(R"({"delay": 1})");
  Program program({"--port", "0", "--settings", file.path()});
  EXPECT_EQ(program.line(), file.path() +
                                ": delay is not known; what can stand there: init, initial, attribution, "
                                "resonance_cascade, raw, status, delay_ms");
  EXPECT_EQ(program.exitStatus(), 2);
}

TEST(ControlHostProgram, TeachesWithExamples) {
  Program program({"--help"});
  std::string help;
  for (std::string line = program.line(); help.find("delay_ms  ") == std::string::npos && help.size() < 20000;
       line = program.line()) {
    help += line + '\n';
  }
  EXPECT_NE(help.find("EXAMPLES"), std::string::npos);
  EXPECT_NE(help.find("fliprugair-controlhost --port 0 --verbose"), std::string::npos);
  EXPECT_EQ(program.exitStatus(), 0);
}

}  // namespace

}  // namespace fliprugair::test
