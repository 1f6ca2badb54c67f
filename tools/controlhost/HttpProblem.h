#pragma once

#include <string>
#include <string_view>

namespace fliprugair::controlhost {

/// Why something cannot be read as an HTTP request, and the status that says so.
struct HttpProblem {
  int status = 0;  ///< 0: there is no problem
  std::string text = {};
  std::string hint = {};  ///< what to do
};

/// The usual words for a status.
HttpProblem httpProblem(int status);

/// What stands behind the status in a reply, of those that are usual; "" of the others.
std::string_view reasonPhrase(int status);

/// Whether a reply with this status can have a body.
bool canHaveBody(int status);

}  // namespace fliprugair::controlhost
