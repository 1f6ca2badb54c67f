#pragma once

#include <string>

#include "platform/sqlite/Database.h"

namespace fliprugair {

/// A second connection to the store's file, which copies SQLite's log into the file beside the writes of the first and
/// waits for the disk in their place. The files that it works on are those that it was made with, wherever they are
/// moved. Failures are StoreErrors. Made while nothing is written, then used by one thread.
class LogCopier {
 public:
  explicit LogCopier(const std::string& path);

  /// Copies what the log holds now.
  void copy() const;

 private:
  Database database_;
};

}  // namespace fliprugair
