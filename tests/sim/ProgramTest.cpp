// The simulator as a program: arguments, pipes, exit status, and what it needs.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "Child.h"

namespace fliprugair::sim {
namespace {

constexpr const char* constructLine = R"({"do":"construct","options":{"marluneAppId":"demo"}})";

const std::vector<std::string>& commands() {
  static const std::vector<std::string> names{"device", "clock",    "advance", "store",   "installed", "construct",
                                              "call",   "notify",   "reply",   "fail",    "search_ad", "location",
                                              "expire", "delegate", "release", "restart", "state"};
  return names;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

TEST(Help, ShowsEveryCommandWithAnExampleThatRuns) {
  const auto [status, help, errors] = outcomeOf("", {"--help"});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(errors, "");
  std::string examples;
  for (const std::string& line : linesOf(help)) {
    const std::size_t begin = line.find_first_not_of(' ');
    if (begin != std::string::npos && line[begin] == '{' && line.find("\"do\"") != std::string::npos)
      examples += line + "\n";
  }
  for (const std::string& command : commands()) {
    EXPECT_NE(examples.find("{\"do\":\"" + command + "\""), std::string::npos) << command;
  }
  const Outcome run = outcomeOf(examples);
  EXPECT_EQ(run.status, 0) << run.errors;
}

TEST(Help, NamesEveryDeviceField) {
  const std::string help = outcomeOf("", {"--help"}).output;
  for (const std::string field : {"system_name",
                                  "system_version",
                                  "foundation_version",
                                  "hardware",
                                  "languages",
                                  "idfv",
                                  "idfa",
                                  "ad_tracking_enabled",
                                  "screen",
                                  "orientation",
                                  "bundle",
                                  "receipt",
                                  "pasteboards",
                                  "user_agent",
                                  "reachability",
                                  "location_services",
                                  "location_status",
                                  "documents",
                                  "--seed",
                                  "--help",
                                  "--version"}) {
    EXPECT_NE(help.find(field), std::string::npos) << field;
  }
}

TEST(Program, SaysItsVersion) {
  const auto [status, output, errors] = outcomeOf("", {"--version"});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output, "fliprugair-sim " FLIPRUGAIR_PROJECT_VERSION "\n");
  EXPECT_EQ(errors, "");
}

TEST(Program, SaysOnStandardErrorThatACommandDoesNothingAndGoesOn) {
  const auto [status, output, errors] = outcomeOf("{\"do\":\"release\"}\n{\"do\":\"fail\",\"request\":7}\n");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output, "{\"event\":\"done\",\"line\":1}\n{\"event\":\"done\",\"line\":2}\n");
  EXPECT_EQ(errors,
            "fliprugair-sim: standard input line 1: does nothing: there is no tracker to be released\n"
            "fliprugair-sim: standard input line 2: does nothing: request 7 is not pending; none is\n");
}

TEST(Program, SaysNothingWhileEveryCommandDoesSomething) {
  const std::string script = std::string(constructLine) +
                             R"(
{"do":"reply","request":1,"body":{"success":1,"flags":{"resend_initial":false}}}
{"do":"call","method":"trackEvent::","args":["level","7"]}
{"do":"advance","seconds":60}
{"do":"store","get":["nowhere"]}
{"do":"state"}
{"do":"restart"}
)";
  EXPECT_EQ(outcomeOf(script).errors, "");
}

TEST(Program, EndsWellAtTheEndOfTheScript) {
  const auto [status, output, errors] = outcomeOf("");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors, "");
  EXPECT_EQ(outcomeOf(std::string(constructLine)).status, 0) << "the last line needs no end";
}

TEST(Program, CountsEveryLineOfTheScript) {
  const std::string output = outcomeOf("\n# comment\n{\"do\":\"release\"}\n\n  \n{\"do\":\"release\"}\r\n").output;
  EXPECT_EQ(output, "{\"event\":\"done\",\"line\":3}\n{\"event\":\"done\",\"line\":6}\n");
}

TEST(Program, TwoRunsOfOneScriptGiveTheSameBytes) {
  std::string script = std::string(constructLine) + "\n";
  script +=
      R"({"do":"reply","request":1,"body":{"success":1,"blacklist":["idfv"],"whitelist":["location"],"flags":{"mlinit_wait":"90"}}})"
      "\n";
  script += R"({"do":"call","method":"createDeviceId","args":[]})"
            "\n";
  script += R"({"do":"advance","seconds":10})"
            "\n";
  script += R"({"do":"store","get":"all"})"
            "\n"
            R"({"do":"state"})"
            "\n";
  const Outcome first = outcomeOf(script);
  const Outcome second = outcomeOf(script);
  EXPECT_EQ(first.status, 0) << first.errors;
  EXPECT_EQ(first.output, second.output);
  EXPECT_EQ(first.output, outcomeOf(script, {"--seed", "1"}).output);
  const std::string other = outcomeOf(script, {"--seed", "2"}).output;
  EXPECT_NE(first.output, other);
  EXPECT_EQ(linesOf(first.output).size(), linesOf(other).size());
}

TEST(Program, TheSeedChangesIdentifiersAndNothingElse) {
  const std::string script =
      std::string(constructLine) + "\n{\"do\":\"call\",\"method\":\"getMarluneDeviceId\",\"args\":[]}\n";
  const auto identifierIn = [](const std::string& output) {
    const std::size_t begin = output.rfind("\"MI") + 1;
    return output.substr(begin, output.find('"', begin) - begin);
  };
  const auto withoutIdentifier = [&](std::string output) {
    const std::string identifier = identifierIn(output);
    for (std::size_t at = output.find(identifier); at != std::string::npos; at = output.find(identifier, at))
      output.replace(at, identifier.size(), "ID");
    return output;
  };
  const std::string one = outcomeOf(script, {"--seed", "1"}).output;
  const std::string two = outcomeOf(script, {"--seed", "18446744073709551615"}).output;
  EXPECT_EQ(identifierIn(one).size(), 34U);
  EXPECT_NE(identifierIn(one), identifierIn(two));
  EXPECT_EQ(withoutIdentifier(one), withoutIdentifier(two));
}

