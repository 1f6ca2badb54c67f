#include "platform/curl/RequestContent.h"

#include <new>
#include <utility>

#include "platform/curl/Gzip.h"

namespace fliprugair {

RequestContents::RequestContents() {
  for (Headers* headers : {&plain_, &compressed_}) {
    add(*headers, "Content-Type: application/json; charset=utf-8");
    // Without this line libcurl asks for leave before it sends a large body, and waits for the answer.
    add(*headers, "Expect:");
  }
  add(compressed_, "Content-Encoding: gzip");
}

void RequestContents::add(Headers& headers, const char* line) {
  curl_slist* longer = curl_slist_append(headers.get(), line);
  if (longer == nullptr) throw std::bad_alloc();
  static_cast<void>(headers.release());
  headers.reset(longer);
}

RequestContent RequestContents::of(std::string text, bool takesGzip) const {
  if (takesGzip) {
    if (auto compressed = gzipped(text)) return {*std::move(compressed), compressed_.get(), true};
  }
  return {std::move(text), plain_.get()};
}

}  // namespace fliprugair
