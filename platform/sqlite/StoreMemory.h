#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Fliprugair/platform/Value.h"
#include "platform/NameHash.h"

namespace fliprugair {

/// The store as its readers see it: the values, which of them the file does not have yet, and the groups of writes that
/// are open. The list of the requests under way stays in memory: each start empties it. Owned by the store. Threads:
/// any; no operation waits for the disk.
class StoreMemory {
 public:
  /// A key and what it holds now. The name is the memory's own and stays where it is.
  struct Write {
    const std::string* name;
    Value value;
  };

  Value read(std::string_view name) const;
  void write(std::string_view name, Value value);
  void update(std::string_view name, const std::function<Value(const Value&)>& change);

  /// Takes over what the file holds under `name`, unless something was written here.
  void adopt(std::string_view name, const Value& value);

  /// As `adopt`, for a file that could not be read so far: what was written without having seen its lists must not
  /// delete them. What stands in them comes first; a dictionary's entry yields to one of its name written here.
  void merge(std::string_view name, const Value& value);

  /// Takes over what the file holds under `name`, whatever was written here.
  void yieldTo(std::string_view name, const Value& value);

  /// Writes under `name` if nothing is held there.
  void restore(std::string_view name, const Value& value);

  /// How much had been written at some time.
  using Mark = std::uint64_t;

  /// Whether another thread's group has written a part of what it will write.
  bool isTorn() const;

  /// Waits for such groups, and lets others begin meanwhile. As a rule one ends with a synchronization, which takes
  /// what was written before as well: ask `isTaken` with the answer. Ends early as `takeWrites` does.
  Mark awaitGroups();

  /// Whether all that had been written by then was taken, and not forgotten since.
  bool isTaken(Mark mark) const;

  /// Appends every key that was written since the last call. Waits until no other thread's group has written a part of
  /// what it will write, and lets none begin to meanwhile, so that a group is taken whole; one that takes longer than
  /// any of the tracker's own does, because foreign code runs inside of it, is not waited for again.
  void takeWrites(std::vector<Write>& writes);

  /// Lets every key count as written.
  void forgetTaken() noexcept;

  /// What was postponed until the calling thread's outermost group has ended.
  struct GroupEnd {
    bool synchronizes = false;
    std::vector<std::function<void()>> actions;  ///< due after the synchronization
  };

  void beginGroup();
  GroupEnd endGroup();
  /// Both answer whether the calling thread has a group open; its end will answer with what was postponed.
  bool postponeSynchronization();
  bool postponeAction(std::function<void()>& action);  ///< which includes a synchronization

 private:
  struct Slot {
    Value value;
    bool isForThisLife = false;
    bool written = false;
  };
  /// Never erased from: there are as many slots as keys ever used, and `Write` points to their names.
  using Table = std::unordered_map<std::string, Slot, NameHash, std::equal_to<>>;
  struct Group {
    std::thread::id thread;
    int depth;
    GroupEnd end;
    std::uint64_t number = 0;  ///< of those that have written; later ones have greater ones
    bool isSlow = false;
  };

  void beforeWrite(std::unique_lock<std::mutex>& lock);
  bool isTornGroup(const Group& group) const;
  bool isAnyTorn(std::uint64_t newest) const;
  void awaitGroups(std::unique_lock<std::mutex>& lock, std::uint64_t newest);
  Table::value_type& slot(std::string_view name);
  Table::value_type& unwrittenSlot(std::string_view name);
  void markWritten(Table::value_type& slot);
  Group* groupOfThisThread();  ///< null when it has none open

  mutable std::mutex mutex_;
  Table table_;
  std::vector<Table::value_type*> written_;
  std::vector<Group> groups_;
  std::uint64_t lastGroup_ = 0;      ///< to write for the first time
  std::condition_variable changed_;  ///< groups have ended, or a taking has
  int takings_ = 0;                  ///< threads inside takeWrites
  int waiting_ = 0;                  ///< threads inside awaitGroups
  Mark writes_ = 0;                  ///< how many there were
  Mark taken_ = 0;                   ///< of these, from the first on
};

}  // namespace fliprugair
