#include "platform/sqlite/StoredArrays.h"

#include <algorithm>
#include <utility>

#include "platform/Joined.h"
#include "platform/sqlite/SelectedRow.h"
#include "platform/sqlite/StoredValue.h"

namespace fliprugair {

class StoredArrays::Stored final : public UnreadValue::Source {
 public:
  Stored(std::shared_ptr<StoredArrays> arrays, RowNumbers rows) : arrays_(std::move(arrays)), rows_(std::move(rows)) {
    const std::lock_guard lock(arrays_->mutex_);
    place_ = arrays_->arrays_.size();
    arrays_->arrays_.push_back(this);
  }
  ~Stored() override {
    if (!arrays_->mark_.isOwnProcess()) return;  // in a child the lock may be held for ever
    const std::lock_guard lock(arrays_->mutex_);
    std::vector<Stored*>& all = arrays_->arrays_;
    all[place_] = all.back();
    all[place_]->place_ = place_;
    all.pop_back();
  }
  Stored(const Stored&) = delete;
  Stored& operator=(const Stored&) = delete;

  std::string text() const override {
    if (!arrays_->mark_.isOwnProcess()) {
      throw StoreError(StoreError::Kind::unavailable, "the store belongs to the process that this one was forked from");
    }
    const std::lock_guard lock(arrays_->mutex_);
    if (kept_) return *kept_;
    return arrays_->read(rows_);
  }

  std::size_t size() const override { return rows_.size(); }

 private:
  friend class StoredArrays;

  const std::shared_ptr<StoredArrays> arrays_;
  const RowNumbers rows_;
  std::size_t place_ = 0;                    ///< among all; under their lock, as what follows
  mutable std::optional<std::string> kept_;  ///< from some time on
};

void StoredArrays::open() {
  const std::lock_guard lock(mutex_);
  database_.emplace(path_, Database::Mode::readWrite);
  database_->leaveFilesAlone();
  database_->execute("PRAGMA query_only = ON; PRAGMA cache_size = 32");
  database_->integer("PRAGMA schema_version");  // the log is not opened before the first read
}

void StoredArrays::close() noexcept {
  const std::lock_guard lock(mutex_);
  select_.reset();
  database_.reset();
  hasFoundDamage_ = false;
}

Value StoredArrays::array(RowNumbers rows, std::size_t depth) {
  return UnreadValue::of(std::make_shared<const Stored>(shared_from_this(), std::move(rows)), readStored, depth + 1);
}

std::optional<RowNumbers> StoredArrays::rowsOf(const Value& value) {
  const auto* stored = dynamic_cast<const Stored*>(UnreadValue::sourceOf(value));
  if (stored == nullptr) return std::nullopt;
  const std::lock_guard lock(stored->arrays_->mutex_);
  return stored->kept_ ? std::nullopt : std::optional(stored->rows_);
}

std::size_t StoredArrays::keepAll() {
  const std::lock_guard lock(mutex_);
  std::size_t lost = 0;
  for (Stored* array : arrays_) {
    if (array->kept_) continue;
    std::optional<std::string> text;
    for (int attempt = 0; attempt < 2 && !text; ++attempt) text = readable(array->rows_);
    if (!text) lost += array->rows_.size();
    array->kept_ = text.value_or("[]");
  }
  return lost;
}

StoredArrays::Account StoredArrays::keepAll(const std::vector<Row>& rows) {
  const std::lock_guard lock(mutex_);
  Account account;
  for (Stored* array : arrays_) {
    if (array->kept_) continue;
    std::vector<Value> items;
    for (const RowRange& range : array->rows_.ranges()) {
      auto row = std::lower_bound(rows.begin(), rows.end(), range.first,
                                  [](const Row& each, std::int64_t id) { return each.id < id; });
      for (; row != rows.end() && row->id <= range.last; ++row) items.push_back(row->value);
    }
    account.waited += array->rows_.size();
    account.lost += array->rows_.size() - items.size();
    array->kept_ = RapidJSONSerialization().textOfAny(Array(std::move(items)));
  }
  return account;
}

void StoredArrays::keepErased(std::span<const RowChange> changes) {
  std::vector<RowRange> erased;
  for (const RowChange& change : changes) {
    if (const auto* range = std::get_if<RowRange>(&change)) erased.push_back(*range);
  }
  if (erased.empty()) return;
  const auto isErased = [&](const RowRange& rows) {
    return std::any_of(erased.begin(), erased.end(),
                       [&](const RowRange& range) { return range.first <= rows.last && rows.first <= range.last; });
  };
  const std::lock_guard lock(mutex_);
  for (Stored* array : arrays_) {
    const std::vector<RowRange>& rows = array->rows_.ranges();
    if (array->kept_ || std::none_of(rows.begin(), rows.end(), isErased)) continue;
    try {
      array->kept_ = read(array->rows_);
    } catch (const StoreError& error) {
      if (error.kind() == StoreError::Kind::damaged) throw;
    }
  }
}

std::size_t StoredArrays::dropMissing() {
  const std::lock_guard lock(mutex_);
  std::size_t lost = 0;
  for (Stored* array : arrays_) {
    if (array->kept_ || count(array->rows_) == array->rows_.size()) continue;
    array->kept_ = "[]";
    lost += array->rows_.size();
  }
  return lost;
}

bool StoredArrays::hasUnkept() const {
  const std::lock_guard lock(mutex_);
  return std::any_of(arrays_.begin(), arrays_.end(), [](const Stored* array) { return !array->kept_; });
}

std::string StoredArrays::read(const RowNumbers& rows) {
  if (!database_) throw StoreError(StoreError::Kind::unavailable, "the store is not open");
  // One that ends in the middle of its rows would hold on to the log.
  auto select = std::exchange(select_, std::nullopt);
  try {
    if (!select) {
      select.emplace(database_->get(), joined({"SELECT ", rowColumns, " FROM rows WHERE id BETWEEN ? AND ?"}));
    }
    std::string text = "[";
    for (const RowRange& range : rows.ranges()) append(range, *select, text);
    text.back() = ']';
    select_ = std::move(select);
    return text;
  } catch (const StoreError& error) {
    if (error.kind() == StoreError::Kind::damaged) hasFoundDamage_ = true;
    throw;
  }
}

std::size_t StoredArrays::count(const RowNumbers& rows) {
  Statement select(database_->get(), "SELECT count(*) FROM rows WHERE id BETWEEN ? AND ?");
  std::size_t count = 0;
  for (const RowRange& range : rows.ranges()) {
    select.bind(1, range.first).bind(2, range.last);
    while (select.step()) count += static_cast<std::size_t>(select.integer(0));
  }
  return count;
}

std::optional<std::string> StoredArrays::readable(const RowNumbers& rows) {
  try {
    return read(rows);
  } catch (const StoreError&) {
    return std::nullopt;
  }
}

/// Every item with a comma behind it.
void StoredArrays::append(const RowRange& range, Statement& select, std::string& text) {
  std::int64_t next = range.first;
  select.bind(1, range.first).bind(2, range.last);
  while (select.step()) {
    const SelectedRow item = selectedRow(select);
    if (item.row.id == next) ++next;
    text.append(item.text) += ',';
  }
  if (next != range.last + 1) throw StoreError(StoreError::Kind::unavailable, "a record is no longer in the store");
}

}  // namespace fliprugair
