#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/controlhost/FileLock.h"
#include "tools/controlhost/ReceivedRequest.h"

struct sqlite3;
struct sqlite3_stmt;

namespace fliprugair::controlhost {

/// Requests in an SQLite file, all that ever came. Nobody else saves there meanwhile: a lock beside it (FILE.lock) sees
/// to that. One thread at a time.
class SavedRequests {
 public:
  /// Throws std::runtime_error when the file cannot be used, another host uses it, or it is somebody else's, which
  /// stays as it is.
  explicit SavedRequests(const std::string& path);
  ~SavedRequests();
  SavedRequests(const SavedRequests&) = delete;
  SavedRequests& operator=(const SavedRequests&) = delete;

  // These throw std::runtime_error when the file refuses.
  void add(const ReceivedRequest& request);
  void clear();
  void forget(const std::string& device);

  /// The latest of them, the oldest first, as they came and were answered; what is read from them is not filled in.
  std::vector<ReceivedRequest> latest(std::size_t most);

 private:
  struct Close {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  using Database = std::unique_ptr<sqlite3, Close>;
  /// What a file is before it is used.
  enum class Kind { unused, ours, earlier, later, foreign };

  Kind kind();
  void open(const std::string& name, int flags);
  void execute(const char* sql);
  std::int64_t number(const char* sql);
  Statement prepared(const char* sql);
  void run(sqlite3_stmt* statement);
  [[noreturn]] void fail() const;
  [[noreturn]] void fail(const std::string& reason) const;

  const std::string path_;
  std::optional<FileLock> lock_;
  Database database_;
  Statement insert_;
};

}  // namespace fliprugair::controlhost
