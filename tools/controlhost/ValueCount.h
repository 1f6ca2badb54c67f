#pragma once

#include <cstddef>
#include <string_view>

namespace fliprugair::controlhost {

/// Whether a JSON text holds more than `most` values, those within others counted, too. Keeps none of them: what they
/// take of the memory is a hundred times their text.
bool holdsMoreValuesThan(std::size_t most, std::string_view text);

}  // namespace fliprugair::controlhost
