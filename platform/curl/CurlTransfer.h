#pragma once

#include <curl/curl.h>

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "platform/curl/NetworkRequest.h"
#include "platform/curl/RequestContent.h"

namespace fliprugair {

/// One request on the wire: the easy handle, the body that it sends and the reply that it collects. Stays where it was
/// made, because libcurl points into it. Network thread only.
class CurlTransfer {
 public:
  /// The headers of `content` must outlive the transfer.
  CurlTransfer(NetworkRequest request, RequestContent content, const CurlNetworkOptions& options);
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  CURL* handle() const { return handle_.get(); }
  const NetworkRequest& request() const { return request_; }

  /// Whether the handle took all its options. If not, the transfer must not run.
  CURLcode prepared() const { return prepared_; }

  /// Whether the host has accepted the request; its reply may still be coming. The status alone decides.
  bool isAccepted() const { return status() >= 200 && status() <= 299; }

  /// For the end of the transfer, or its failure to begin. Hands the reply over.
  NetworkOutcome outcome(CURLcode result);

 private:
  struct Cleanup {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };

  template <class Argument>
  void set(CURLoption option, Argument argument);
  void setRequest();
  void setTransport(const CurlNetworkOptions& options);
  long status() const;
  std::chrono::seconds retryAfter() const;
  static std::size_t receiveHead(char* bytes, std::size_t size, std::size_t count, void* transfer);
  static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* transfer);

  NetworkRequest request_;
  RequestContent content_;
  std::string reply_;
  std::optional<bool> takesGzip_;
  std::size_t headSize_ = 0;
  bool replyTooLong_ = false;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  CURLcode prepared_ = CURLE_OK;
  std::unique_ptr<CURL, Cleanup> handle_;
};

}  // namespace fliprugair
