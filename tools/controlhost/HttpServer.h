#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace fliprugair::controlhost {

struct HttpRequest {
  std::string method;  ///< "GET" or "POST"
  std::string path;
  std::string body;
};

struct HttpReply {
  int status = 200;
  std::string contentType;
  std::string body;
  std::chrono::milliseconds delay{0};  ///< before it goes out
};

/// HTTP/1.1 on one port. Listens from construction to stop; the handler runs on several threads at once.
class HttpServer {
 public:
  using Handler = std::function<HttpReply(const HttpRequest&)>;

  /// Port 0 is any free one. Throws std::runtime_error when it cannot listen there.
  HttpServer(const std::string& address, int port, Handler handler);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  int port() const;

  /// Returns when the last handler has. Replies that are being delayed go out at once.
  void stop();

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace fliprugair::controlhost
