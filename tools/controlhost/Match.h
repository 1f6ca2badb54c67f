#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

/// Conditions on requests and records: terms separated by blanks, all of which must hold. `key:value` asks a property,
/// `/data/currency:EUR` a member of the record, anything else is text that the record holds. Within quotation marks
/// blanks and colons are text.
class Match {
 public:
  explicit Match(const std::string& text);

  /// The first thing in the terms that cannot be meant, as a sentence; "": they are all right. Only then the rest of
  /// this class means something.
  const std::string& problem() const { return problem_; }
  /// What terms there are, as a sentence.
  static std::string termsInWords();

  /// Whether the request, or one of its records, satisfies all terms.
  bool holds(const ReceivedRequest& request) const;
  bool holds(const ReceivedRequest& request, const Value& record, std::int64_t index) const;

  /// A term that a record does not satisfy.
  struct Missed {
    std::string term;
    std::string instead;  ///< what it has, in words: "its event is "levl""
    bool hasNone;         ///< whether it has nothing at all of that kind
  };
  std::vector<Missed> missed(const ReceivedRequest& request, const Value& record, std::int64_t index) const;

 private:
  struct Term {
    std::string text;  ///< as it was written, without its quotation marks
    std::string key;   ///< "": any text
    std::string value;
  };
  void take(std::string text, std::size_t quote);
  static std::string problemOf(const Term& term);
  static bool holds(const Term& term, const ReceivedRequest& request, const Value& record, std::int64_t index);
  static bool holdsForRequest(const Term& term, const ReceivedRequest& request);
  static Missed missed(const Term& term, const ReceivedRequest& request, const Value& record);

  std::vector<Term> terms_;
  std::string problem_;
};

}  // namespace fliprugair::controlhost
