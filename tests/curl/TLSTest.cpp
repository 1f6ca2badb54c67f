#include <csignal>

#include "curl/Certificates.h"
#include "curl/ConnectProxy.h"
#include "curl/NetworkTest.h"
#include "curl/TLSListener.h"
#include "curl/TestServer.h"
#include "support/TemporaryFolder.h"

namespace fliprugair::test {

namespace {

class TLS : public NetworkTest {
 protected:
  /// The TLS library of the servers here writes to connections that a client has given up.
  void SetUp() override {
    NetworkTest::SetUp();
    std::signal(SIGPIPE, SIG_IGN);
  }

  /// A request to `listener` fails, and not one byte of it is heard.
  void expectThatNothingIsSaidTo(TLSListener& listener, const std::string& caFile) {
    const Running running = start(caFile);
    sendQueued(listener.hostname());
    expectStillQueued();
    const std::vector<TLSListener::Heard> heard = listener.heard.wait(1);
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].bytes, 0U);
  }

  [[nodiscard]] Running start(const std::string& caFile) {
    return NetworkTest::start({.caFile = caFile, .loopbackScheme = LoopbackScheme::https});
  }

  Certificate certificate(const std::string& name, const std::string& subject, Validity validity = Validity::today) {
    return makeCertificate((folder_ / name).string(), subject, validity);
  }

  static TestServer::Reply accept(const TestServer::Request&) { return {}; }

  TemporaryFolder folder_;
};

TEST_F(TLS, AHostWithATrustedCertificateIsAsked) {
  const Certificate made = certificate("trusted", "IP:127.0.0.1");
  TestServer server(made, accept);
  const Running running = start(made.certificateFile);
  sendQueued(server.hostname());
  expectAccepted();
  EXPECT_EQ(delegate_->calls.items().size(), 1u);
}

TEST_F(TLS, AHostNameIsCheckedByName) {
  const Certificate made = certificate("named", "DNS:localhost");
  TestServer server(made, accept);
  const Running running = start(made.certificateFile);
  sendQueued(server.hostname("localhost"));
  expectAccepted();
}

TEST_F(TLS, ACertificateNobodyVouchesForIsRefused) {
  TestServer server(certificate("unknown", "IP:127.0.0.1"), accept);
  const Running running = start(certificate("other", "IP:127.0.0.1").certificateFile);
  sendQueued(server.hostname());
  expectStillQueued();
  expectLogged("certificate");
  EXPECT_TRUE(server.requests.items().empty());
}

TEST_F(TLS, WithoutACAFileTheSystemsAreTrusted) {
  TestServer server(certificate("private", "IP:127.0.0.1"), accept);
  const Running running = start("");
  sendQueued(server.hostname());
  expectStillQueued();
  expectLogged("certificate");
}

TEST_F(TLS, AnExpiredCertificateIsRefused) {
  const Certificate made = certificate("expired", "IP:127.0.0.1", Validity::yesterday);
  TestServer server(made, accept);
  const Running running = start(made.certificateFile);
  sendQueued(server.hostname());
  expectStillQueued();
  expectLogged("expired");
  EXPECT_TRUE(server.requests.items().empty());
}

TEST_F(TLS, ACertificateForAnotherHostIsRefused) {
  const Certificate made = certificate("elsewhere", "DNS:elsewhere.example");
  TestServer server(made, accept);
  const Running running = start(made.certificateFile);
  sendQueued(server.hostname());
  expectStillQueued();
  expectLogged("no alternative certificate subject name matches");
  EXPECT_TRUE(server.requests.items().empty());
}

TEST_F(TLS, AHostThatIsTrustedHearsTheRequest) {
  const Certificate made = certificate("trusted", "IP:127.0.0.1");
  TLSListener listener(made);
  const Running running = start(made.certificateFile);
  sendQueued(listener.hostname());
  EXPECT_GT(listener.heard.wait(1).at(0).bytes, 100U);
}

TEST_F(TLS, AnExpiredCertificateHearsNoByte) {
  const Certificate made = certificate("expired", "IP:127.0.0.1", Validity::yesterday);
  TLSListener listener(made);
  expectThatNothingIsSaidTo(listener, made.certificateFile);
  expectLogged("expired");
}

TEST_F(TLS, ASelfSignedCertificateHearsNoByte) {
  TLSListener listener(certificate("own", "IP:127.0.0.1"));
  expectThatNothingIsSaidTo(listener, certificate("trusted", "IP:127.0.0.1").certificateFile);
  expectLogged("certificate");
}

TEST_F(TLS, ACertificateForAnotherHostHearsNoByte) {
  const Certificate made = certificate("elsewhere", "DNS:elsewhere.example");
  TLSListener listener(made);
  expectThatNothingIsSaidTo(listener, made.certificateFile);
  expectLogged("no alternative certificate subject name matches");
}

