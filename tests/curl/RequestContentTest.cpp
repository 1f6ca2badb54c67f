#include <dlfcn.h>
#include <gtest/gtest.h>

#include "platform/curl/RequestContent.h"

namespace {

thread_local int listsGivenBack = 0;

}  // namespace

/// Stands in for libcurl's, and counts.
extern "C" void curl_slist_free_all(curl_slist* list) {
  ++listsGivenBack;
  reinterpret_cast<void (*)(curl_slist*)>(dlsym(RTLD_NEXT, "curl_slist_free_all"))(list);
}

namespace fliprugair {
namespace {

std::string headersOf(const RequestContent& content) {
  std::string text;
  for (const curl_slist* line = content.headers; line != nullptr; line = line->next) text.append(line->data) += '\n';
  return text;
}

TEST(RequestContents, AreJSONOrGzipAndSaySo) {
  const RequestContents contents;
  const std::string text = "[" + std::string(1000, ' ') + "]";
  const RequestContent plain = contents.of(text, false);
  EXPECT_EQ(plain.body, text);
  EXPECT_FALSE(plain.isCompressed);
  EXPECT_EQ(headersOf(plain), "Content-Type: application/json; charset=utf-8\nExpect:\n");
  const RequestContent compressed = contents.of(text, true);
  EXPECT_LT(compressed.body.size(), text.size());
  EXPECT_TRUE(compressed.isCompressed);
  EXPECT_EQ(headersOf(compressed), headersOf(plain) + "Content-Encoding: gzip\n");
}

TEST(RequestContents, GiveTheirHeadersBack) {
  listsGivenBack = 0;
  { const RequestContents contents; }
  EXPECT_EQ(listsGivenBack, 2);
}

}  // namespace
}  // namespace fliprugair
