#include "tools/controlhost/Waiting.h"

#include <algorithm>
#include <utility>

#include "tools/controlhost/Match.h"

namespace fliprugair::controlhost {

namespace {

/// Looks at each record once, as they come.
class Search {
 public:
  Search(Match match, std::int64_t since) : match_(std::move(match)), since_(since) {}

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
    const std::vector<Match::Missed> missed = match_.missed(request, record, index);
    if (missed.empty()) {
      ++result.count;
      result.records.push_back(recordOf(request, record, index));
      return;
    }
    // Who waits for an event means the event of another name rather than what is no event at all.
    const auto without = std::count_if(missed.begin(), missed.end(), [](const auto& one) { return one.hasNone; });
    const Distance distance{missed.size(), without};
    if (!result.nearest.isNull() && nearest_ < distance) return;
    nearest_ = distance;
    result.nearest = recordOf(request, record, index);
    result.missed.clear();
    result.text.clear();
    for (const Match::Missed& one : missed) {
      result.text += (result.text.empty() ? "" : ", ") + one.term + " (" + one.instead + ')';
      result.missed.push_back(one.term);
    }
  }

  /// How many terms a record does not meet, and of how many of these it has nothing.
  using Distance = std::pair<std::size_t, std::ptrdiff_t>;

  const Match match_;
  std::int64_t since_;
  Distance nearest_;
};

/// What came nearest, behind what did not come.
std::string detailOf(const Waited& waited) {
  const Dictionary nearest = waited.nearest.dictionary();
  if (!nearest.empty()) {
    return "nearest: record " + nearest["id"].text() + ", " + nearest["name"].text() +
           "; does not hold: " + waited.text;
  }
  return waited.count == 0 ? "no record came at all" : "nothing else came";
}

}  // namespace

Waited waitForRecords(const RequestLog& log, const std::string& match, std::int64_t count,
                      std::chrono::milliseconds timeout, std::int64_t since, const std::function<bool()>& isAbandoned) {
  constexpr std::chrono::milliseconds longestWait{500};
  Match conditions(match);
  if (!conditions.problem().empty()) {
    Waited refused;
    refused.text = conditions.problem() + ' ' + Match::termsInWords();
    return refused;
  }
  const auto end = std::chrono::steady_clock::now() + timeout;
  Search search(std::move(conditions), since);
  for (;;) {
    const std::int64_t change = log.change();
    search.look(log);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (search.result.count >= count || left.count() <= 0 || log.hasEnded()) break;
    if (isAbandoned && isAbandoned()) break;
    log.waitForChange(change, std::min(left, longestWait));
  }
  Waited& result = search.result;
  result.matched = result.count >= count;
  if (result.matched) {
    result.nearest = {};
    result.missed.clear();
    result.text.clear();
    return result;
  }
  result.text = std::to_string(result.count) + " of " + std::to_string(count) + " came within " +
                std::to_string(timeout.count()) + " ms; " + detailOf(result) + '.';
  return result;
}

}  // namespace fliprugair::controlhost
