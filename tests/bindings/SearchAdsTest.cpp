#include <gtest/gtest.h>

#include "bindings/CInterface.h"
#include "bindings/c/SearchAds.h"

namespace fliprugair {
namespace {

/// Keeps each question in what `user` points to.
void keep(void* user, fliprugair_search_ads_question* question) {
  *static_cast<fliprugair_search_ads_question**>(user) = question;
}

class SearchAdsInC : public ::testing::Test {
 protected:
  void SetUp() override {
    fliprugair_callbacks callbacks{};
    callbacks.user = &question;
    callbacks.search_ads = &keep;
    searchAdSourceOf(callbacks)([this](const Value& details, bool unknown) {
      answered = details;
      isUnknown = unknown;
      ++answers;
    });
  }

  fliprugair_search_ads_question* question = nullptr;
  ErrorText error;
  Value answered = "not yet";
  bool isUnknown = false;
  int answers = 0;
};

TEST_F(SearchAdsInC, AreAnsweredWithDetails) {
  ASSERT_EQ(fliprugair_answer_search_ads(question, R"({"campaign": "autumn"})", 0, &error), FLIPRUGAIR_OK);
  EXPECT_EQ(answered, Value({{"campaign", "autumn"}}));
  EXPECT_FALSE(isUnknown);
  EXPECT_EQ(answers, 1);
}

TEST_F(SearchAdsInC, AreAnsweredWithNothingKnownYet) {
  ASSERT_EQ(fliprugair_answer_search_ads(question, nullptr, 1, &error), FLIPRUGAIR_OK);
  EXPECT_TRUE(answered.isNull());
  EXPECT_TRUE(isUnknown);
}

TEST_F(SearchAdsInC, CanBeAnsweredAnewAfterAnAnswerThatWasRefused) {
  EXPECT_EQ(fliprugair_answer_search_ads(question, "[]", 0, &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "details is not a JSON object");
  EXPECT_EQ(answers, 0);
  EXPECT_EQ(fliprugair_answer_search_ads(question, nullptr, 0, nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(answers, 1);
}

TEST(SearchAdsInCWithoutACallback, HaveNoSource) { EXPECT_FALSE(searchAdSourceOf(fliprugair_callbacks{})); }

TEST(SearchAdsInCWithoutACallback, RefuseAQuestionThatIsNone) {
  EXPECT_EQ(fliprugair_answer_search_ads(nullptr, nullptr, 0, nullptr), FLIPRUGAIR_INVALID_ARGUMENT);
}

}  // namespace
}  // namespace fliprugair
