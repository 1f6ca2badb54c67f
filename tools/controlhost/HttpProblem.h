#pragma once

#include <string_view>

#include "Fliprugair/controlhost/Http.h"

namespace fliprugair::controlhost {

/// The usual words for a status.
HttpProblem httpProblem(int status);

/// Of a body for which there is no room beside others.
HttpProblem noRoomProblem();

/// What would not have had this status, in a few words.
std::string_view expectationOf(int status);

/// What stands behind the status in a reply, of those that are usual; "" of the others.
std::string_view reasonPhrase(int status);

/// Whether a reply with this status can have a body.
bool canHaveBody(int status);

}  // namespace fliprugair::controlhost
