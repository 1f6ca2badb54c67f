#include <memory>

#include "Fliprugair/platform/Value.h"
#include "platform/Locked.h"

namespace fliprugair {
namespace {

TEST(Locked, AnswersWithWhatWasHeldBefore) {
  Locked<Value> held;
  EXPECT_TRUE(held.load().isNull());
  held.store(1);
  EXPECT_EQ(held.exchange("two"), Value(1));
  EXPECT_EQ(held.load(), Value("two"));
}

/// Uses what holds it while it is destroyed.
struct LooksBack {
  Locked<std::shared_ptr<LooksBack>>* holder;
  bool* looked;
  ~LooksBack() {
    holder->load();
    *looked = true;
  }
};

TEST(Locked, DestroysWhatItReplacesOutsideTheLock) {
  Locked<std::shared_ptr<LooksBack>> held;
  bool looked = false;
  held.store(std::shared_ptr<LooksBack>(new LooksBack{&held, &looked}));
  held.store(nullptr);  // with the lock held this would never return
  EXPECT_TRUE(looked);
}

}  // namespace
}  // namespace fliprugair
