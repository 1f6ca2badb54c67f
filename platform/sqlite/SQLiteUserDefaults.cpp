#include "platform/sqlite/SQLiteUserDefaults.h"

#include <exception>
#include <utility>

#include "platform/sqlite/StoreDisk.h"
#include "platform/sqlite/StoreMemory.h"

namespace fliprugair {

std::variant<std::unique_ptr<SQLiteUserDefaults>, SQLiteUserDefaults::Refusal> SQLiteUserDefaults::open(
    const std::filesystem::path& file, Log log) {
  try {
    auto memory = std::make_unique<StoreMemory>();
    auto disk = std::make_unique<StoreDisk>(std::filesystem::absolute(file), std::move(log));
    if (auto reason = disk->open(*memory)) return Refusal{std::move(*reason)};
    return std::unique_ptr<SQLiteUserDefaults>(new SQLiteUserDefaults(std::move(memory), std::move(disk)));
  } catch (const std::exception& error) {
    return Refusal{"the store " + file.string() + " cannot be opened: " + error.what()};
  }
}

SQLiteUserDefaults::SQLiteUserDefaults(std::unique_ptr<StoreMemory> memory, std::unique_ptr<StoreDisk> disk)
    : memory_(std::move(memory)), disk_(std::move(disk)) {}

SQLiteUserDefaults::~SQLiteUserDefaults() { disk_->commit(*memory_); }

Value SQLiteUserDefaults::objectForKey(std::string_view key) const { return memory_->read(key); }

void SQLiteUserDefaults::setObject(Value value, std::string_view key) { memory_->write(key, std::move(value)); }

void SQLiteUserDefaults::update(std::string_view key, const std::function<Value(const Value&)>& change) {
  memory_->update(key, change);
}

void SQLiteUserDefaults::synchronize() {
  if (!memory_->postponeSynchronization()) disk_->commit(*memory_);
}

void SQLiteUserDefaults::beginGroup() { memory_->beginGroup(); }

void SQLiteUserDefaults::endGroup() {
  const StoreMemory::GroupEnd end = memory_->endGroup();
  if (end.synchronizes) disk_->commit(*memory_);
  for (const auto& action : end.actions) action();
}

void SQLiteUserDefaults::whenDurable(std::function<void()> action) {
  if (memory_->postponeAction(action)) return;
  disk_->commit(*memory_);
  action();
}

}  // namespace fliprugair
