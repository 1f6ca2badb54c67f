#include "platform/sqlite/LogCopier.h"

#include <sqlite3.h>

namespace fliprugair {

LogCopier::LogCopier(const std::string& path) : database_(path, Database::Mode::readWrite) {
  database_.leaveFilesAlone();
  database_.execute("PRAGMA synchronous = NORMAL");
  database_.integer("PRAGMA schema_version");  // the log is not opened before the first read
}

void LogCopier::copy() const { database_.checkpoint(SQLITE_CHECKPOINT_PASSIVE); }

}  // namespace fliprugair
