#include <curl/curl.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "benchmarks/App.h"
#include "benchmarks/Support.h"
#include "benchmarks/measure/Figures.h"
#include "benchmarks/measure/Sink.h"

namespace fliprugair::bench {

namespace {

constexpr std::int64_t recordsInBatch = 25;
constexpr long requestsAtATime = 8;

std::uintmax_t sizeOf(const std::string& file) {
  std::uintmax_t size = std::filesystem::file_size(file);
  for (const char* suffix : {"-wal", ".journal-1", ".journal-2"}) {
    std::error_code none;
    const std::uintmax_t beside = std::filesystem::file_size(file + suffix, none);
    if (!none) size += beside;
  }
  return size;
}

/// Until the file is half of what it was, or long enough.
void restUntilSmaller(const std::string& file, std::uintmax_t before) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (sizeOf(file) > before / 2 && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the store says nothing when its file shrinks
  }
}

std::vector<std::string> bodiesIn(const std::string& file) {
  const App app = construct(file);
  const Dictionary waiting = app.environment->userDefaults().objectForKey(key::networkQueue).dictionary();
  std::vector<std::string> bodies;
  for (const Dictionary::Entry& entry : waiting.entries()) bodies.push_back(textOf(entry.value));
  app.environment->terminate();
  return bodies;
}

struct Cleanup {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct EasyCleanup {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using Easy = std::unique_ptr<CURL, EasyCleanup>;

std::size_t drop(char* /*bytes*/, std::size_t size, std::size_t count, void* /*unused*/) { return size * count; }

Easy postOf(const std::string& url, const std::string& body, curl_slist* headers) {
  Easy easy(curl_easy_init());
  curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, &drop);
  curl_easy_setopt(easy.get(), CURLOPT_PROXY, "");
  return easy;
}

void perform(CURLM* multi) {
  for (int running = 1; running > 0;) {
    require(curl_multi_perform(multi, &running) == CURLM_OK, "libcurl");
    if (running > 0) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
}

std::string randomDigits(std::mt19937_64& random) {
  std::string digits;
  while (digits.size() < 60) digits += "0123456789abcdef"[random() % 16];
  return digits;
}

}  // namespace

void resend(std::int64_t batches, const std::string& file) {
  const Sink sink(Sink::Manner::answers);
  const std::uintmax_t before = sizeOf(file);
  const App app = launch(file, sink.hostname());
  Times times;
  times.time([&] {
    app.environment->applicationDidBecomeActive();
    sink.waitForBatches(static_cast<std::uint64_t>(batches));
  });
  std::printf("resend %.3f\nfile_before %ju\n", times.percentile(50) / 1000, before);
  restUntilSmaller(file, before);
  std::printf("file_after %ju\n", sizeOf(file));
  app.environment->terminate();
}

void postBodies(const std::string& file) {
  const Sink sink(Sink::Manner::answers);
  const std::vector<std::string> bodies = bodiesIn(file);
  const std::string url = "http://" + sink.hostname() + "/";
  curl_global_init(CURL_GLOBAL_DEFAULT);
  const std::unique_ptr<curl_slist, Cleanup> headers(curl_slist_append(nullptr, "Expect:"));
  Times times;
  times.time([&] {
    const std::unique_ptr<CURLM, Cleanup> multi(curl_multi_init());
    curl_multi_setopt(multi.get(), CURLMOPT_MAX_HOST_CONNECTIONS, requestsAtATime);
    std::vector<Easy> posts;
    for (const std::string& body : bodies) {
      posts.push_back(postOf(url, body, headers.get()));
      curl_multi_add_handle(multi.get(), posts.back().get());
    }
    perform(multi.get());
    for (const Easy& post : posts) curl_multi_remove_handle(multi.get(), post.get());
    posts.clear();
  });
  require(sink.batches() == bodies.size(), "libcurl has not posted all");
  std::printf("post %.3f\nbatches %zu\n", times.percentile(50) / 1000, bodies.size());
}

void memoryOfLibraries(const std::string& file) {
  const Sink sink(Sink::Manner::answers);
  const std::string url = "http://" + sink.hostname() + "/";
  Floor store(file);
  store.commit();
  curl_global_init(CURL_GLOBAL_DEFAULT);
  const std::unique_ptr<curl_slist, Cleanup> headers(curl_slist_append(nullptr, "Expect:"));
  const std::string body = textOf(record(0));
  const std::unique_ptr<CURLM, Cleanup> multi(curl_multi_init());
  const Easy post = postOf(url, body, headers.get());
  curl_multi_add_handle(multi.get(), post.get());
  perform(multi.get());
  curl_multi_remove_handle(multi.get(), post.get());
  std::printf("libraries %ld\n", residentKibibytes());
}

void wire(bool takesGzip, std::int64_t events, const std::string& file) {
  const Sink sink(takesGzip ? Sink::Manner::answersTakesGzip : Sink::Manner::answers);
  const App app = install(file, sink.hostname());
  const std::uint64_t bytes = sink.bytes();
  const std::uint64_t requests = sink.requests();
  std::mt19937_64 random(1);
  for (std::int64_t count = 0; count < events; ++count) app.tracker->trackEvent("digits", randomDigits(random));
  sink.waitForRequests(requests + static_cast<std::uint64_t>(events / recordsInBatch));
  std::printf("wire %.1f\n", static_cast<double>(sink.bytes() - bytes) / static_cast<double>(events));
  app.environment->terminate();
}

}  // namespace fliprugair::bench
