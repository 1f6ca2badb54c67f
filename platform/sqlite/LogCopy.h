#pragma once

#include <string>

#include "platform/sqlite/Database.h"

namespace fliprugair {

/// The log, copied into the store's file and confirmed by the disk, both of which the constructor waits for. As long as
/// the copy exists SQLite only adds to the log, and never begins it anew by itself. Failures are StoreErrors. Made and
/// used by one thread, beside the connection that writes; the store's files must stay in their places meanwhile.
class LogCopy {
 public:
  explicit LogCopy(const std::string& path);
  ~LogCopy();
  LogCopy(const LogCopy&) = delete;
  LogCopy& operator=(const LogCopy&) = delete;

  /// How much of the log is in the file. 0 when it could not be copied now.
  int pages() const { return pages_; }

  /// Lets the log be begun anew from now on.
  void letGo();

 private:
  Database reader_;  ///< keeps the log as it is by reading it
  int pages_ = 0;
};

}  // namespace fliprugair
