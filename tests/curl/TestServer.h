#pragma once

#include <functional>
#include <memory>
#include <string>

#include "curl/Doubles.h"

namespace fliprugair::test {

struct Certificate {
  std::string certificateFile;
  std::string keyFile;
};

/// A control host on a free port of 127.0.0.1, over TLS when it has a certificate. Its handler runs on a thread of its
/// own for every connection. Tests of the network send what no tracker would, as small as it may be; what trackers
/// send to it is to be checked by the handler.
class TestServer {
 public:
  struct Request {
    std::string method;
    std::string path;
    std::string body;
    std::string contentType;
    bool isExpectant = false;  ///< it wanted to be told to go on before it sends its body
    int clientPort = 0;
    std::string contentEncoding = "";
    std::size_t length = 0;  ///< of the body as it came
  };
  struct Reply {
    int status = 200;
    std::string body = R"({"success":1})";
    std::string location = "";
    std::string retryAfter = "";
    std::string acceptEncoding = "";
  };
  using Handler = std::function<Reply(const Request&)>;

  TestServer();  ///< accepts everything
  explicit TestServer(Handler handler);
  TestServer(const Certificate& certificate, Handler handler);
  ~TestServer();

  int port() const;
  std::string hostname(const std::string& host = "127.0.0.1") const { return host + ":" + std::to_string(port()); }

  Mailbox<Request> requests;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// A port of 127.0.0.1 that nobody listens on, for as long as this object lives.
class DeadPort {
 public:
  DeadPort();
  ~DeadPort();
  DeadPort(const DeadPort&) = delete;
  DeadPort& operator=(const DeadPort&) = delete;
  std::string hostname() const { return "127.0.0.1:" + std::to_string(port_); }

 protected:
  int socket_ = -1;

 private:
  int port_ = 0;
};

/// A port on which the system takes connections, which nobody answers who does not accept them.
class SilentPort : public DeadPort {
 public:
  SilentPort();
  int listener() const { return socket_; }
};

}  // namespace fliprugair::test
