#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace fliprugair::controlhost {

/// What stands in `bytes` in the gzip format, in one member or several. None when that is not what they are, or are
/// not to their end. Of more than `longest` bytes it gives one more than that. `hasRoom` is asked for each piece that
/// is to be kept, and nothing comes of it when it says no.
std::optional<std::string> gunzipped(std::string_view bytes, std::size_t longest,
                                     const std::function<bool(std::size_t)>& hasRoom);

}  // namespace fliprugair::controlhost
