#pragma once

#include <cstdint>
#include <string_view>

namespace fliprugair::controlhost {

/// The text of one record as it stands in a batch, which must be a JSON array: what is parsed no longer shows the
/// digits of its numbers, its escapes and the names that it repeats. "" when the batch has no such record.
std::string_view recordText(std::string_view batch, std::int64_t index);

}  // namespace fliprugair::controlhost
