#include "platform/curl/CurlTransfer.h"

#include <utility>

namespace fliprugair {

namespace {

constexpr std::size_t longestReply = std::size_t{1024} * 1024;

}  // namespace

CurlTransfer::CurlTransfer(NetworkRequest request, std::string body, const CurlNetworkOptions& options,
                           curl_slist* headers)
    : request_(std::move(request)), body_(std::move(body)), handle_(curl_easy_init()) {
  if (handle_ == nullptr) {
    prepared_ = CURLE_OUT_OF_MEMORY;
    return;
  }
  setRequest(headers);
  setTransport(options);
}

template <class Argument>
void CurlTransfer::set(CURLoption option, Argument argument) {
  const CURLcode code = curl_easy_setopt(handle_.get(), option, argument);
  if (prepared_ == CURLE_OK) prepared_ = code;
}

void CurlTransfer::setRequest(curl_slist* headers) {
  set(CURLOPT_URL, request_.url.text.c_str());
  set(CURLOPT_HTTPHEADER, headers);
  set(CURLOPT_POSTFIELDS, body_.c_str());
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
  set(CURLOPT_WRITEFUNCTION, &CurlTransfer::receiveBytes);
  set(CURLOPT_WRITEDATA, static_cast<void*>(this));
  set(CURLOPT_PRIVATE, static_cast<void*>(this));
  set(CURLOPT_ERRORBUFFER, errorText_.data());
}

void CurlTransfer::setTransport(const CurlNetworkOptions& options) {
  set(CURLOPT_PROTOCOLS_STR, request_.url.plain ? "http" : "https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (!options.caFile.empty()) {
    set(CURLOPT_CAINFO, options.caFile.c_str());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  if (request_.url.plain) {
    set(CURLOPT_PROXY, "");  // would carry the text off this machine
  } else if (!options.proxy.empty()) {
    set(CURLOPT_PROXY, options.proxy.c_str());
  }
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connectTimeout.count()));
  set(CURLOPT_TIMEOUT_MS, static_cast<long>(options.timeout.count()));
  // A second request to a host that may speak HTTP/2 waits for the first connection rather than open its own.
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  set(CURLOPT_PIPEWAIT, request_.url.plain ? 0L : 1L);
  set(CURLOPT_NOSIGNAL, 1L);
  // A name look-up that hangs must not hold up the other requests, nor the end of the thread.
  set(CURLOPT_QUICK_EXIT, 1L);
}

void CurlTransfer::receive(const char* bytes, std::size_t count) {
  replyTooLong_ = count > longestReply - reply_.size();
  if (replyTooLong_) {
    reply_.clear();
  } else {
    reply_.append(bytes, count);
  }
}

std::size_t CurlTransfer::receiveBytes(char* bytes, std::size_t size, std::size_t count, void* transfer) {
  CurlTransfer& self = *static_cast<CurlTransfer*>(transfer);
  self.receive(bytes, size * count);
  return self.replyTooLong_ ? 0 : size * count;  // 0 ends the transfer
}

NetworkOutcome CurlTransfer::outcome(CURLcode result) const {
  if (result != CURLE_OK && !replyTooLong_) {
    return {false, "",
            std::string("failed, ") + (errorText_[0] != '\0' ? errorText_.data() : curl_easy_strerror(result))};
  }
  long status = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  const bool accepted = status >= 200 && status <= 299;
  return {accepted, reply_,
          (accepted ? "accepted, HTTP status " : "failed, HTTP status ") + std::to_string(status) +
              (replyTooLong_ ? ", reply over 1 MiB ignored" : "")};
}

}  // namespace fliprugair
