#include "bindings/c/SearchAds.h"

#include <functional>
#include <memory>
#include <utility>

#include "bindings/c/Calls.h"

/// Belongs to the host app until it is answered.
struct fliprugair_search_ads_question {
  std::function<void(const fliprugair::Value& details, bool unknown)> answer;
};

namespace fliprugair {

SearchAdSource searchAdSourceOf(const fliprugair_callbacks& callbacks) {
  if (callbacks.search_ads == nullptr) return {};
  return [callbacks](std::function<void(const Value& details, bool unknown)> answer) {
    auto question = std::make_unique<fliprugair_search_ads_question>();
    question->answer = std::move(answer);
    callbacks.search_ads(callbacks.user, question.release());
  };
}

}  // namespace fliprugair

fliprugair_status fliprugair_answer_search_ads(fliprugair_search_ads_question* question, const char* details,
                                               int unknown, char** error) {
  return fliprugair::guarded(error, [&] {
    fliprugair::require(question, "question");
    const fliprugair::Value answer =
        details != nullptr ? fliprugair::dictionaryOf(details, "details") : fliprugair::Value();
    const std::unique_ptr<fliprugair_search_ads_question> answered(question);
    answered->answer(answer, unknown != 0);
  });
}
