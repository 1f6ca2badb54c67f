#include "Fliprugair/core/Identity.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

class Installation {
 public:
  Phone phone;
  Context::Shared shared;
  Context context{phone.platform(), shared};
  Identity identity{context, [] { return std::string("1234-ABCD-5678"); }};
};

TEST(Identity, MakesADeviceIdentifierWithoutHyphens) {
  Installation of;
  EXPECT_EQ(of.identity.createDeviceId(), Value("MI1234ABCD5678"));
  EXPECT_TRUE(of.phone.stored("deviceId").isNull());
}

TEST(Identity, GivesEmptyTextForADeviceIdentifierThatIsNone) {
  Installation of;
  for (const Value& stored : {Value(), Value(7), Value(Array({"x"}))}) {
    of.phone.store("deviceId", stored);
    EXPECT_EQ(of.identity.getMarluneDeviceId(), Value(""));
  }
}

TEST(Identity, BeginsWithOneIdentifierUnderBothKeys) {
  Installation of;
  of.identity.storeDeviceId();
  EXPECT_EQ(of.phone.stored("deviceId"), Value("MI1234ABCD5678"));
  EXPECT_EQ(of.phone.stored("origDeviceId"), Value("MI1234ABCD5678"));
}

TEST(Identity, KeepsTheIdentifierThatItHas) {
  Installation of;
  of.phone.store("deviceId", "given");
  of.phone.store("origDeviceId", "first");
  of.identity.storeDeviceId();
  EXPECT_EQ(of.identity.deviceId(), Value("given"));
  EXPECT_EQ(of.identity.origDeviceId(), Value("first"));
}

TEST(Identity, TakesTheIdentifierInUseForAFirstOneThatIsMissing) {
  Installation of;
  of.phone.store("deviceId", "given");
  of.identity.storeDeviceId();
  EXPECT_EQ(of.identity.origDeviceId(), Value("given"));
}

TEST(Identity, FillsInApplicationAndCurrencyWhereTheyAreMissingOrEmpty) {
  for (const Value& missing : {Value(), Value("")}) {
    Installation of;
    of.phone.store("appId", missing);
    of.phone.store("currency", missing);
    of.identity.storeApplication("app", "eur");
    EXPECT_EQ(of.identity.appId(), Value("app"));
    EXPECT_EQ(of.identity.currency(), Value("eur"));
  }
}

TEST(Identity, KeepsApplicationAndCurrencyOfTheFirstStart) {
  Installation of;
  of.identity.storeApplication("app", "eur");
  of.identity.storeApplication("other", "usd");
  EXPECT_EQ(of.identity.appId(), Value("app"));
  EXPECT_EQ(of.identity.currency(), Value("eur"));
}

TEST(Identity, TakesTheControlHostsIdentifiersAsTextThatIsNotEmpty) {
  Installation of;
  of.identity.adoptAppId("app");
  of.identity.adoptDeviceId("device");
  for (const Value& no : {Value(), Value(""), Value(7), Value(Array({"x"}))}) {
    of.identity.adoptAppId(no);
    of.identity.adoptDeviceId(no);
  }
  EXPECT_EQ(of.identity.appId(), Value("app"));
  EXPECT_EQ(of.identity.deviceId(), Value("device"));
}

TEST(Identity, TakesTheControlHostsDeviceForTheFirstOnlyWhereThatIsMissingOrEmpty) {
  for (const auto& [first, after] :
       {std::pair(Value(), Value("given")), std::pair(Value(""), Value("given")), std::pair(Value("x"), Value("x"))}) {
    Installation of;
    of.phone.store("origDeviceId", first);
    of.identity.adoptDeviceId("given");
    EXPECT_EQ(of.identity.origDeviceId(), after);
  }
}

TEST(Identity, TakesTheControlHostsCurrencyUnlessItIsNull) {
  Installation of;
  for (const Value& currency : {Value("eur"), Value(""), Value(7)}) {
    of.identity.adoptCurrency(currency);
    of.identity.adoptCurrency(nullptr);
    EXPECT_EQ(of.identity.currency(), currency);
  }
}

}  // namespace
}  // namespace fliprugair
