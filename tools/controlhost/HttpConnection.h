#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tools/controlhost/HttpServer.h"

namespace fliprugair::controlhost {

/// One connection of a client: hands on what comes, keeps the head of the request as it came, bounds its size and its
/// time, and lets a reply end as it should. Used by one thread, stopReading apart. Closes its socket.
class HttpConnection final : public httplib::Stream {
 public:
  /// A request must come to its end within `requestTime` from its begin.
  explicit HttpConnection(socket_t socket, std::chrono::milliseconds requestTime = std::chrono::seconds(20));
  ~HttpConnection() override;
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// Whether the next request begins within `time`. From here on its own time runs.
  bool waitForRequest(std::chrono::milliseconds time);

  /// The status that says why the request cannot be read; 0 while nothing is wrong.
  int refusedWith() const { return refusedWith_; }

  std::vector<std::pair<std::string, std::string>> headers() const;
  /// Address and port of the client, and those of this host that it reached.
  std::string remote() const;
  std::string local() const;

  void setSending(Sending sending) { sending_ = sending; }
  /// After the reply that is being written there will be no other request: what follows cannot be told apart.
  void endWithThisReply() { endsWithThisReply_ = true; }
  bool endsWithThisReply() const { return endsWithThisReply_; }
  /// A reply of its own, when the library gives none.
  void refuse(int status, const std::string& body);
  /// Says that nothing follows, and takes what still comes for a moment: closing a socket with something unread resets
  /// the connection, which can overtake the reply.
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
  bool keep(char byte);
  bool writeAll(const char* bytes, size_t size);
  void reset();

  const socket_t socket_;
  const std::chrono::milliseconds requestTime_;
  std::string buffer_;
  std::size_t used_ = 0;  ///< of the buffer
  std::string head_;
  bool headComplete_ = false;
  std::chrono::steady_clock::time_point deadline_{};
  int refusedWith_ = 0;
  Sending sending_ = Sending::whole;
  int writes_ = 0;  ///< of the reply
  bool endsWithThisReply_ = false;
  bool ended_ = false;    ///< nothing more is written
  bool isReset_ = false;  ///< closing resets
  std::atomic<bool> stopped_ = false;
};

}  // namespace fliprugair::controlhost
