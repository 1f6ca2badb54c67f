#include "Fliprugair/core/RequestEnvelope.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

using Form = RequestEnvelope::Form;

class Envelope {
 public:
  Envelope() {
    phone.store("appId", "app");
    phone.store("deviceId", "device");
    envelope.setVersionExtension("");
  }
  std::vector<std::string> keysOf(const Value& request) const {
    std::vector<std::string> keys;
    const auto entries = request.dictionary().entries();
    for (const Dictionary::Entry& entry : entries) keys.push_back(entry.key());
    return keys;
  }

  Phone phone;
  Context::Shared contextShared;
  Context context{phone.platform(), contextShared};
  Identity identity{context, [] { return std::string(); }};
  RequestEnvelope::Shared shared;
  RequestEnvelope envelope{identity, shared, context.json()};
};

using Keys = std::vector<std::string>;

TEST(RequestEnvelope, PutsVersionAndProtocolBehindTheDataOfAFullRequest) {
  Envelope an;
  const Value request = an.envelope.request("update", Form::full, Value{{"a", 1}});
  EXPECT_EQ(an.keysOf(request),
            Keys({"marlune_device_id", "marlune_app_id", "action", "data", "sdk_version", "sdk_protocol"}));
  EXPECT_EQ(request, Value({{"marlune_device_id", "device"},
                            {"marlune_app_id", "app"},
                            {"action", "update"},
                            {"data", Value{{"a", 1}}},
                            {"sdk_version", "ios-20160921"},
                            {"sdk_protocol", "4"}}));
}

TEST(RequestEnvelope, PutsVersionAndProtocolBeforeTheDataOfAnEvent) {
  Envelope an;
  EXPECT_EQ(an.keysOf(an.envelope.request("event", Form::event, Dictionary())),
            Keys({"marlune_device_id", "marlune_app_id", "action", "sdk_version", "sdk_protocol", "data"}));
}

TEST(RequestEnvelope, LeavesVersionAndProtocolOutOfABriefRequest) {
  Envelope an;
  EXPECT_EQ(an.keysOf(an.envelope.request("spatial", Form::brief, Dictionary())),
            Keys({"marlune_device_id", "marlune_app_id", "action", "data"}));
}

TEST(RequestEnvelope, LeavesTheDataOutOfAQuestion) {
  Envelope an;
  EXPECT_EQ(an.keysOf(an.envelope.request("get_attribution", Form::question)),
            Keys({"marlune_device_id", "marlune_app_id", "action", "sdk_version", "sdk_protocol"}));
}

TEST(RequestEnvelope, EndsBeforeTheFirstKeyWhoseValueIsMissing) {
  Envelope an;
  EXPECT_EQ(an.keysOf(an.envelope.request("initial", Form::full)),
            Keys({"marlune_device_id", "marlune_app_id", "action"}));
  an.phone.store("appId", nullptr);
  EXPECT_EQ(an.keysOf(an.envelope.request("update", Form::full, Dictionary())), Keys({"marlune_device_id"}));
  an.phone.store("deviceId", nullptr);
  EXPECT_EQ(an.envelope.request("update", Form::full, Dictionary()), Value(Dictionary()));
}

TEST(RequestEnvelope, TakesItsDataAsAValueOrAsAList) {
  Envelope an;
  for (const Form form : {Form::full, Form::event, Form::brief}) {
    PairText data(an.context.json());
    data.add("a", 1).add("b", "\"");
    EXPECT_EQ(an.envelope.request("event", form, data),
              an.envelope.request("event", form, Value{{"a", 1}, {"b", "\""}}));
  }
}

TEST(RequestEnvelope, SaysInAnInitRequestTwiceWhoIsCalling) {
  Envelope an;
  PairText data(an.context.json());
  PairText firstIdentity(an.context.json());
  const Value made = an.envelope.initRequest(data.add("a", 1), firstIdentity.add("b", 2));
  const Dictionary request = made.dictionary();
  EXPECT_EQ(an.keysOf(made), Keys({"action", "marlune_app_id", "marlune_device_id", "sdk_protocol", "sdk_version",
                                   "data", "data_orig"}));
  EXPECT_EQ(request["action"], Value("init"));
  EXPECT_EQ(request["marlune_app_id"], Value("app"));
  EXPECT_EQ(request["marlune_device_id"], Value("device"));
  EXPECT_EQ(request["data"], Value({{"a", 1}}));
  EXPECT_EQ(request["data_orig"], Value({{"b", 2}}));
}

TEST(RequestEnvelope, HasTheHostAppsExtensionBehindTheVersion) {
  Envelope an;
  an.envelope.setVersionExtension("-x");
  EXPECT_EQ(an.envelope.request("a", Form::question).dictionary()["sdk_version"], Value("ios-20160921-x"));
}

}  // namespace
}  // namespace fliprugair
