#pragma once

#include <string_view>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// What an init reply can hold: each setting with its kind, range, default and meaning.
Array initSettings();

/// What a tracker makes of an init reply: an object per member, {"path", "severity", "becomes", "text"}, severity "ok",
/// "note" or "warning".
Array effectsOf(const Value& reply);

/// The same for the text of a reply, be it JSON or not: {"json", "problem", "effects"}.
Value explained(std::string_view text);

}  // namespace fliprugair::controlhost
