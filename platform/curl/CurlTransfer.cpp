#include "platform/curl/CurlTransfer.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/curl/Gzip.h"

namespace fliprugair {

namespace {

constexpr std::size_t longestReply = std::size_t{1024} * 1024;
constexpr std::size_t longestHead = std::size_t{64} * 1024;

/// Statuses that tell of the request and not of the host: no other request would fare better for waiting.
bool findsFaultWithTheRequest(long status) { return status == 400 || status == 413 || status == 422; }

}  // namespace

CurlTransfer::CurlTransfer(NetworkRequest request, RequestContent content, const CurlNetworkOptions& options)
    : request_(std::move(request)), content_(std::move(content)), handle_(curl_easy_init()) {
  if (handle_ == nullptr) {
    prepared_ = CURLE_OUT_OF_MEMORY;
    return;
  }
  setRequest();
  setTransport(options);
}

template <class Argument>
void CurlTransfer::set(CURLoption option, Argument argument) {
  const CURLcode code = curl_easy_setopt(handle_.get(), option, argument);
  if (prepared_ == CURLE_OK) prepared_ = code;
}

void CurlTransfer::setRequest() {
  set(CURLOPT_URL, request_.url.text.c_str());
  set(CURLOPT_HTTPHEADER, content_.headers);
  set(CURLOPT_POSTFIELDS, content_.body.c_str());
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(content_.body.size()));
  set(CURLOPT_WRITEFUNCTION, &CurlTransfer::receiveBody);
  set(CURLOPT_WRITEDATA, static_cast<void*>(this));
  set(CURLOPT_HEADERFUNCTION, &CurlTransfer::receiveHead);
  set(CURLOPT_HEADERDATA, static_cast<void*>(this));
  set(CURLOPT_ERRORBUFFER, errorText_.data());
}

void CurlTransfer::setTransport(const CurlNetworkOptions& options) {
#if LIBCURL_VERSION_NUM >= 0x075500
  set(CURLOPT_PROTOCOLS_STR, request_.url.plain ? "http" : "https");
#else
  set(CURLOPT_PROTOCOLS, static_cast<long>(request_.url.plain ? CURLPROTO_HTTP : CURLPROTO_HTTPS));
#endif
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
#if LIBCURL_VERSION_NUM >= 0x075700
  // A name look-up that hangs must not hold up the other requests, nor the end of the thread; with an older libcurl it
  // does, for as long as the system's resolver tries.
  set(CURLOPT_QUICK_EXIT, 1L);
#endif
}

std::chrono::seconds CurlTransfer::retryAfter() const {
  curl_off_t seconds = 0;  // of a date: from now until then, below 0 when it is over
  if (status() == 429 || status() == 503) curl_easy_getinfo(handle_.get(), CURLINFO_RETRY_AFTER, &seconds);
  return std::chrono::seconds(std::max<curl_off_t>(seconds, 0));
}

// libcurl takes any count other than the one it offered, such as 0, for the wish to end the transfer.

std::size_t CurlTransfer::receiveHead(char* bytes, std::size_t size, std::size_t count, void* transfer) {
  CurlTransfer& self = *static_cast<CurlTransfer*>(transfer);
  self.headSize_ += size * count;
  if (const auto word = takesGzip({bytes, size * count})) self.takesGzip_ = *word || self.takesGzip_.value_or(false);
  return self.headSize_ > longestHead ? 0 : size * count;
}

std::size_t CurlTransfer::receiveBody(char* bytes, std::size_t size, std::size_t count, void* transfer) {
  CurlTransfer& self = *static_cast<CurlTransfer*>(transfer);
  self.replyTooLong_ = size * count > longestReply - self.reply_.size();
  if (self.replyTooLong_) {
    self.reply_ = std::string();
    return 0;
  }
  try {
    self.reply_.append(bytes, size * count);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return size * count;
}

long CurlTransfer::status() const {
  long status = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  return status;
}

NetworkOutcome CurlTransfer::outcome(CURLcode result) {
  const std::string error = errorText_[0] != '\0' ? errorText_.data() : curl_easy_strerror(result);
  if (status() == 0) return {.accepted = false, .reply = "", .message = "failed, " + error};
  std::string message = (isAccepted() ? "accepted, HTTP status " : "failed, HTTP status ") + std::to_string(status());
  if (replyTooLong_) {
    message += ", reply over 1 MiB ignored";
  } else if (result != CURLE_OK) {
    message += ", reply cut off: " + error;
  }
  constexpr long unsupportedMediaType = 415;
  return {.accepted = isAccepted(),
          .reply = std::move(reply_),
          .message = std::move(message),
          .isVerdict = isAccepted() || findsFaultWithTheRequest(status()),
          .retryAfter = retryAfter(),
          .isNotRead = content_.isCompressed && status() == unsupportedMediaType,
          .takesGzip = takesGzip_};
}

}  // namespace fliprugair
