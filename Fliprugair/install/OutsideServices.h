#pragma once

#include <string>
#include <string_view>

#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/events/BatchQueue.h"

namespace fliprugair {

/// Which other services have left their traces in the application.
class OutsideServices {
 public:
  OutsideServices(Context& context, BatchQueue& batch, const RequestEnvelope& envelope, const Documents& documents)
      : context_(context), batch_(batch), envelope_(envelope), documents_(documents) {}

  /// `services` says by name which stored keys ("ios_nsud") and which archives ("ios_docs") to look for. What is found
  /// is reported with the next batch.
  void determineOutsideServices(const Dictionary& services);

  /// The path of a file in the application's documents.
  std::string getFullFilename(std::string_view name) const { return documents_.pathForFile(name); }

 private:
  Context& context_;
  BatchQueue& batch_;
  const RequestEnvelope& envelope_;
  const Documents& documents_;
};

}  // namespace fliprugair
