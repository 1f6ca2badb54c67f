#include "Fliprugair/handshake/InitRequest.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

const Value demo{{"marluneAppId", "demo"}};

/// The data of the init request that a start with these options sends.
Dictionary dataOf(Phone& phone, const Value& options = demo) {
  const auto tracker = phone.construct(options);
  const auto requests = phone.requests("init");
  EXPECT_EQ(requests.size(), 1U);
  return requests.empty() ? Dictionary() : requests[0]["data"].dictionary();
}

TEST(InitRequest, SaysWhoAsksAndOnWhat) {
  Phone phone;
  EXPECT_EQ(dataOf(phone, {{"marluneAppId", "demo"}, {"partnerId", "p"}, {"partnerName", "n"}, {"currency", "eur"}}),
            Value({{"partner_id", "p"},
                   {"partner_name", "n"},
                   {"package_name", "com.example.app"},
                   {"platform", "ios"},
                   {"session_tracking", "full"},
                   {"currency", "eur"},
                   {"os_version", "iOS 9.3"},
                   {"idfv", "11111111-2222-4333-8444-555555555555"},
                   {"idfa", "66666666-7777-4888-9999-AAAAAAAAAAAA"}})
                .dictionary());
}

TEST(InitRequest, SaysWhoAskedFirst) {
  Phone phone;
  phone.store("origDeviceId", "first");
  phone.store("deviceId", "now");
  phone.store("currency", "gbp");
  phone.store("sessionTracking", 2);
  dataOf(phone, {{"marluneAppId", "demo"}, {"currency", "eur"}});
  EXPECT_EQ(phone.requests("init")[0]["data_orig"], Value({{"marlune_device_id", "first"},
                                                           {"marlune_app_id", "demo"},
                                                           {"session_tracking", "full"},
                                                           {"currency", "eur"}}));
  EXPECT_EQ(phone.requests("init")[0]["marlune_device_id"], Value("now"));
  EXPECT_EQ(phone.requests("init")[0]["data"].dictionary()["currency"], Value("gbp"));
  EXPECT_EQ(phone.requests("init")[0]["data"].dictionary()["session_tracking"], Value("none"));
}

TEST(InitRequest, LeavesOutEachIdentifierThatTheControlHostForbade) {
  for (const std::string_view forbidden : {"idfv", "idfa"}) {
    Phone phone;
    phone.store(std::string(forbidden) + "Blacklisted", true);
    const Dictionary data = dataOf(phone);
    EXPECT_FALSE(data.holds(forbidden));
    EXPECT_TRUE(data.holds(forbidden == "idfv" ? "idfa" : "idfv"));
  }
}

TEST(InitRequest, LeavesOutTheVendorIdentifierOfAnAnonymousStart) {
  Phone phone;
  const Dictionary data = dataOf(phone, with(demo, "generateAnonymousMarluneDeviceId", true));
  EXPECT_FALSE(data.holds("idfv"));
  EXPECT_TRUE(data.holds("idfa"));
}

TEST(InitRequest, HasNoIdentifiersBelowSystemVersion6) {
  Phone phone;
  phone.device.facts.systemVersion = "5.9";
  const Dictionary data = dataOf(phone);
  EXPECT_FALSE(data.holds("idfv"));
  EXPECT_FALSE(data.holds("idfa"));
}

TEST(InitRequest, GivesEmptyTextForIdentifiersThatTheDeviceLacks) {
  Phone phone;
  phone.device.facts.idfv.reset();
  phone.device.facts.idfa.reset();
  const Dictionary data = dataOf(phone);
  EXPECT_EQ(data["idfv"], Value(""));
  EXPECT_EQ(data["idfa"], Value(""));
}

TEST(InitRequest, IsKeptOutsideOfTheNetworkQueueUntilItsReply) {
  Phone phone;
  const auto tracker = phone.construct();
  const auto sends = phone.events("send");
  ASSERT_EQ(sends.size(), 1U);
  EXPECT_EQ(phone.stored("INIT_PAYLOAD"), sends[0]["payload"]);
  EXPECT_TRUE(sends[0]["event_timestamp"].isNull());
  EXPECT_TRUE(phone.stored("networkQueue").isNull());
  phone.reply(1, neutral);
  EXPECT_TRUE(phone.stored("INIT_PAYLOAD").isNull());
}

TEST(InitRequest, IsSentAgainAsItWas) {
  Phone phone;
  const auto tracker = phone.construct();
  phone.store("currency", "eur");
  internalsOf(*tracker).initRequest.resend();
  const auto requests = phone.requests("init");
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[1], requests[0]);
}

TEST(InitRequest, IsNotSentAgainOnceItIsAnsweredOrWhenItIsNoDictionary) {
  InstalledPhone phone;
  phone.parts().initRequest.resend();
  phone.store("INIT_PAYLOAD", "text");
  phone.parts().initRequest.resend();
  EXPECT_TRUE(phone.events("send").empty());
}

}  // namespace
}  // namespace fliprugair
