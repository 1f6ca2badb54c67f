#include "Fliprugair/core/RequestEnvelope.h"

namespace fliprugair {

namespace {

constexpr std::string_view protocol = "4";
constexpr std::string_view releaseTag = "ios-20160921";
// Features that a release may add to its version text; this one has none of them.
constexpr std::string_view versionGameKitPartString;
constexpr std::string_view versioniBeaconPartString;
constexpr std::string_view versionCoreLocationPartString;
constexpr std::string_view versionCookieCollectionPartString;

constexpr std::size_t mostPairs = 6;

}  // namespace

Dictionary RequestEnvelope::request(std::string_view action, Form form, const Value& data) const {
  PairList list(mostPairs);
  list.add("marlune_device_id", identity_.deviceId()).add("marlune_app_id", identity_.appId()).add("action", action);
  switch (form) {
    case Form::full:
      list.add("data", data);
      addVersion(list);
      break;
    case Form::event:
      addVersion(list);
      list.add("data", data);
      break;
    case Form::brief:
      list.add("data", data);
      break;
    case Form::question:
      addVersion(list);
      break;
  }
  return list.dictionary();
}

Dictionary RequestEnvelope::initRequest(const Value& data, const Value& firstIdentity) const {
  return PairList()
      .add("action", "init")
      .add("marlune_app_id", identity_.appId())
      .add("marlune_device_id", identity_.deviceId())
      .add("sdk_protocol", protocol)
      .add("sdk_version", shared_.sdkVersion.load())
      .add("data", data)
      .add("data_orig", firstIdentity)
      .dictionary();
}

void RequestEnvelope::addVersion(PairList& list) const {
  list.add("sdk_version", shared_.sdkVersion.load()).add("sdk_protocol", protocol);
}

void RequestEnvelope::setVersionExtension(const std::string& extension) {
  std::string text(releaseTag);
  text += versionGameKitPartString;
  text += versioniBeaconPartString;
  text += versionCoreLocationPartString;
  text += versionCookieCollectionPartString;
  shared_.sdkVersion.store(text + extension);
}

}  // namespace fliprugair
