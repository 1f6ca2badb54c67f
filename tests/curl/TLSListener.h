#pragma once

#include <cstddef>
#include <string>

#include "curl/RawServer.h"

namespace fliprugair::test {

enum class Protocols { current, beforeTLS12 };

/// A TLS server that listens to whatever a client says once their hands are shaken, and answers nothing.
class TLSListener {
 public:
  struct Heard {
    bool shookHands = false;
    std::size_t bytes = 0;  ///< of the request
  };

  explicit TLSListener(const Certificate& certificate, Protocols protocols = Protocols::current);

  std::string hostname() const { return server_.hostname(); }

  Mailbox<Heard> heard;  ///< one for each connection that has ended

 private:
  const Certificate certificate_;
  const Protocols protocols_;
  RawServer server_;
};

/// Says `text` to the server at this hostname as a client that takes any protocol and any certificate. Whether it got
/// that far.
bool saysWithoutCare(const std::string& hostname, const std::string& text);

}  // namespace fliprugair::test
