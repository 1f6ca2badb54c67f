// Too few file descriptors, and a process that is the child of another.

#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "curl/NetworkTest.h"
#include "curl/TestServer.h"
#include "support/FewDescriptors.h"

namespace fliprugair::test {

namespace {

class Shortage : public NetworkTest {};

TEST_F(Shortage, OfDescriptorsIsSaidWhenTheNetworkIsMade) {
  for (std::size_t count = 0; count < 6; ++count) {
    const FewDescriptors few(count);
    try {
      const Running running = start();
      ADD_FAILURE() << "made with " << count;
    } catch (const std::runtime_error& error) {
      EXPECT_NE(std::string(error.what()).find("needs 6 free file descriptors"), std::string::npos) << error.what();
    }
  }
}

TEST_F(Shortage, WithJustEnoughDescriptorsARequestArrives) {
  TestServer server;
  std::unique_ptr<FewDescriptors> few = std::make_unique<FewDescriptors>(7);  // one is the server's own
  const Running running = start();
  sendQueued(server.hostname());
  few.reset();
  expectAccepted();
}

TEST_F(Shortage, ANetworkThatIsGoneHasGivenItsDescriptorsBack) {
  const FewDescriptors justEnough(6);
  for (int round = 0; round < 2; ++round) {
    EXPECT_NO_THROW(static_cast<void>(start()));
    network_.reset();
  }
}

TEST_F(Shortage, OfDescriptorsLaterFailsTheRequestAndStopStillEnds) {
  TestServer server;
  const Running running = start();
  std::unique_ptr<FewDescriptors> few = std::make_unique<FewDescriptors>(0);
  sendQueued(server.hostname());
  few.reset();
  expectStillQueued();
  sendQueued(server.hostname());
  expectAccepted();
}

TEST_F(Shortage, AChildProcessSendsNothingAndItsEndDisturbsNobody) {
  TestServer server;
  const Running running = start();
  sendQueued(server.hostname());
  const std::shared_ptr<MarluneNetworkAccess> access = network_->makeAccess();
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);  // what hangs is ended
    bool called = false;
    const bool sent = access->sendHTTPRequestWithHostname(server.hostname(), Value{{"action", "init"}});
    network_->whenIdle([&] { called = true; });
    const bool isIdle = network_->isIdle();
    network_->stop();
    network_.reset();
    _exit(!sent && called && isIdle ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  send(server.hostname(), Value{{"action", "update"}});
  application_.ended.wait(2);
  const std::vector<TestServer::Request> requests = server.requests.items();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].clientPort, requests[1].clientPort) << "the child has ended the parent's connection";
}

TEST_F(Shortage, AChildProcessHasNothingUnderWayWhateverItsParentSends) {
  Gate answered;
  Mailbox<int> inside;
  TestServer server([&](const TestServer::Request&) {
    inside.put(1);
    answered.pass();
    return TestServer::Reply{};
  });
  const Running running = start();
  send(server.hostname(), Value{{"action", "event"}});
  inside.wait(1);
  EXPECT_FALSE(network_->isIdle());
  const pid_t child = fork();
  if (child == 0) _exit(network_->isIdle() ? 0 : 1);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  answered.open();
  application_.ended.wait(1);
}

}  // namespace

}  // namespace fliprugair::test
