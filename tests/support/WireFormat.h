#pragma once

#include <set>
#include <string>
#include <string_view>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::test {

using FindingKinds = std::set<std::string, std::less<>>;

/// What is wrong or unusual, by the schemas of the wire protocol, with a payload that a tracker sends: a request or a
/// batch. A line for each finding but for those of the kinds `expected` ("batch-size"); "" when there is none. Any
/// thread.
std::string wireFaults(const Value& payload, const FindingKinds& expected = {});

/// The same of a body as it came.
std::string wireFaultsOfText(std::string_view body, const FindingKinds& expected = {});

}  // namespace fliprugair::test
