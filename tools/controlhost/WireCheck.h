#pragma once

#include <memory>
#include <vector>

#include "Fliprugair/platform/Value.h"
#include "tools/controlhost/Finding.h"

namespace fliprugair::controlhost {

/// Checks what a tracker sends against the schemas of the wire protocol. Any thread.
class WireCheck {
 public:
  WireCheck();
  ~WireCheck();
  WireCheck(const WireCheck&) = delete;
  WireCheck& operator=(const WireCheck&) = delete;

  /// What is wrong with `request`: an object, or the array of a batch.
  std::vector<Finding> findings(const Value& request) const;

  /// Whether `batch` satisfies the batch's schema as it stands.
  bool isBatch(const Value& batch) const;

 private:
  struct Schemas;
  std::vector<Finding> findingsOfRecord(const Value& record, bool inBatch) const;
  const std::unique_ptr<Schemas> schemas_;
};

}  // namespace fliprugair::controlhost
