#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "curl/TestServer.h"

namespace fliprugair::test {

/// A proxy on a free port of 127.0.0.1 that tunnels, one connection after the other, to ports of the same machine.
class ConnectProxy {
 public:
  ConnectProxy();
  ~ConnectProxy();
  ConnectProxy(const ConnectProxy&) = delete;
  ConnectProxy& operator=(const ConnectProxy&) = delete;

  std::string url() const { return "http://" + port_.hostname(); }

  Mailbox<std::string> asked;  ///< the first line of what each client said

 private:
  void serve();
  void tunnel(int client);

  const SilentPort port_;
  std::atomic<bool> stops_ = false;
  std::thread thread_;
};

}  // namespace fliprugair::test