TEST(Program, ReadsTheScriptFromAFileToo) {
  const auto file = std::filesystem::path(testing::TempDir()) / ("script-" + std::to_string(getpid()) + ".jsonl");
  std::ofstream(file) << constructLine << "\n{\"do\":\"dance\"}\n";
  const Outcome run = outcomeOf("", {file.string()});
  std::filesystem::remove(file);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(linesOf(run.output).back(), R"({"event":"done","line":1})");
  EXPECT_NE(run.errors.find("line 2"), std::string::npos) << run.errors;
}

TEST(Program, RefusesArgumentsThatItCannotUnderstand) {
  const std::string folder = testing::TempDir();
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--seed"},
                                             {"--seed", "x"},
                                             {"--seed", "-1"},
                                             {"--seed", "1.5"},
                                             {"--seed", "0x10"},
                                             {"--seed", "18446744073709551616"},
                                             {"--unknown"},
                                             {"one", "two"},
                                             {"/nowhere/script.jsonl"},
                                             {folder}}) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto [status, output, errors] = outcomeOf("", arguments);
    EXPECT_EQ(status, 2);
    EXPECT_EQ(output, "");
    EXPECT_EQ(linesOf(errors).size(), 1U) << errors;
  }
}

TEST(Program, CanBeDrivenThroughPipes) {
  Child child;
  std::vector<std::string> events;
  const auto run = [&](const std::string& command) {
    child.write(command + "\n");
    events.clear();
    do {
      events.push_back(child.readLine());
    } while (!events.back().empty() && events.back().find("\"event\":\"done\"") == std::string::npos);
    return !events.back().empty();
  };
  ASSERT_TRUE(run(constructLine));
  EXPECT_NE(events.front().find("user_agent_request"), std::string::npos);
  ASSERT_TRUE(run(R"({"do":"reply","request":1,"body":{"success":1,"flags":{"resend_initial":false}}})"));
  ASSERT_TRUE(run(R"({"do":"call","method":"currentLocalTime","args":[]})"));
  EXPECT_EQ(events.front(), R"({"event":"returned","method":"currentLocalTime","value":"1700000000"})");
  ASSERT_TRUE(run(R"({"do":"advance","seconds":1})"));
  ASSERT_TRUE(run(R"({"do":"call","method":"currentLocalTime","args":[]})"));
  EXPECT_EQ(events.front(), R"({"event":"returned","method":"currentLocalTime","value":"1700000001"})");
  EXPECT_EQ(child.wait().status, 0);
}

TEST(Program, SaysAtOnceWhatItCannotUnderstand) {
  Child child;
  child.write("{\"do\":\"dance\"}\n");
  EXPECT_EQ(child.readLine(), "");  // the end, though its input is still open
  EXPECT_EQ(child.wait().status, 2);
}

/// The seconds and the peak memory of `count` events, each batch of which is answered.
struct Cost {
  double seconds;
  long peakKibibytes;
};

Cost costOfEvents(int count) {
  const auto begin = std::chrono::steady_clock::now();
  Child child;
  std::thread writer([&] {
    std::string script = std::string(constructLine) + "\n";
    script += R"({"do":"reply","request":1,"body":{"success":1,"flags":{"resend_initial":false}}})"
              "\n";
    script += R"({"do":"device","system_version":"7.0"})"
              "\n";
    for (int number = 1; number <= count; ++number) {
      script += R"({"do":"call","method":"trackEvent::","args":["level","7"]})"
                "\n";
      if (number % 25 == 0) {
        script += R"({"do":"reply","request":)" + std::to_string(1 + number / 25) +
                  R"(,"body":{"success":1}})"
                  "\n";
        script += R"({"do":"advance","seconds":1})"
                  "\n";
      }
      if (script.size() > 60000) {
        child.write(script);
        script.clear();
      }
    }
    child.write(script + "{\"do\":\"store\",\"get\":\"all\"}\n");
    child.closeInput();
  });
  int batches = 0;
  std::string last;
  for (std::string line = child.readLine(); !line.empty(); line = child.readLine()) {
    if (line.find("\"event\":\"send\"") != std::string::npos) ++batches;
    if (line.find("\"event\":\"store\"") != std::string::npos) last = line;
  }
  writer.join();
  const auto [status, peak] = child.wait();
  EXPECT_EQ(status, 0) << child.errors();
  EXPECT_EQ(batches, count / 25 + 1);
  EXPECT_NE(last.find(R"("com.marlune.marluneTracker.networkQueue":{})"), std::string::npos) << last;
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  return {time.count(), peak};
}

TEST(Program, NeedsNoMoreMemoryForAHundredThousandEventsThanForTenThousand) {
  // With AddressSanitizer: what was freed is soon used again, so that the peak means something.
  setenv("ASAN_OPTIONS", "quarantine_size_mb=4", 0);
  const Cost few = costOfEvents(10000);
  const Cost many = costOfEvents(100000);
  RecordProperty("seconds", std::to_string(many.seconds));
  RecordProperty("kibibytes", std::to_string(many.peakKibibytes));
  EXPECT_LT(many.peakKibibytes, few.peakKibibytes + 16 * 1024);
  EXPECT_LT(many.seconds, 120);
}

}  // namespace
}  // namespace fliprugair::sim
