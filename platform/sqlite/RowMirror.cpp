#include "platform/sqlite/RowMirror.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "platform/sqlite/JournalMark.h"

namespace fliprugair {

namespace {

template <class Stored>
void eraseAll(Stored& stored, std::vector<RowChange>& changes) {
  stored.items.erase(0, stored.items.size(), changes);
  if (stored.id != 0) changes.emplace_back(RowRange{stored.id, stored.id});
  if (stored.hasTwin) changes.emplace_back(RowRange{-stored.id, -stored.id});
  stored = {};
}

/// The row of an array or dictionary that is stored item by item; others hang on it, or may later.
bool mayHaveItems(const Value& value) {
  return (value.isArray() && value.array().empty()) || (value.isDictionary() && value.dictionary().empty());
}

bool isArrayThatBeginsWith(const Value& value, const Array& beginning) {
  return value.isArray() && beginning.sharedPrefix(value.array()) == beginning.size();
}

/// How many items at the end are the same objects, when `after` lacks items of `before` and has no others.
std::size_t sharedEnd(const Array& before, const Array& after, std::size_t kept) {
  std::size_t shared = 0;
  while (kept + shared < after.size() &&
         before[before.size() - 1 - shared].isSameObject(after[after.size() - 1 - shared])) {
    ++shared;
  }
  return kept + shared == after.size() ? shared : 0;
}

}  // namespace

/// Makes values of rows.
class RowMirror::Assembly {
 public:
  Assembly(const std::vector<Row>& rows, std::unordered_map<std::int64_t, StoredRows::LeftItems>& left,
           StoredArrays* arrays)
      : left_(left), arrays_(arrays) {
    for (const Row& row : rows) children_[row.parent].push_back(&row);
    for (auto& [parent, siblings] : children_) {
      std::sort(siblings.begin(), siblings.end(),
                [](const Row* first, const Row* second) { return first->position < second->position; });
    }
  }

  const std::vector<const Row*>& keys() { return children_[0]; }

  Value value(Key& key, const Row& row) {
    const auto entries = children_.find(row.id);
    if (entries == children_.end() || !row.value.isDictionary()) return array(key.row, row);
    key.row = {row.id, row.position, true, {}};
    std::vector<std::pair<std::string, Value>> pairs;
    pairs.reserve(entries->second.size());
    std::unordered_set<std::string_view> names;
    for (const Row* entry : entries->second) {
      if (!names.insert(entry->name).second) continue;
      Value value = array(key.entries[pairs.size()], *entry);
      pairs.emplace_back(entry->name, std::move(value));
    }
    // The dictionary numbers its entries in this very order.
    return Dictionary(std::move(pairs));
  }

 private:
  Value array(Stored& stored, const Row& row) {
    stored = {row.id, row.position, mayHaveItems(row.value), {}};
    if (const auto items = left_.find(row.id); items != left_.end()) {
      stored.items = items->second.rows;
      return arrays_->array(std::move(items->second.rows), items->second.depth);
    }
    const auto items = children_.find(row.id);
    if (items == children_.end() || !row.value.isArray()) return row.value;
    std::vector<Value> values;
    values.reserve(items->second.size());
    for (const Row* item : items->second) {
      values.push_back(item->value);
      stored.items.add(item->id);
    }
    return Array(std::move(values));
  }

