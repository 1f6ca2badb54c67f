#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace fliprugair {

/// How a control host on this very machine is spoken to. Every other host is spoken to over TLS, always.
enum class LoopbackScheme { http, https };

struct CurlNetworkOptions {
  /// The certificates to trust instead of the system's, a PEM file. When empty: the system's.
  std::string caFile = "";

  /// As "http://proxy.example:3128". When empty: what the environment says (https_proxy, all_proxy, no_proxy), which
  /// may be none. Plain http to a loopback host takes no proxy.
  std::string proxy = "";

  /// A development host on the same machine hardly has a certificate.
  LoopbackScheme loopbackScheme = LoopbackScheme::http;

  /// Both count from the moment when the request's turn has come. No time at all stands for the default.
  std::chrono::milliseconds connectTimeout = std::chrono::seconds(10);
  std::chrono::milliseconds timeout = std::chrono::seconds(30);  ///< from the first packet to the end of the reply

  /// The others wait in the order in which they were sent. From 1 to 8; what lies outside is taken for the nearer one.
  std::size_t requestsAtATime = 8;
};

}  // namespace fliprugair
