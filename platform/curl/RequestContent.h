#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace fliprugair {

/// A request's body as it travels, and the headers that go with it.
struct RequestContent {
  std::string body;
  curl_slist* headers = nullptr;  ///< of the RequestContents that made it
  bool isCompressed = false;
};

/// Makes the contents of requests, and owns the headers that they share. One thread at a time.
class RequestContents {
 public:
  /// Throws std::bad_alloc.
  RequestContents();

  /// Of JSON text; in the gzip format if it may be and that is shorter.
  RequestContent of(std::string text, bool takesGzip) const;

 private:
  struct Cleanup {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };
  using Headers = std::unique_ptr<curl_slist, Cleanup>;
  static void add(Headers& headers, const char* line);

  Headers plain_;
  Headers compressed_;
};

}  // namespace fliprugair
