#include <set>

#include "platform/linux/MachineIdentity.h"

namespace fliprugair {
namespace {

/// `uuid` with an x for every digit that is free in version 4.
std::string shape(std::string uuid) {
  for (std::size_t at = 0; at < uuid.size(); ++at) {
    const bool isFree = at != 14 && std::string_view("0123456789ABCDEF").find(uuid[at]) != std::string_view::npos;
    const bool isVariant = at == 19 && std::string_view("89AB").find(uuid[at]) == std::string_view::npos;
    if (isFree && !isVariant) uuid[at] = 'x';
  }
  return uuid;
}

TEST(RandomUUID, IsOfVersionFourInUpperCaseAndNeverTheSame) {
  std::set<std::string> seen;
  for (int made = 0; made < 1000; ++made) {
    const std::string uuid = randomUUID();
    EXPECT_EQ(shape(uuid), "xxxxxxxx-xxxx-4xxx-xxxx-xxxxxxxxxxxx") << uuid;
    EXPECT_TRUE(seen.insert(uuid).second) << uuid;
  }
}

}  // namespace
}  // namespace fliprugair
