#pragma once

#include <string_view>

#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/Identity.h"
#include "Fliprugair/core/Options.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/core/Sessions.h"
#include "Fliprugair/environment/DeviceFacts.h"
#include "Fliprugair/events/RequestQueue.h"

namespace fliprugair {

namespace key {

// dictionary: the init request until its reply
inline constexpr std::string_view INIT_PAYLOAD = "com.marlune.MarluneTracker.INIT_PAYLOAD";

}  // namespace key

/// The init request: announces the installation and asks for settings. It is kept until its reply, outside of the
/// network queue.
class InitRequest {
 public:
  InitRequest(Context& context, const Identity& identity, const RequestEnvelope& envelope, const DeviceFacts& facts,
              const Sessions& sessions, RequestQueue& requests)
      : context_(context),
        identity_(identity),
        envelope_(envelope),
        facts_(facts),
        sessions_(sessions),
        requests_(requests) {}

  void initEvent(const Options& options);
  /// Sends again what was sent last, if its reply is still missing.
  void resend();
  void forget() { context_.store().removeObject(key::INIT_PAYLOAD); }

 private:
  void addIdentifiers(PairText& data, bool generateAnonymousMarluneDeviceId) const;

  Context& context_;
  const Identity& identity_;
  const RequestEnvelope& envelope_;
  const DeviceFacts& facts_;
  const Sessions& sessions_;
  RequestQueue& requests_;
};

}  // namespace fliprugair
