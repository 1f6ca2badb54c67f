#include "support/WireFormat.h"

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/WireCheck.h"

namespace fliprugair::test {

std::string wireFaults(const Value& payload, const FindingKinds& expected) {
  static const controlhost::WireCheck check;
  std::string faults;
  for (const controlhost::Finding& finding : check.findings(payload)) {
    if (!expected.contains(finding.code)) faults += finding.text + '\n';
  }
  const bool mayBeOfAnySize = expected.contains("batch-size");
  if (payload.isArray() && faults.empty() && !mayBeOfAnySize && !check.isBatch(payload))
    faults += "The list is no batch.\n";
  return faults;
}

std::string wireFaultsOfText(std::string_view body, const FindingKinds& expected) {
  const auto payload = RapidJSONSerialization().value(body);
  return payload ? wireFaults(*payload, expected) : "The body is not JSON.\n";
}

}  // namespace fliprugair::test