  std::unordered_map<std::int64_t, std::vector<const Row*>> children_;
  std::unordered_map<std::int64_t, StoredRows::LeftItems>& left_;
  StoredArrays* const arrays_;
};

RowMirror::RowMirror(StoredRows stored, const std::shared_ptr<StoredArrays>& arrays) {
  std::vector<Row> rows = ofKeys(std::move(stored.rows));
  nextNumber_ = stored.newestNumber + 1;
  const auto note = [this](std::int64_t number) { nextNumber_ = std::max(nextNumber_, number + 1); };
  for (const Row& row : rows) note(std::max({row.id, row.parent, row.position}));
  for (const RowRange& range : stored.leftovers.ranges()) note(range.last);
  leftovers_ = std::move(stored.leftovers);
  if (stored.mayHaveLeftovers) takeLeftovers(rows);
  std::size_t count = rows.size();
  for (const auto& [parent, items] : stored.left) {
    count += items.rows.size();
    note(items.rows.ranges().back().last);
  }
  Assembly assembly(rows, stored.left, arrays.get());
  for (const Row* row : assembly.keys()) {
    if (keys_.contains(row->name)) continue;
    Key& key = keys_[row->name];
    key.value = assembly.value(key, *row);
    account_.keys += 1;
    account_.records += key.row.items.size() + key.entries.size();
    for (const auto& [order, entry] : key.entries) account_.records += entry.items.size();
  }
  account_.unused = count - account_.keys - account_.records;
}

/// An array's own row stands twice: that both are missing is no damage that a page or two can have.
void RowMirror::takeLeftovers(std::vector<Row>& rows) {
  std::unordered_set<std::int64_t> ids;
  for (const Row& row : rows) ids.insert(row.id);
  std::erase_if(rows, [&](const Row& row) {
    const bool isLeftover = isItem(row.id, row.parent, row.position, row.name) && !ids.contains(row.parent);
    if (isLeftover) leftovers_.add(row.id);
    return isLeftover;
  });
}

void RowMirror::stageLeftovers(std::size_t most, std::vector<RowChange>& changes) {
  leftovers_.erase(0, std::min(most, leftovers_.size()), changes);
}

std::vector<Row> RowMirror::ofKeys(std::vector<Row> rows) {
  std::unordered_set<std::int64_t> ids;
  for (const Row& row : rows) ids.insert(row.id);
  for (Row& row : rows) {
    if (row.id < 0 && !ids.contains(-row.id)) row.id = -row.id;
  }
  std::erase_if(rows, [](const Row& row) { return row.id < 0 || row.id == JournalMark::rowNumber; });
  return rows;
}

void RowMirror::forEachKey(FunctionRef<void(const std::string&, const Value&)> visit) const {
  for (const auto& [name, key] : keys_) visit(name, key.value);
}

void RowMirror::stage(const std::vector<StoreMemory::Write>& writes, std::vector<RowChange>& changes) {
  // Arrays that go are dealt with last, so that whoever receives them finds their rows.
  std::vector<std::pair<const StoreMemory::Write*, Key*>> last;
  for (const auto& write : writes) {
    Key& key = keys_[*write.name];
    if (!key.row.items.empty() && !isArrayThatBeginsWith(write.value, key.value.array())) {
      last.emplace_back(&write, &key);
      donors_.push_back(&key);
    }
  }
  for (const auto& write : writes) {
    Key& key = keys_.find(*write.name)->second;
    if (std::find(donors_.begin(), donors_.end(), &key) == donors_.end())
      stageKey(*write.name, key, write.value, changes);
  }
  donors_.clear();
  for (const auto& [write, key] : last) stageKey(*write->name, *key, write->value, changes);
}

void RowMirror::stageKey(const std::string& name, Key& key, const Value& now, std::vector<RowChange>& changes) {
  const bool wasDictionary = key.value.isDictionary() && key.row.id != 0;
  if (wasDictionary && now.isDictionary()) {
    stageEntries(key, key.value.dictionary(), now.dictionary(), changes);
  } else {
    for (auto& [order, entry] : key.entries) eraseAll(entry, changes);
    key.entries.clear();
    if (now.isNull()) {
      eraseAll(key.row, changes);
    } else if (now.isDictionary()) {
      key.row.items.erase(0, key.row.items.size(), changes);
      put({0, name}, key.row, Dictionary(), changes);
      stageEntries(key, Dictionary(), now.dictionary(), changes);
    } else {
      stageValue({0, name}, key.row, key.value, now, changes);
    }
  }
  key.value = now;
}

void RowMirror::stageEntries(Key& key, const Dictionary& before, const Dictionary& after,
                             std::vector<RowChange>& changes) {
  const Dictionary::Difference difference = Dictionary::difference(before, after);
  const std::vector<Dictionary::Entry>& added = difference.added;
  for (const Dictionary::Entry& entry : difference.removed) {
    const auto successor =
        std::lower_bound(added.begin(), added.end(), entry.order,
                         [](const Dictionary::Entry& other, std::uint64_t order) { return other.order < order; });
    const bool isReplaced =
        successor != added.end() && successor->order == entry.order && successor->name == entry.name;
    if (isReplaced) continue;
    const auto row = key.entries.find(entry.order);
    eraseEntry(row->second, changes);
    key.entries.erase(row);
  }
  const auto isNew = [&](const Dictionary::Entry& entry) { return !key.entries.contains(entry.order); };
  const auto firstNew = std::find_if(added.begin(), added.end(), isNew);
  if (firstNew != added.end() && !key.entries.empty() && firstNew->order < key.entries.rbegin()->first) {
    // New entries before old ones: another dictionary altogether.
    for (auto& [order, entry] : key.entries) eraseAll(entry, changes);
    key.entries.clear();
    return stageEntries(key, Dictionary(), after, changes);
  }
  for (const Dictionary::Entry& entry : added) {
    const auto [row, fresh] = key.entries.try_emplace(entry.order);
    stageValue({key.row.id, entry.name}, row->second, fresh ? Value() : before[entry.name], entry.value, changes);
  }
}

/// A batch that was confirmed goes while others wait for the file: its records follow when nobody does.
void RowMirror::eraseEntry(Stored& entry, std::vector<RowChange>& changes) {
  leftovers_.append(std::exchange(entry.items, {}));
  eraseAll(entry, changes);
}

void RowMirror::stageItems(Stored& stored, const Array& before, const Array& after, std::vector<RowChange>& changes) {
  const std::size_t common = std::min(before.size(), after.size());
  std::size_t kept = before.sharedPrefix(after);
  while (kept < common && before[kept] == after[kept]) ++kept;
  const std::size_t end = after.size() < before.size() ? sharedEnd(before, after, kept) : 0;
  stored.items.erase(kept, stored.items.size() - end, changes);
  for (std::size_t index = kept; index < after.size() - end; ++index) {
    const std::int64_t id = nextNumber_++;
    changes.emplace_back(Row{id, stored.id, id, {}, after[index]});
    stored.items.add(id);
  }
}

void RowMirror::stageValue(const Place& place, Stored& stored, const Value& before, const Value& after,
                           std::vector<RowChange>& changes) {
  if (stored.id != 0 && before.isArray() && after.isArray()) {
    const auto rows = StoredArrays::rowsOf(before);
    if (rows && rows == StoredArrays::rowsOf(after)) return;
    if (rows) stored.items.erase(0, stored.items.size(), changes);  // rather than read what goes
    return stageItems(stored, rows ? Array() : before.array(), after.array(), changes);
  }
  if (stored.id != 0 && before == after) return;
  stored.items.erase(0, stored.items.size(), changes);
  if (!after.isArray()) return put(place, stored, after, changes);
  const Array array = after.array();
  const Array taken = takeRowsOfDonor(array, stored);
  put(place, stored, Array(), changes);
  stageItems(stored, taken, array, changes);
}

/// Writes the row itself; it keeps its number and position, if it has any.
void RowMirror::put(const Place& place, Stored& stored, Value value, std::vector<RowChange>& changes) {
  if (stored.id == 0) stored.id = nextNumber_++;
  if (stored.position == 0) stored.position = stored.id;
  if (mayHaveItems(value)) {
    changes.emplace_back(Row{-stored.id, place.parent, stored.position, std::string(place.name), value});
  } else if (stored.hasTwin) {
    changes.emplace_back(RowRange{-stored.id, -stored.id});
  }
  stored.hasTwin = mayHaveItems(value);
  changes.emplace_back(Row{stored.id, place.parent, stored.position, std::string(place.name), std::move(value)});
}

/// The beginning of `array` whose rows `stored` has received.
Array RowMirror::takeRowsOfDonor(const Array& array, Stored& stored) {
  if (stored.id != 0) return {};
  const auto donor = std::find_if(donors_.begin(), donors_.end(), [&](const Key* key) {
    return !key->row.items.empty() && isArrayThatBeginsWith(array, key->value.array());
  });
  if (donor == donors_.end()) return {};
  stored = std::exchange((*donor)->row, {});
  stored.position = nextNumber_++;
  return (*donor)->value.array();
}

}  // namespace fliprugair
