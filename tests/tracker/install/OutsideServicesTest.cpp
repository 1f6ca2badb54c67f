#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

/// The services that a phone finds, by the record that it appends.
Array found(InstalledPhone& phone, const Value& services) {
  phone.parts().services.determineOutsideServices(services.dictionary());
  if (phone.batch().empty()) return {};
  EXPECT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(phone.batch()[0].dictionary()["action"], Value("update"));
  return phone.batch()[0].dictionary()["data"].dictionary()["outside_services"].array();
}

TEST(OutsideServices, AreFoundByAStoredKey) {
  InstalledPhone phone;
  phone.device.store.setObject(false, "trace");
  EXPECT_EQ(found(phone, {{"ios_nsud", Value{{"other", Array({"no"})}, {"service", Array({"no", "trace"})}}}}),
            Array({"service"}));
}

TEST(OutsideServices, AreFoundByAnArchive) {
  InstalledPhone phone;
  phone.device.facts.documents = {{"file", "archive"}, {"plain", "text"}};
  EXPECT_EQ(found(phone, {{"ios_docs", Value{{"none", Array({"plain", "missing"})}, {"service", Array({"file"})}}}}),
            Array({"service"}));
}

TEST(OutsideServices, AreNamedOnceForEachPlaceInTheOrderOfTheReply) {
  InstalledPhone phone;
  phone.device.store.setObject(1, "trace");
  phone.device.facts.documents = {{"file", "archive"}};
  EXPECT_EQ(found(phone, {{"ios_docs", Value{{"b", Array({"file", "file"})}}},
                          {"ios_nsud", Value{{"b", Array({"trace", "trace"})}, {"a", Array({"trace"})}}}}),
            Array({"b", "a", "b"}));
}

TEST(OutsideServices, AreNotReportedWhenNoneIsFound) {
  InstalledPhone phone;
  EXPECT_TRUE(found(phone, {{"ios_nsud", Value{{"service", Array({"no"})}}}}).empty());
  EXPECT_TRUE(phone.batch().empty());
}

TEST(OutsideServices, AreLookedForByTextAlone) {
  InstalledPhone phone;
  phone.device.store.setObject(1, "7");
  phone.device.store.setObject(1, "");
  EXPECT_TRUE(found(phone, {{"ios_nsud", Value{{"service", Array({7, Value(), Array({"7"})})}}}}).empty());
}

/// Cannot stand the file "bad".
class DelicateDocuments final : public Documents {
 public:
  std::string pathForFile(std::string_view name) const override { return std::string(name); }
  bool unarchivesAsObject(const std::string& path) const override {
    if (path == "bad") throw std::runtime_error("the host's own");
    return true;
  }
};

TEST(OutsideServices, AreFoundBesideAFileThatTheReaderCannotStandWithoutAWord) {
  InstalledPhone phone;
  const DelicateDocuments documents;
  TrackerImplementation& parts = phone.parts();
  OutsideServices services(parts.context, parts.batch, parts.envelope, documents);
  const std::size_t lines = phone.events("log").size();
  const Value looked{{"ios_docs", Value{{"none", Array({"bad"})}, {"service", Array({"bad", "good"})}}}};
  services.determineOutsideServices(looked.dictionary());
  ASSERT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(phone.batch()[0].dictionary()["data"].dictionary()["outside_services"], Value(Array({"service"})));
  EXPECT_EQ(phone.events("log").size(), lines);
}

}  // namespace
}  // namespace fliprugair
