#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/controlhost/Finding.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

std::string_view nameOf(Severity severity);

/// More than these of one request help nobody; `addFindings` says then that there are others.
constexpr std::size_t mostFindings = 500;

void addFindings(std::vector<Finding>& findings, std::vector<Finding> more);

/// How many there are of each severity, as {"error": 0, "warning": 0, "note": 0}.
Value countsOf(const std::vector<Finding>& findings);

/// The beginning of a text that is longer than `most` bytes, and "..."; never a part of a character.
std::string shortened(const std::string& text, std::size_t most = 60);

/// A value in words, for "is ..., and should be ...": "the text \"5\"", "the number 5", "an object".
std::string inWords(const Value& value);

/// Whether it is a number without a fraction, however that is written: 1000 or 1e3.
bool isWhole(const Value& value);

/// Says of the member at `path` that it is none of `known`.
std::string notKnown(const std::string& path, const std::vector<std::string_view>& known);

/// The same of each member that is not, a line each, `place` before its name: a misspelt one would change what holds
/// without a word.
std::vector<std::string> unknownMembers(const Dictionary& members, const std::vector<std::string_view>& known,
                                        const std::string& place);

}  // namespace fliprugair::controlhost
