#include "platform/sqlite/LogCopy.h"

#include <sqlite3.h>

namespace fliprugair {

LogCopy::LogCopy(const std::string& path) : reader_(path, Database::Mode::readWrite) {
  reader_.leaveFilesAlone();
  reader_.execute("BEGIN");
  reader_.integer("SELECT count(*) FROM sqlite_schema");  // what begins to read
  const Database copier(path, Database::Mode::readWrite);
  copier.leaveFilesAlone();
  copier.integer("PRAGMA schema_version");  // the log is not looked at before the first read
  int length = 0;
  int copied = 0;
  const int code = sqlite3_wal_checkpoint_v2(copier.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, &length, &copied);
  if (code == SQLITE_OK) {
    pages_ = copied;
  } else if ((code & 0xFF) != SQLITE_BUSY) {
    throw StoreError(StoreError::Kind::unavailable, sqlite3_errmsg(copier.get()));
  }
}

LogCopy::~LogCopy() = default;

void LogCopy::letGo() { reader_.execute("COMMIT"); }

}  // namespace fliprugair
