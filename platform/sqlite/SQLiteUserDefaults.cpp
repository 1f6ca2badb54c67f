#include "platform/sqlite/SQLiteUserDefaults.h"

#include <exception>
#include <string>
#include <utility>

#include "platform/Joined.h"
#include "platform/sqlite/StoreDisk.h"
#include "platform/sqlite/StoreMemory.h"

namespace fliprugair {

std::variant<std::unique_ptr<SQLiteUserDefaults>, SQLiteUserDefaults::Refusal> SQLiteUserDefaults::open(
    const std::filesystem::path& file, Log log, StoreOptions options) {
  try {
    auto memory = std::make_unique<StoreMemory>();
    auto disk = std::make_unique<StoreDisk>(std::filesystem::absolute(file), options, std::move(log));
    if (auto reason = disk->open(*memory)) return Refusal{std::move(*reason)};
    return std::unique_ptr<SQLiteUserDefaults>(new SQLiteUserDefaults(std::move(memory), std::move(disk)));
  } catch (const std::exception& error) {
    return Refusal{joined({"the store ", file.native(), " cannot be opened: ", error.what()})};
  }
}

SQLiteUserDefaults::SQLiteUserDefaults(std::unique_ptr<StoreMemory> memory, std::unique_ptr<StoreDisk> disk)
    : memory_(std::move(memory)), disk_(std::move(disk)) {}

SQLiteUserDefaults::~SQLiteUserDefaults() {
  if (!isInert()) {
    disk_->commitToFile(*memory_);
    memory_.reset();  // first, so that the file is not read for values that nobody has
    return;
  }
  // Their thread is not in this process, their locks may be held for ever, and the files are the parent's.
  static_cast<void>(memory_.release());
  static_cast<void>(disk_.release());
}

bool SQLiteUserDefaults::isSaidToBeInert() const {
  if (!hasSaidThatItIsInert_.exchange(true)) {
    disk_->say("the store " + disk_->path().string() + " belongs to process " + std::to_string(mark_.process()) +
               ", from which this one was forked; here it does nothing");
  }
  return true;
}

Value SQLiteUserDefaults::objectForKey(std::string_view key) const { return isInert() ? Value() : memory_->read(key); }

void SQLiteUserDefaults::setObject(Value value, std::string_view key) {
  if (!isInert()) memory_->write(key, std::move(value));
}

void SQLiteUserDefaults::update(std::string_view key, const std::function<Value(const Value&)>& change) {
  if (!isInert()) memory_->update(key, change);
}

void SQLiteUserDefaults::synchronize() {
  if (!isInert() && !memory_->postponeSynchronization()) disk_->commit(*memory_);
}

void SQLiteUserDefaults::beginGroup() {
  if (!isInert()) memory_->beginGroup();
}

void SQLiteUserDefaults::endGroup() {
  if (isInert()) return;
  const StoreMemory::GroupEnd end = memory_->endGroup();
  if (end.synchronizes) disk_->commit(*memory_);
  for (const auto& action : end.actions) {
    try {
      action();
    } catch (...) {
      disk_->say("an action that waited for the store threw");  // a group ends in a destructor
    }
  }
}

void SQLiteUserDefaults::whenDurable(std::function<void()> action) {
  if (isInert() || memory_->postponeAction(action)) return;
  disk_->commit(*memory_);
  action();
}

}  // namespace fliprugair
