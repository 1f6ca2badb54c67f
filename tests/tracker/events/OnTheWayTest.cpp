#include <gtest/gtest.h>

#include "Fliprugair/events/OnTheWay.h"

namespace fliprugair {
namespace {

TEST(OnTheWay, KnowsWhatWasAddedUntilThatIsRemoved) {
  OnTheWay requests;
  EXPECT_FALSE(requests.has("1"));
  requests.add("1");
  requests.add("2");
  EXPECT_TRUE(requests.has("1"));
  requests.remove("1");
  EXPECT_FALSE(requests.has("1"));
  EXPECT_TRUE(requests.has("2"));
}

TEST(OnTheWay, HasARequestAsOftenAsItWasAdded) {
  OnTheWay requests;
  requests.add("1");
  requests.add("1");
  requests.remove("1");
  EXPECT_TRUE(requests.has("1"));
}

TEST(OnTheWay, IsUnchangedByTheRemovalOfWhatIsNotThere) {
  OnTheWay requests;
  requests.add("1");
  requests.remove("2");
  EXPECT_TRUE(requests.has("1"));
}

}  // namespace
}  // namespace fliprugair
