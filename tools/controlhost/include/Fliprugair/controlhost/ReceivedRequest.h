#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "Fliprugair/controlhost/Finding.h"
#include "Fliprugair/controlhost/Http.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// One request as it arrived and was answered.
struct ReceivedRequest {
  std::int64_t id = 0;  ///< counts from 1
  double received = 0;  ///< seconds since 1970
  std::string method;   ///< of HTTP
  std::string path;     ///< with its query
  std::string remote;   ///< address and port of the sender
  HttpHeaders headers;
  std::string bytes;                     ///< the body, without its compression
  std::string compressed;                ///< the body as it came, when it was compressed
  HttpProblem problem;                   ///< why it could not be read as HTTP; then `bytes` is what came, as it came
  std::chrono::microseconds arrival{0};  ///< from its first byte to its last

  // What is read from it.
  std::string action;              ///< or "batch"; "" when it is no request
  std::string device;              ///< identifier of the device; of a batch that of its first record
  std::string app;                 ///< identifier of the application
  std::int64_t records = 0;        ///< of a batch; 1 for any other request
  std::vector<std::string> names;  ///< what each record is, in a few words

  // The reply.
  int status = 0;  ///< of HTTP; 0: there was none
  HttpHeaders replyHeaders;
  std::string reply;                       ///< its body, as far as it went out
  std::chrono::microseconds answering{0};  ///< from the last byte of the request until the reply stood
  std::int64_t rule = -1;                  ///< the number of the rule that answered; -1: none did
  std::chrono::milliseconds delay{0};      ///< time that the reply waited on purpose
  bool isWhole = true;                     ///< whether the reply went out to its end
  std::string fault;                       ///< what was done to it on purpose, in words; "": nothing

  std::vector<Finding> findings;  ///< what is wrong with it, or worth a look

  /// What came, as JSON; the text when it is not JSON.
  Value body() const;
  /// Of a batch its records, of another request that one; none when it is no request, or could not be read.
  Array items() const;
  /// Whether the sender can take it for accepted.
  bool isConfirmed() const { return isWhole && status >= 200 && status < 300; }
};

}  // namespace fliprugair::controlhost
