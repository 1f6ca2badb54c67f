// What a run of a host app asks of the system: files and addresses.

#include <fstream>
#include <regex>

#include "e2e/HostApp.h"
#include "e2e/Program.h"

namespace fliprugair::e2e {
namespace {

/// The calls of a whole visit, one a line, with what each descriptor stands for.
std::vector<std::string> callsOfAVisit(const std::filesystem::path& folder, const std::string& hostname) {
  const std::string trace = (folder / "trace").string();
  const ProgramRun run = runProgram({"strace", "-E", "ASAN_OPTIONS=detect_leaks=0", "-f", "-yy", "-s", "4096", "-o",
                                     trace, "-e", "trace=%file,%network,write", FLIPRUGAIR_VISIT, "--host", hostname,
                                     "--folder", (folder / "app").string()});
  EXPECT_EQ(run.exitStatus, 0) << run.output;
  std::vector<std::string> calls;
  std::ifstream file(trace);
  for (std::string line; std::getline(file, line);) calls.push_back(line);
  return calls;
}

class SystemCalls : public testing::Test {
 protected:
  SystemCalls() {
    ControlHostOptions options;
    options.settings = [] {
      controlhost::HostSettings settings;
      settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}, {"getattribution_wait", 1}}}};
      settings.attribution = {1, 1, Value{{"network", "Example Ads"}}};
      return settings;
    };
    host_.emplace(options);
    calls = callsOfAVisit(folder_.path(), host_->hostname());
  }

  std::string app() const { return (folder_.path() / "app").string(); }
  std::string port() const { return std::to_string(host_->port()); }

  std::vector<std::string> calls;

 private:
  TemporaryFolder folder_;
  std::optional<CheckedHost> host_;
};

TEST_F(SystemCalls, NothingIsWrittenOutsideTheFolderOfTheApp) {
  const std::regex writing(
      R"(\b((open(at)?\(.*\b(O_WRONLY|O_RDWR|O_CREAT|O_TRUNC)\b)|((creat|mkdir|mkdirat|rename|renameat|renameat2|unlink|unlinkat|rmdir|truncate|link|linkat|symlink|symlinkat|mknod|mknodat|chmod|fchmodat|chown|fchownat|utimensat)\()))");
  const std::regex path(R"re("([^"]*)")re");
  std::size_t inside = 0;
  for (const std::string& call : calls) {
    if (!std::regex_search(call, writing)) continue;
    for (std::sregex_iterator each(call.begin(), call.end(), path), end; each != end; ++each) {
      const std::string name = (*each)[1];
      const bool isApps = name == app() || name.starts_with(app() + "/");
      inside += isApps;
      const bool isSanitizers = name.starts_with("/tmp/tsan.rodata.");  // made and removed by ThreadSanitizer itself
      EXPECT_TRUE(isApps || isSanitizers || name == "/dev/null") << call;
    }
  }
  EXPECT_GT(inside, 3U);
}

TEST_F(SystemCalls, NothingIsSentToAnybodyButTheHost) {
  const std::string address = "{sa_family=AF_INET, sin_port=htons(" + port() + "), sin_addr=inet_addr(\"127.0.0.1\")}";
  std::size_t connections = 0;
  for (const std::string& call : calls) {
    // To connect a datagram socket asks for a route; to ask the name service or the kernel leaves the machine
    // untouched.
    if (call.find(" connect(") != call.npos && call.find("<TCP") != call.npos) {
      EXPECT_NE(call.find(address), call.npos) << call;
      ++connections;
    }
    const bool isSending = std::regex_search(call, std::regex(R"( (sendto|sendmsg|sendmmsg|write)\()"));
    EXPECT_FALSE(isSending && call.find("<UDP") != call.npos) << call;
    EXPECT_EQ(call.find(" listen("), call.npos) << call;
  }
  EXPECT_GT(connections, 0U);
}

}  // namespace
}  // namespace fliprugair::e2e
