#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

enum class Severity {
  note,     ///< worth a look
  warning,  ///< allowed, and probably not what was meant
  error     ///< against the protocol
};

/// One thing that is wrong, or worth a look, in what a tracker sent.
struct Finding {
  Severity severity = Severity::error;
  std::string code;                         ///< the kind of it, as "schema" or "batch-size"
  std::string path = {};                    ///< where, a JSON pointer into the record; "" is the whole of it
  std::string expected = {};                ///< what should be there
  std::string got = {};                     ///< what is
  std::string hint = {};                    ///< what to do, a sentence
  std::string text = {};                    ///< all of this for a person
  std::optional<std::int64_t> record = {};  ///< in a batch its place, else 0; none: about the request as a whole

  /// As the interface of the host shows it.
  Value json() const;
};

}  // namespace fliprugair::controlhost
