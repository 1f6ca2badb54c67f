// A process may end while every thread of the platform's is at work.

#include <csignal>
#include <random>

#include "curl/Certificates.h"
#include "curl/TestServer.h"
#include "e2e/HostApp.h"
#include "e2e/Program.h"
#include "support/WireFormat.h"

namespace fliprugair::e2e {
namespace {

/// Twenty lives that end by exit(), each after some other time of up to `longest` microseconds.
void expectQuietExits(const std::string& hostname, unsigned longest, const std::vector<std::string>& more = {}) {
  std::minstd_rand random(20260921);
  for (int round = 0; round < 20; ++round) {
    const TemporaryFolder folder;
    std::vector<std::string> arguments{FLIPRUGAIR_VICTIM, "exit", (folder.path() / "store.sqlite").string(), hostname,
                                       std::to_string(random() % longest)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProgramRun run = runProgram(arguments);
    EXPECT_EQ(run.exitStatus, 0) << "round " << round;
    EXPECT_EQ(run.output, "") << "round " << round;
  }
}

TEST(Exit, WithLiveThreadsIsAsQuietAsAnyOther) {
  // Each life is a new installation on this machine, whose threads say the same many times in a second.
  CheckedHost host({}, {"batch-size", "device-changed", "duplicate", "resent"});
  expectQuietExits(host.hostname(), 100000);
}

TEST(Exit, InTheMidstOfTLSIsAsQuietAsAnyOther) {
  std::signal(SIGPIPE, SIG_IGN);  // the server's TLS library writes to connections that a client has given up
  const TemporaryFolder folder;
  const test::Certificate certificate = test::makeCertificate((folder.path() / "host").string(), "IP:127.0.0.1");
  test::TestServer server(certificate, [](const test::TestServer::Request& request) {
    EXPECT_EQ(test::wireFaultsOfText(request.body, {"batch-size"}), "") << request.body;
    return test::TestServer::Reply();
  });
  expectQuietExits(server.hostname(), 20000, {certificate.certificateFile});
}

}  // namespace
}  // namespace fliprugair::e2e