TEST_F(TLS, AnOldProtocolHearsNoByte) {
  const Certificate made = certificate("old", "IP:127.0.0.1");
  TLSListener listener(made, Protocols::beforeTLS12);
  expectThatNothingIsSaidTo(listener, made.certificateFile);
  EXPECT_FALSE(listener.heard.items()[0].shookHands);
  ASSERT_TRUE(saysWithoutCare(listener.hostname(), "{}")) << "the server speaks no TLS at all";
  EXPECT_EQ(listener.heard.wait(2).at(1).bytes, 2U);
}

TEST_F(TLS, AHostBehindAProxyThatGrantedTheWayIsStillChecked) {
  ConnectProxy proxy;
  TLSListener listener(certificate("behind", "IP:127.0.0.1"));
  const Running running = NetworkTest::start({.caFile = certificate("other", "IP:127.0.0.1").certificateFile,
                                              .proxy = proxy.url(),
                                              .loopbackScheme = LoopbackScheme::https});
  sendQueued(listener.hostname());
  expectStillQueued();
  EXPECT_EQ(proxy.asked.items().size(), 1U);
  EXPECT_EQ(listener.heard.wait(1).at(0).bytes, 0U);
}

TEST_F(TLS, AMissingCAFileIsAFailure) {
  TestServer server(certificate("good", "IP:127.0.0.1"), accept);
  const Running running = start("absent.crt");
  sendQueued(server.hostname());
  expectStillQueued();
  expectLogged("absent.crt");
}

TEST_F(TLS, TravelsThroughTheProxy) {
  const Certificate made = certificate("behind", "IP:127.0.0.1");
  ConnectProxy proxy;
  TestServer server(made, accept);
  const Running running = NetworkTest::start(
      {.caFile = made.certificateFile, .proxy = proxy.url(), .loopbackScheme = LoopbackScheme::https});
  sendQueued(server.hostname());
  expectAccepted();
  EXPECT_EQ(proxy.asked.items(), std::vector<std::string>{"CONNECT " + server.hostname() + " HTTP/1.1"});
}

TEST_F(TLS, TravelsThroughTheProxyThatTheEnvironmentNames) {
  const Certificate made = certificate("behind", "IP:127.0.0.1");
  ConnectProxy proxy;
  TestServer server(made, accept);
  setenv("https_proxy", proxy.url().c_str(), 1);
  const Running running = start(made.certificateFile);
  sendQueued(server.hostname());
  expectAccepted();
  EXPECT_EQ(proxy.asked.items().size(), 1U);
}

TEST_F(TLS, FailsWhenTheProxyIsNotThere) {
  const Certificate made = certificate("behind", "IP:127.0.0.1");
  const DeadPort proxy;
  TestServer server(made, accept);
  const Running running = NetworkTest::start(
      {.caFile = made.certificateFile, .proxy = "http://" + proxy.hostname(), .loopbackScheme = LoopbackScheme::https});
  sendQueued(server.hostname());
  expectStillQueued();
  expectLogged("failed, Failed to connect");
  EXPECT_TRUE(server.requests.items().empty());
}

TEST_F(TLS, TakesNoProxyToAHostThatTheEnvironmentExcepts) {
  const Certificate made = certificate("excepted", "IP:127.0.0.1");
  const DeadPort proxy;
  TestServer server(made, accept);
  setenv("https_proxy", ("http://" + proxy.hostname()).c_str(), 1);
  setenv("no_proxy", "127.0.0.1", 1);
  const Running running = start(made.certificateFile);
  sendQueued(server.hostname());
  expectAccepted();
}

TEST_F(TLS, AHostThatNeverShakesHandsIsGivenUpWithinTheTimeToConnect) {
  const SilentPort port;
  const Running running = NetworkTest::start({.loopbackScheme = LoopbackScheme::https,
                                              .connectTimeout = std::chrono::milliseconds(100),
                                              .timeout = std::chrono::hours(1)});
  sendQueued(port.hostname());
  expectStillQueued();
  expectLogged("timeout");
}

TEST_F(TLS, WhatIsNotEncryptedTakesNoProxy) {
  const DeadPort proxy;
  TestServer server;
  const Running running = NetworkTest::start({.proxy = "http://" + proxy.hostname()});
  sendQueued(server.hostname());
  expectAccepted();
}

TEST_F(TLS, WhatIsNotEncryptedTakesNoProxyOfTheEnvironmentEither) {
  const DeadPort proxy;
  TestServer server;
  setenv("http_proxy", ("http://" + proxy.hostname()).c_str(), 1);
  const Running running = NetworkTest::start();
  sendQueued(server.hostname());
  expectAccepted();
}

TEST_F(TLS, AHostOtherThanLoopbackIsNeverAskedInPlain) {
  TestServer server;
  const Running running = NetworkTest::start();
  sendQueued(server.hostname("0.0.0.0"));  // reaches this machine, and is not called a loopback address
  expectStillQueued();
  expectLogged("https://0.0.0.0");
  EXPECT_TRUE(server.requests.items().empty());
}

}  // namespace

}  // namespace fliprugair::test
