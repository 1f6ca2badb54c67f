#include "tools/controlhost/Waiting.h"

#include <algorithm>
#include <utility>

#include "tools/controlhost/Match.h"

namespace fliprugair::controlhost {

namespace {

/// Looks at each record once, as they come.
class Search {
 public:
  Search(const std::string& match, std::int64_t since) : match_(match), since_(since) {}

  void look(const RequestLog& log) {
    for (const RequestPointer& request : log.requests(since_)) {
      std::int64_t index = 0;
      for (const Value& record : request->items()) look(*request, record, index++);
      since_ = request->id;
    }
  }

  Waited result;

 private:
  void look(const ReceivedRequest& request, const Value& record, std::int64_t index) {
    std::vector<std::string> missed = match_.missed(request, record, index);
    if (missed.empty()) {
      ++result.count;
      result.records.push_back(recordOf(request, record, index));
    } else if (result.nearest.isNull() || missed.size() <= result.missed.size()) {
      result.nearest = recordOf(request, record, index);
      result.text = match_.instead(request, record, missed.front());
      result.missed = std::move(missed);
    }
  }

  const Match match_;
  std::int64_t since_;
};

}  // namespace

Waited waitForRecords(const RequestLog& log, const std::string& match, std::int64_t count,
                      std::chrono::milliseconds timeout, std::int64_t since) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  Search search(match, since);
  for (;;) {
    const std::int64_t change = log.change();
    search.look(log);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (search.result.count >= count || left.count() <= 0 || log.hasEnded()) break;
    log.waitForChange(change, left);
  }
  Waited& result = search.result;
  result.matched = result.count >= count;
  if (result.matched) {
    result.nearest = {};
    result.missed.clear();
    result.text.clear();
    return result;
  }
  const std::string nearest = result.nearest.dictionary()["id"].text();
  const std::string detail =
      nearest.empty() ? "nothing else came" : "nearest: record " + nearest + ", whose " + result.text;
  result.text = std::to_string(result.count) + " of " + std::to_string(count) + " came within " +
                std::to_string(timeout.count()) + " ms; " + detail + '.';
  return result;
}

}  // namespace fliprugair::controlhost
