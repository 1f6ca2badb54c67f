#include "support/WireFormat.h"

#include "tools/controlhost/WireCheck.h"

namespace fliprugair::test {

namespace {

constexpr std::size_t mostRecords = 25;

}  // namespace

std::string wireFaults(const Value& payload) {
  static const controlhost::WireCheck check;
  std::string faults;
  for (const controlhost::Finding& finding : check.findings(payload)) {
    // What it warns of besides is unusual, and not wrong.
    if (finding.severity != controlhost::Severity::error && finding.code != "unknown-member") continue;
    faults += finding.text + '\n';
  }
  // Threads that add to a batch at once may fill it beyond its size before one of them takes it.
  const bool isFilled = payload.isArray() && payload.array().size() <= mostRecords;
  if (isFilled && !check.isBatch(payload)) faults += "The list is no batch.\n";
  return faults;
}

}  // namespace fliprugair::test
