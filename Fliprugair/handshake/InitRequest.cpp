#include "Fliprugair/handshake/InitRequest.h"

namespace fliprugair {

void InitRequest::initEvent(const Options& options) {
  PairText data(context_.json());
  data.add("partner_id", options.partnerId)
      .add("partner_name", options.partnerName)
      .add("package_name", facts_.bundleText("CFBundleIdentifier"))
      .addLiteral("platform", "ios")
      .add("session_tracking", sessions_.trackingWord())
      .add("currency", identity_.currency())
      .add("os_version", facts_.systemNameAndVersion());
  addIdentifiers(data, options.generateAnonymousMarluneDeviceId);
  PairText firstIdentity(context_.json());
  firstIdentity.add("marlune_device_id", identity_.origDeviceId())
      .add("marlune_app_id", options.marluneAppId)
      .addLiteral("session_tracking", "full")
      .add("currency", options.currency);
  const Value request = envelope_.initRequest(data, firstIdentity);
  context_.store().setObject(request, key::INIT_PAYLOAD);
  context_.store().synchronize();
  requests_.sendUnqueued(request);
}

/// The anonymous option keeps out the vendor identifier alone; the advertising identifier is the control host's affair.
void InitRequest::addIdentifiers(PairText& data, bool generateAnonymousMarluneDeviceId) const {
  if (!facts_.hasIdentifiers()) return;
  if (facts_.mayReportVendorIdentifier() && !generateAnonymousMarluneDeviceId) {
    data.set("idfv", facts_.vendorIdentifier());
  }
  if (facts_.mayReportAdvertisingIdentifier()) data.set("idfa", facts_.reportedAdvertisingIdentifier());
}

void InitRequest::resend() {
  const Value request = context_.store().objectForKey(key::INIT_PAYLOAD);
  if (request.isDictionary()) requests_.sendUnqueued(request);
}

}  // namespace fliprugair
