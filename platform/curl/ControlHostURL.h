#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Fliprugair/platform/curl/CurlNetworkOptions.h"

namespace fliprugair {

/// Where the requests for one host go.
struct ControlHostURL {
  std::string text;
  bool plain = false;  ///< http, hence on this machine
};

/// The URL for `hostname`, which is a name, an IPv4 address or an IPv6 address in brackets, with ":port" or without.
/// None when it is anything else: no text can reach beyond the host's place in the URL. International names are
/// given in their ASCII form ("xn--").
std::optional<ControlHostURL> controlHostURL(std::string_view hostname, LoopbackScheme loopbackScheme);

}  // namespace fliprugair
