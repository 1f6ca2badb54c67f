#pragma once

#include <string>
#include <vector>

#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

/// Conditions on requests and records: terms separated by blanks, all of which must hold. `key:value` asks a property,
/// `/data/currency:EUR` a member of the record, anything else is text that the record holds.
class Match {
 public:
  explicit Match(const std::string& text);

  /// Whether the request, or one of its records, satisfies all terms.
  bool holds(const ReceivedRequest& request) const;
  bool holds(const ReceivedRequest& request, const Value& record, std::int64_t index) const;

  /// The terms that this record does not satisfy.
  std::vector<std::string> missed(const ReceivedRequest& request, const Value& record, std::int64_t index) const;
  /// What the record has instead, for one missed term: "event is \"levl\" (wanted level)".
  std::string instead(const ReceivedRequest& request, const Value& record, const std::string& term) const;

 private:
  struct Term {
    std::string text;  ///< as it was written
    std::string key;   ///< "": any text
    std::string value;
  };
  static bool holds(const Term& term, const ReceivedRequest& request, const Value& record, std::int64_t index);
  static bool holdsForRequest(const Term& term, const ReceivedRequest& request);
  static Term termOf(const std::string& text);

  std::vector<Term> terms_;
};

}  // namespace fliprugair::controlhost
