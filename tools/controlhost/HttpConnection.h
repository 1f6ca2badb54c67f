#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>

#include "tools/controlhost/BodyRoom.h"
#include "tools/controlhost/HttpServer.h"
#include "tools/controlhost/RequestHead.h"

namespace fliprugair::controlhost {

/// One connection of a client: hands on what comes, keeps the head of the request as it came, bounds its size and its
/// time, and lets a reply end as it should. Used by one thread, stopReading apart. Closes its socket.
class HttpConnection final : public httplib::Stream {
 public:
  /// A request must come to its end within `requestTime` from its begin.
  HttpConnection(socket_t socket, BodyRoom& room, std::chrono::milliseconds requestTime = std::chrono::seconds(20));
  ~HttpConnection() override;
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// Whether the next request begins within `time`. From here on its own time runs.
  bool waitForRequest(std::chrono::milliseconds time);

  /// Longest body that is read, as it comes.
  static constexpr std::size_t longestBody = std::size_t{16} * 1024 * 1024;

  /// Takes room for so many bytes of the body more; false when there is none beside other bodies.
  bool takeRoom(std::size_t bytes) { return room_.take(bytes); }

  /// Why the request cannot be read, as far as is known by now.
  const HttpProblem& problem() const { return problem_; }
  /// Reads the rest of the head, of which nobody else will.
  void finishHead();
  /// Nothing until it has come whole, or when it is none.
  const std::optional<RequestHead>& head() const { return head_; }
  /// How long the request has been coming.
  std::chrono::microseconds age() const;
  /// What comes of a body that nobody reads, up to `most` bytes; waits for no more than a moment.
  std::string beginOfBody(std::size_t most);
  /// Address and port of the client, and those of this host that it reached.
  std::string remote() const;
  std::string local() const;

  void setSending(Sending sending, bool hasBody);
  /// Whether anything was given to write as a reply.
  bool hasReplied() const { return hasReplied_; }
  /// After the reply that is being written there will be no other request: what follows cannot be told apart.
  void endWithThisReply() { endsWithThisReply_ = true; }
  bool endsWithThisReply() const { return endsWithThisReply_; }
  /// A reply of its own, when the library gives none.
  void refuse(int status, const std::string& body);
  /// Says that nothing follows, and takes what still comes until the client is silent for a moment or the request's
  /// time is over: closing a socket with something unread resets the connection, which can overtake the reply.
  void drain();
  /// Whether the client has gone. Takes up to `time` to find out that it has not.
  bool clientHasGone(std::chrono::milliseconds time) const;
  /// Ends every wait for the client. Any thread.
  void stopReading();

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* bytes, size_t size) override;
  ssize_t write(const char* bytes, size_t size) override;
  using Stream::write;
  void get_remote_ip_and_port(std::string& address, int& port) const override;
  void get_local_ip_and_port(std::string& address, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  bool fill();
  void keep(char byte);
  std::chrono::milliseconds timeLeft() const;
  bool writeAll(const char* bytes, size_t size);
  void reset();

  const socket_t socket_;
  const std::chrono::milliseconds requestTime_;
  std::string buffer_;
  std::size_t used_ = 0;  ///< of the buffer
  std::string headBytes_;
  std::optional<RequestHead> head_;
  bool headComplete_ = false;
  std::size_t bodySize_ = 0;  ///< as far as it was read
  BodyRoom::Share room_;
  std::chrono::steady_clock::time_point begin_{};
  HttpProblem problem_;
  Sending sending_ = Sending::whole;
  int piecesLeft_ = 0;  ///< that the library writes before the one that is to break off
  bool hasReplied_ = false;
  bool endsWithThisReply_ = false;
  bool ended_ = false;    ///< nothing more is written
  bool isReset_ = false;  ///< closing resets
  std::atomic<bool> stopped_ = false;
};

}  // namespace fliprugair::controlhost
