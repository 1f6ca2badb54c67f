#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "curl/TestServer.h"

namespace fliprugair::test {

/// One connection to a server that says exactly what its test tells it to.
class RawConnection {
 public:
  explicit RawConnection(int descriptor) : descriptor_(descriptor) {}

  int descriptor() const { return descriptor_; }

  /// The next request, head and body; "" when the other side has closed.
  std::string readRequest();
  /// False when the other side takes no more.
  bool write(std::string_view bytes);
  /// Returns when the other side has closed, or said something.
  void waitForClose();

 private:
  int descriptor_;
};

/// A server on a free port of 127.0.0.1 that calls its handler with every connection, on a thread of its own, and then
/// closes it.
class RawServer {
 public:
  using Handler = std::function<void(RawConnection&)>;

  explicit RawServer(Handler handler);
  /// The clients are gone by then, or what they are told ends.
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  std::string hostname() const { return port_.hostname(); }

 private:
  void serve();

  const SilentPort port_;
  const Handler handler_;
  std::list<std::thread> connections_;
  std::thread thread_;
};

}  // namespace fliprugair::test
