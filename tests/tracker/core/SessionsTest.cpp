#include "tracker/Phone.h"

namespace fliprugair {
namespace {

TEST(Sessions, RecordStateTimeAndUptime) {
  InstalledPhone phone;
  phone.device.setNow(1700000090);
  phone.parts().sessions.sessionEvent("resume");
  ASSERT_EQ(phone.batch().size(), 1U);
  const Dictionary record = phone.batch()[0].dictionary();
  EXPECT_EQ(record["action"], Value("session"));
  EXPECT_EQ(record["data"],
            Value({{"state", "resume"}, {"usertime", "1700000090"}, {"uptime", "90"}, {"updelta", "90"}}));
  EXPECT_EQ(record["sdk_protocol"], Value("4"));
}

TEST(Sessions, AreTrackedByTheCodeOfTheWordFullAlone) {
  struct Case {
    Value stored;
    bool tracked;
    std::string_view word;
  };
  InstalledPhone phone;
  for (const auto& [stored, tracked, word] :
       {Case{1, true, "full"}, Case{2, false, "none"}, Case{0, false, ""}, Case{3, false, ""}, Case{-1, false, ""},
        Case{nullptr, false, ""}, Case{"1", true, "full"}, Case{"full", false, ""}, Case{2.9, false, "none"}}) {
    SCOPED_TRACE(traceOf("stored", stored));
    phone.store("sessionTracking", stored);
    EXPECT_EQ(phone.parts().sessions.areTracked(), tracked);
    EXPECT_EQ(phone.parts().sessions.trackingWord(), word);
  }
}

TEST(Sessions, TakeTheControlHostsWord) {
  InstalledPhone phone;
  phone.parts().sessions.adoptTracking("none");
  EXPECT_EQ(phone.stored("sessionTracking"), Value(2));
  phone.parts().sessions.adoptTracking("full");
  EXPECT_EQ(phone.stored("sessionTracking"), Value(1));
}

TEST(Sessions, KeepTheirCodeWhenTheWordIsNullOrUnknown) {
  InstalledPhone phone;
  for (const int code : {0, 1, 2, 7}) {
    for (const Value& word : {Value(), Value("some"), Value(""), Value(1)}) {
      phone.store("sessionTracking", code);
      phone.parts().sessions.adoptTracking(word);
      EXPECT_EQ(phone.stored("sessionTracking"), Value(code)) << word.text();
    }
  }
}

TEST(Sessions, StoreTheCodeThatTheyReadWhenTheWordIsUnknown) {
  InstalledPhone phone;
  phone.store("sessionTracking", "2 of them");
  phone.parts().sessions.adoptTracking(nullptr);
  EXPECT_EQ(phone.stored("sessionTracking"), Value("2 of them"));
  phone.parts().sessions.adoptTracking("some");
  EXPECT_EQ(phone.stored("sessionTracking"), Value(2));
}

TEST(Sessions, AreTrackedOnANewDevice) {
  Phone phone;
  const auto tracker = phone.construct();
  EXPECT_EQ(phone.stored("sessionTracking"), Value(1));
}

TEST(Sessions, OfACodeOfZeroStayUntrackedThroughAStart) {
  InstalledPhone phone;
  phone.store("sessionTracking", 0);
  phone.tracker = phone.construct();
  EXPECT_EQ(phone.stored("sessionTracking"), Value(0));
  EXPECT_FALSE(phone.parts().sessions.areTracked());
}

}  // namespace
}  // namespace fliprugair
