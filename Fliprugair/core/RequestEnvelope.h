#pragma once

#include "Fliprugair/core/Identity.h"
#include "platform/Literal.h"
#include "platform/Locked.h"
#include "platform/PairText.h"

namespace fliprugair {

/// The keys that requests carry around their data. The order of the keys is part of each format, and so is that a
/// request ends before the first key whose value is absent.
class RequestEnvelope {
 public:
  struct Shared {
    Locked<Value> sdkVersion;  ///< text; the version reported as "sdk_version"
  };

  RequestEnvelope(const Identity& identity, Shared& shared, const JSONSerialization& json)
      : identity_(identity), shared_(shared), json_(json) {}

  enum class Form {
    full,      ///< data, then version and protocol
    event,     ///< version and protocol, then data
    brief,     ///< data alone
    question,  ///< version and protocol alone
  };

  /// A dictionary.
  Value request(Literal action, Form form, const Value& data = {}) const;
  /// Nothing can be added to `data` any more.
  Value request(Literal action, Form form, PairText& data) const;

  /// The init request says twice who is calling: as of now, and as of the first start. Nothing can be added to either
  /// any more.
  Value initRequest(PairText& data, PairText& firstIdentity) const;

  /// The version is this release's, with the host app's extension behind it.
  void setVersionExtension(std::string_view extension);

 private:
  void addBeforeData(PairText& list, Literal action, Form form) const;
  void addAfterData(PairText& list, Form form) const;
  void addVersion(PairText& list) const;

  const Identity& identity_;
  Shared& shared_;
  const JSONSerialization& json_;
};

}  // namespace fliprugair
