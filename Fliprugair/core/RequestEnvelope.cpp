#include "Fliprugair/core/RequestEnvelope.h"

#include "platform/Joined.h"

namespace fliprugair {

namespace {

constexpr Literal protocol = "4";
constexpr std::string_view releaseTag = "ios-20160921";
// Features that a release may add to its version text; this one has none of them.
constexpr std::string_view versionGameKitPartString;
constexpr std::string_view versioniBeaconPartString;
constexpr std::string_view versionCoreLocationPartString;
constexpr std::string_view versionCookieCollectionPartString;

}  // namespace

Value RequestEnvelope::request(Literal action, Form form, const Value& data) const {
  PairText list(json_);
  addBeforeData(list, action, form);
  if (form != Form::question) list.add("data", data);
  addAfterData(list, form);
  return list.value();
}

Value RequestEnvelope::request(Literal action, Form form, PairText& data) const {
  PairText list(json_);
  addBeforeData(list, action, form);
  list.add("data", data);
  addAfterData(list, form);
  return list.value();
}

void RequestEnvelope::addBeforeData(PairText& list, Literal action, Form form) const {
  list.add("marlune_device_id", identity_.deviceId())
      .add("marlune_app_id", identity_.appId())
      .addLiteral("action", action);
  if (form == Form::event) addVersion(list);
}

void RequestEnvelope::addAfterData(PairText& list, Form form) const {
  if (form == Form::full || form == Form::question) addVersion(list);
}

Value RequestEnvelope::initRequest(PairText& data, PairText& firstIdentity) const {
  return PairText(json_)
      .addLiteral("action", "init")
      .add("marlune_app_id", identity_.appId())
      .add("marlune_device_id", identity_.deviceId())
      .addLiteral("sdk_protocol", protocol)
      .add("sdk_version", shared_.sdkVersion.load())
      .add("data", data)
      .add("data_orig", firstIdentity)
      .value();
}

void RequestEnvelope::addVersion(PairText& list) const {
  list.add("sdk_version", shared_.sdkVersion.load()).addLiteral("sdk_protocol", protocol);
}

void RequestEnvelope::setVersionExtension(std::string_view extension) {
  shared_.sdkVersion.store(joined({releaseTag, versionGameKitPartString, versioniBeaconPartString,
                                   versionCoreLocationPartString, versionCookieCollectionPartString, extension}));
}

}  // namespace fliprugair
