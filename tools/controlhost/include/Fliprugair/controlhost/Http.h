#pragma once

#include <string>
#include <utility>
#include <vector>

namespace fliprugair::controlhost {

/// Name and value of each, in the order in which they came.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// Why something cannot be read as an HTTP request, and the status that says so.
struct HttpProblem {
  int status = 0;         ///< 0: there is no problem
  std::string text = {};  ///< what is wrong, a sentence
  std::string hint = {};  ///< what to do
};

}  // namespace fliprugair::controlhost
