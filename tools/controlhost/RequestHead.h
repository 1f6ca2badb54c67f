#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tools/controlhost/HttpHeaders.h"
#include "tools/controlhost/HttpProblem.h"

namespace fliprugair::controlhost {

/// The head of a request as it came: what stands before its body.
struct RequestHead {
  std::string method;
  std::string target;
  HttpHeaders headers;  ///< in their order

  /// Whether a body follows it.
  bool hasBody() const;
};

/// None when `bytes` are not the whole head of an HTTP/1 request.
std::optional<RequestHead> requestHeadOf(std::string_view bytes);

/// Why it cannot be told how long the body is, or that it is longer than `longest`. Two readers of such a request may
/// take different bytes for the begin of the next one.
HttpProblem framingProblem(const RequestHead& head, std::size_t longest);

}  // namespace fliprugair::controlhost
