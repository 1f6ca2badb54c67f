#include "platform/sqlite/StoredArrays.h"

#include <algorithm>

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
    std::string text = arrays_->read(rows_);
    if (arrays_->keeper_ == std::this_thread::get_id()) kept_ = text;
    return text;
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

bool StoredArrays::hasFoundDamage() const {
  const std::lock_guard lock(mutex_);
  return hasFoundDamage_;
}

bool StoredArrays::hasUnkept() const {
  const std::lock_guard lock(mutex_);
  return std::any_of(arrays_.begin(), arrays_.end(), [](const Stored* array) { return !array->kept_; });
}

std::string StoredArrays::read(const RowNumbers& rows) {
  if (!database_) throw StoreError(StoreError::Kind::unavailable, "the store is not open");
  try {
    if (!select_) {
      select_.emplace(database_->get(),
                      "SELECT id, parent, position, name, value, checksum FROM rows WHERE id BETWEEN ? AND ?");
    }
    std::string text = "[";
    for (const RowRange& range : rows.ranges()) append(range, text);
    text.back() = ']';
    return text;
  } catch (const StoreError& error) {
    if (error.kind() == StoreError::Kind::damaged) hasFoundDamage_ = true;
    select_.reset();  // it may be in the middle of something, and hold on to the log
    throw;
  }
}

std::optional<std::string> StoredArrays::readable(const RowNumbers& rows) {
  try {
    return read(rows);
  } catch (const StoreError&) {
    return std::nullopt;
  }
}

/// Every item with a comma behind it.
void StoredArrays::append(const RowRange& range, std::string& text) {
  std::int64_t next = range.first;
  select_->bind(1, range.first).bind(2, range.last);
  while (select_->step()) {
    const Row row{select_->integer(0), select_->integer(1), select_->integer(2), std::string(select_->text(3)), {}};
    const std::string_view item = select_->text(4);
    if (select_->integer(5) != row.checksum(item)) {
      throw StoreError::damaged("row " + std::to_string(row.id) + " is not what was written");
    }
    if (row.id == next) ++next;
    text.append(item) += ',';
  }
  if (next != range.last + 1) throw StoreError(StoreError::Kind::unavailable, "a record is no longer in the store");
}

void StoredArrays::setKeeper(std::thread::id thread) {
  const std::lock_guard lock(mutex_);
  keeper_ = thread;
}

}  // namespace fliprugair
