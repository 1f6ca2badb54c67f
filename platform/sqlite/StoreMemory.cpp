#include "platform/sqlite/StoreMemory.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "platform/sqlite/LockSoon.h"

namespace fliprugair {

namespace {

using namespace std::chrono_literals;

// Far longer than what the tracker does in a group, its writes and the making of a request.
constexpr auto longestGroup = 50ms;

constexpr std::uint64_t allGroups = std::numeric_limits<std::uint64_t>::max();

/// The list `older` with what stands in `newer`; otherwise `newer`.
Value joined(const Value& older, const Value& newer) {
  const bool isList = older.isArray() || older.isDictionary();
  if (isList && newer.isNull()) return older;
  if (older.isArray() && newer.isArray()) {
    Array array = older.array();
    for (const Value& item : newer.array()) array = array.appending(item);
    return array;
  }
  if (older.isDictionary() && newer.isDictionary()) {
    Dictionary dictionary = older.dictionary();
    for (const auto& entry : newer.dictionary().entries()) dictionary = dictionary.setting(entry.key(), entry.value);
    return dictionary;
  }
  return newer;
}

}  // namespace

Value StoreMemory::read(std::string_view name) const {
  const std::unique_lock lock = lockSoon(mutex_);
  const auto found = table_.find(name);
  return found == table_.end() ? Value() : found->second.value;
}

void StoreMemory::write(std::string_view name, Value value) {
  std::unique_lock lock = lockSoon(mutex_);
  beforeWrite(lock);
  Table::value_type& target = slot(name);
  if (target.second.value.isSameObject(value)) return;
  // What was there is destroyed by the caller, after the lock.
  value = std::exchange(target.second.value, std::move(value));
  markWritten(target);
}

void StoreMemory::update(std::string_view name, const std::function<Value(const Value&)>& change) {
  Value value;
  std::unique_lock lock = lockSoon(mutex_);
  beforeWrite(lock);
  Table::value_type& target = slot(name);
  value = change(target.second.value);
  if (target.second.value.isSameObject(value)) return;
  value = std::exchange(target.second.value, std::move(value));
  markWritten(target);
}

void StoreMemory::adopt(std::string_view name, const Value& value) {
  const std::unique_lock lock = lockSoon(mutex_);
  Table::value_type& target = unwrittenSlot(name);
  if (target.second.isForThisLife) return markWritten(target);  // what an older life left is to go
  if (!target.second.written) target.second.value = value;
}

void StoreMemory::merge(std::string_view name, const Value& value) {
  const std::unique_lock lock = lockSoon(mutex_);
  Table::value_type& target = unwrittenSlot(name);
  if (target.second.isForThisLife) return markWritten(target);
  Slot& slot = target.second;
  slot.value = slot.written ? joined(value, slot.value) : value;
}

void StoreMemory::yieldTo(std::string_view name, const Value& value) {
  const std::unique_lock lock = lockSoon(mutex_);
  slot(name).second.value = value;
}

void StoreMemory::restore(std::string_view name, const Value& value) {
  const std::unique_lock lock = lockSoon(mutex_);
  Table::value_type& target = slot(name);
  if (!target.second.value.isNull()) return;
  markWritten(target);
  target.second.value = value;
}

bool StoreMemory::isTorn() const {
  const std::unique_lock lock = lockSoon(mutex_);
  return isAnyTorn(allGroups);
}

StoreMemory::Mark StoreMemory::awaitGroups() {
  std::unique_lock lock = lockSoon(mutex_);
  const Mark before = writes_;
  ++waiting_;
  awaitGroups(lock, lastGroup_);
  --waiting_;
  return before;
}

bool StoreMemory::isTaken(Mark mark) const {
  const std::unique_lock lock = lockSoon(mutex_);
  return mark <= taken_;
}

void StoreMemory::takeWrites(std::vector<Write>& writes) {
  std::unique_lock lock = lockSoon(mutex_);
  ++takings_;
  awaitGroups(lock, allGroups);
  if (--takings_ == 0) changed_.notify_all();
  writes.reserve(writes.size() + written_.size());
  for (Table::value_type* slot : written_) {
    slot->second.written = false;
    writes.push_back({&slot->first, slot->second.isForThisLife ? Value() : slot->second.value});
  }
  written_.clear();
  taken_ = writes_;
}

/// A group that has not written yet waits for a taking to end: what it began now would be taken in part.
void StoreMemory::beforeWrite(std::unique_lock<std::mutex>& lock) {
  const Group* group = groupOfThisThread();
  if (group == nullptr || group->number != 0) return;
  changed_.wait_for(lock, longestGroup, [this] { return takings_ == 0; });
  groupOfThisThread()->number = ++lastGroup_;
}

void StoreMemory::awaitGroups(std::unique_lock<std::mutex>& lock, std::uint64_t newest) {
  if (changed_.wait_for(lock, longestGroup, [&] { return !isAnyTorn(newest); })) return;
  for (Group& group : groups_) group.isSlow = group.isSlow || (group.number <= newest && isTornGroup(group));
}

bool StoreMemory::isAnyTorn(std::uint64_t newest) const {
  return std::any_of(groups_.begin(), groups_.end(),
                     [&](const Group& each) { return each.number <= newest && isTornGroup(each); });
}

/// Whether another thread's group has written and is to write more.
bool StoreMemory::isTornGroup(const Group& group) const {
  return group.number != 0 && !group.isSlow && group.thread != std::this_thread::get_id();
}

void StoreMemory::forgetTaken() noexcept {
  const std::unique_lock lock = lockSoon(mutex_);
  for (Table::value_type& slot : table_) markWritten(slot);
  taken_ = 0;
}

void StoreMemory::beginGroup() {
  const std::unique_lock lock = lockSoon(mutex_);
  if (Group* group = groupOfThisThread()) {
    ++group->depth;
  } else {
    groups_.push_back({std::this_thread::get_id(), 1, {}, 0, false});
  }
}

StoreMemory::GroupEnd StoreMemory::endGroup() {
  const std::unique_lock lock = lockSoon(mutex_);
  Group* group = groupOfThisThread();
  if (group == nullptr || --group->depth > 0) return {};
  GroupEnd end = std::move(group->end);
  groups_.erase(groups_.begin() + (group - groups_.data()));
  if (takings_ > 0 || waiting_ > 0) changed_.notify_all();
  return end;
}

bool StoreMemory::postponeSynchronization() {
  const std::unique_lock lock = lockSoon(mutex_);
  Group* group = groupOfThisThread();
  if (group == nullptr) return false;
  group->end.synchronizes = true;
  return true;
}

bool StoreMemory::postponeAction(std::function<void()>& action) {
  const std::unique_lock lock = lockSoon(mutex_);
  Group* group = groupOfThisThread();
  if (group == nullptr) return false;
  group->end.synchronizes = true;
  group->end.actions.push_back(std::move(action));
  return true;
}

StoreMemory::Table::value_type& StoreMemory::slot(std::string_view name) {
  const auto found = table_.find(name);
  if (found != table_.end()) return *found;
  Table::value_type& fresh = unwrittenSlot(name);
  // Even nothing: the file may hold something under this name and could just not be read so far.
  markWritten(fresh);
  return fresh;
}

StoreMemory::Table::value_type& StoreMemory::unwrittenSlot(std::string_view name) {
  const auto found = table_.find(name);
  if (found != table_.end()) return *found;
  written_.reserve(table_.size() + 1);  // here, so that a medium's failure never needs memory to be noted
  Table::value_type& fresh = *table_.try_emplace(std::string(name)).first;
  fresh.second.isForThisLife = name == key::eventsSending;
  return fresh;
}

void StoreMemory::markWritten(Table::value_type& slot) {
  ++writes_;
  if (slot.second.written) return;
  written_.push_back(&slot);
  slot.second.written = true;
}

StoreMemory::Group* StoreMemory::groupOfThisThread() {
  for (Group& group : groups_) {
    if (group.thread == std::this_thread::get_id()) return &group;
  }
  return nullptr;
}

}  // namespace fliprugair
