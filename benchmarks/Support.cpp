#include "benchmarks/Support.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::bench {

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
  path_ = mkdtemp(name.data());
}

TemporaryFolder::~TemporaryFolder() { std::filesystem::remove_all(path_); }

Value record(int number) {
  return Value{{"marlune_device_id", "MI1753093800123AAAAAAAA-BBBB-4CCC-8DDD"},
               {"action", "event"},
               {"data", Value{{"event_name", "level finished"},
                              {"event_data", "{\"level\":12,\"score\":48211,\"stars\":3}"},
                              {"usertime", 1753093800 + number},
                              {"updelta", 17},
                              {"uptime", 3600 + number},
                              {"last_post_time", 1753093740},
                              {"latitude", "52.520008"},
                              {"longitude", "13.404954"}}},
               {"marlune_app_id", "marlune-demo-app-one"},
               {"sdk_version", "MarluneTracker 4.2.1"},
               {"sdk_protocol", "4"},
               {"currency", "usd"},
               {"nt_id", "a1b2c-" + std::to_string(number)}};
}

void require(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

std::string textOf(const Value& value) { return *RapidJSONSerialization().text(value); }

long residentKibibytes() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

long anonymousKibibytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long kibibytes = 0;
    if (word == "RssAnon:" && status >> kibibytes) return kibibytes;
  }
  return 0;
}

Floor::Floor(const std::string& file, std::string text) : text_(std::move(text)) {
  require(sqlite3_open_v2(file.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                          nullptr) == SQLITE_OK,
          "the floor's file");
  require(sqlite3_exec(database_,
                       "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                       "CREATE TABLE records (id INTEGER PRIMARY KEY, record TEXT)",
                       nullptr, nullptr, nullptr) == SQLITE_OK,
          "the floor's table");
  sqlite3_prepare_v3(database_, "INSERT INTO records (record) VALUES (?)", -1, SQLITE_PREPARE_PERSISTENT, &insert_,
                     nullptr);
}

Floor::~Floor() {
  sqlite3_finalize(insert_);
  sqlite3_close(database_);
}

void Floor::commit() {
  sqlite3_bind_text(insert_, 1, text_.data(), static_cast<int>(text_.size()), SQLITE_STATIC);
  require(sqlite3_step(insert_) == SQLITE_DONE, "the floor's commit");
  sqlite3_reset(insert_);
}

double Times::percentile(double percent) {
  if (times_.empty()) return 0;
  const auto place =
      times_.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(times_.size() - 1) * percent / 100);
  std::ranges::nth_element(times_, place);
  return *place;
}

}  // namespace fliprugair::bench
