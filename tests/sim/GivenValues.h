#pragma once

#include <map>
#include <string>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::sim {

/// What a script wrote into the queues and the store, or had the control host answer: a tracker sends it as it is, and
/// no schema holds for it.
class GivenValues {
 public:
  void note(const Dictionary& command);

  /// What of `payload` is the tracker's own, with something usual for each value that was given; null: nothing is.
  Value without(const Value& payload) const;

 private:
  bool isGiven(const Value& record) const;
  void add(const std::string& member, const Value& value);
  void addRecords(const Value& value);
  Dictionary withUsual(const Dictionary& record) const;
  Dictionary withUsualMembers(Dictionary members) const;

  std::vector<Value> records_;
  std::map<std::string, std::vector<Value>> values_;  ///< by the member of a record
  bool wroteInstallation_ = false;
};

}  // namespace fliprugair::sim
