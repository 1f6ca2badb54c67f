// What a control host may answer, and what comes of it.
#pragma once

#include <vector>

#include "tracker/Phone.h"

namespace fliprugair {

inline const std::string invalidUtf8 = "a\xFF\xC0\x80z";

/// A value of every kind, most of them wrong wherever they stand.
const std::vector<Value>& wrongValues();
/// Those of them that are wrong by that measure.
std::vector<Value> wrongValues(bool (*isWrong)(const Value&));
/// The items of a list that has none of the words that are looked for.
const Array& oddItems();

struct NumericCase {
  Value given;
  std::int64_t read;  ///< before it is limited
};
const std::vector<NumericCase>& numbers();

struct BooleanCase {
  Value given;
  bool expected;
};
const std::vector<BooleanCase>& booleans();

/// How a device stands before the reply.
struct Setting {
  Value options = Value{{"marluneAppId", "demo"}};
  Value stored = Dictionary();  ///< short names of keys
  bool isOdd = false;           ///< what is stored makes the tracker send what no host app would
};

/// Installed and reported already: the neutral reply leads to no request and no record.
Setting reported();

/// What is there after an init request has been answered with `body`.
Snapshot afterReply(const Setting& setting, const Value& body);

/// `body` with `value` under `name` among its flags.
Value withFlag(std::string_view name, const Value& value, const Value& body = neutral);

}  // namespace fliprugair
