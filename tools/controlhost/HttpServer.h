#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "tools/controlhost/HttpHeaders.h"
#include "tools/controlhost/HttpProblem.h"

namespace fliprugair::controlhost {

struct HttpRequest {
  std::string method;
  std::string target;  ///< as it came: path and query
  std::string path;
  std::map<std::string, std::string> query;
  HttpHeaders headers;                   ///< as they came, in their order
  std::string body;                      ///< without its compression; with a problem: what came of it, as it came
  std::string remote;                    ///< address and port of the client
  std::string local = {};                ///< address and port at which it reached this host
  std::string compressed = {};           ///< the body as it came, when it was compressed
  HttpProblem problem = {};              ///< why it cannot be read; its reply has this status
  std::chrono::microseconds arrival{0};  ///< from its first byte to its last
  /// Whether the client has gone, who then gets no reply; may be asked until there is one. Empty: it has not.
  std::function<bool()> isAbandoned = {};
};

/// How a reply leaves.
enum class Sending {
  whole,
  never,         ///< the client waits until it or the server gives up
  resetBefore,   ///< the connection is reset instead
  resetDuring,   ///< the connection is reset in the middle of the body
  endsTooEarly,  ///< the connection is closed in the middle of the body
};

struct HttpReply {
  int status = 200;
  std::string contentType = {};
  std::string body = {};
  std::chrono::milliseconds delay{0};  ///< before it goes out
  Sending sending = Sending::whole;
  HttpHeaders headers = {};

  /// A reply in pieces, instead of `body`: asked for the next one again and again while the client is there. It may
  /// take a second to answer; "" is "nothing yet", nullopt ends the reply.
  std::function<std::optional<std::string>()> next = {};
};

/// How much goes out of so many bytes in whose middle the connection breaks off.
constexpr std::size_t middleOf(std::size_t size) { return size / 2; }

/// HTTP/1.1 on one port. Listens from construction to stop; the handler runs on several threads at once, one for each
/// connection. What is too slow, too large or broken is given to it with its problem, when at least its head can be
/// read; what has not even that is refused here, and so are connections beyond what it can serve.
class HttpServer {
 public:
  using Handler = std::function<HttpReply(const HttpRequest&)>;
  /// The body of a reply to what never reaches the handler, in JSON. Any thread.
  using Refusal = std::function<std::string(const HttpProblem&)>;

  /// Port 0 is any free one. Throws std::runtime_error when it cannot listen there.
  HttpServer(const std::string& address, int port, Handler handler, Refusal refusal);
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
