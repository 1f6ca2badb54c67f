#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/sqlite/JournalFrame.h"
#include "platform/sqlite/JournalMark.h"
#include "platform/sqlite/LogImage.h"
#include "platform/sqlite/RowFile.h"
#include "platform/sqlite/RowImage.h"
#include "platform/sqlite/RowMirror.h"
#include "platform/sqlite/SQLiteUserDefaults.h"
#include "platform/sqlite/SoundStore.h"

namespace {

using fliprugair::SQLiteUserDefaults;
using fliprugair::Value;

/// In memory where there is such a place: no input is about how long a disk takes.
struct Folder {
  Folder() {
    const std::filesystem::path memory = "/dev/shm";
    std::string name = (exists(memory) ? memory : std::filesystem::temp_directory_path()) / "fliprugair-fuzz-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    path = name;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  void write(const char* name, std::string_view bytes) const { std::ofstream(path / name, std::ios::binary) << bytes; }

  std::filesystem::path path;
};

std::unique_ptr<SQLiteUserDefaults> storeIn(const std::filesystem::path& file) {
  auto opened = SQLiteUserDefaults::open(file, [](std::string_view) {});
  auto* store = std::get_if<std::unique_ptr<SQLiteUserDefaults>>(&opened);
  return store == nullptr ? nullptr : std::move(*store);
}

std::string bytesOf(const std::filesystem::path& file) {
  std::ostringstream bytes;
  bytes << std::ifstream(file, std::ios::binary).rdbuf();
  return std::move(bytes).str();
}

/// By the numbers of the rows, without those of the twins, which are read only where their rows are missing.
std::map<std::int64_t, std::string> textsOf(const std::vector<fliprugair::Row>& rows) {
  std::map<std::int64_t, std::string> texts;
  for (const fliprugair::Row& row : rows) {
    if (row.id < 0) continue;
    texts[row.id] = std::to_string(row.parent) + ' ' + std::to_string(row.position) + ' ' + row.name + ' ' +
                    fliprugair::RapidJSONSerialization().textOfAny(row.value);
  }
  return texts;
}

std::vector<std::int64_t> numbersIn(const fliprugair::RowNumbers& rows) {
  std::vector<std::int64_t> numbers;
  for (const fliprugair::RowRange& range : rows.ranges()) {
    for (std::int64_t id = range.first; id <= range.last; ++id) numbers.push_back(id);
  }
  return numbers;
}

/// What is taken for sound without SQLite is the same to SQLite, which finds no fault with it.
void compareWithSQLite(const std::filesystem::path& file) {
  const std::string log = bytesOf(file.string() + "-wal");
  const auto sound =
      fliprugair::LogImage(log).isDamaged() ? std::nullopt : fliprugair::SoundStore(file.string()).rows();
  if (!sound) return;
  const fliprugair::RowFile opened(file.string(), fliprugair::StoreDurability::process);
  opened.leaveFilesAlone();
  const auto all = textsOf(opened.rows());
  std::size_t left = 0;
  for (const auto& [parent, items] : sound->left) {
    left += items.rows.size();
    for (const std::int64_t id : numbersIn(items.rows)) {
      const auto row = all.find(id);
      if (row == all.end() || !row->second.starts_with(std::to_string(parent) + ' ')) std::abort();
    }
  }
  left += sound->leftovers.size();
  const auto read = textsOf(sound->rows);
  if (read.size() + left != all.size()) std::abort();
  for (const auto& row : read) {
    const auto found = all.find(row.first);
    if (found == all.end() || found->second != row.second) std::abort();
  }
}

/// A store that is healthy without its log and its journal.
struct Healthy {
  std::string file;
  fliprugair::JournalMark mark;
};

Healthy healthyStore() {
  const Folder folder;
  const fliprugair::Array records({"a record", Value{{"n", 1}}});
  storeIn(folder.path / "store")->setObject(Value{{"waits", records}, {"is alone", 1}}, "requests");
  storeIn(folder.path / "store")->setObject(records, "queue");
  const auto mark = fliprugair::RowFile(folder.path / "store", fliprugair::StoreDurability::process).mark();
  if (!mark) std::abort();
  return {bytesOf(folder.path / "store"), *mark};
}

/// The next frame of a journal, with any content.
std::string frameOf(std::string_view changes, const fliprugair::JournalMark& mark) {
  fliprugair::JournalFrame head;
  head.size = static_cast<std::uint32_t>(changes.size());
  head.life = mark.life;
  head.number = mark.number + 1;
  head.checksum = head.checksumOf(changes);
  std::string frame(reinterpret_cast<const char*>(&head), sizeof head);
  return frame.append(changes);
}

/// What an input stands for.
void write(std::string_view bytes, const Healthy& healthy, const Folder& folder) {
  const char kind = bytes.empty() ? '\0' : bytes.front();
  const bool isWhole = kind != 'L' && kind != 'J' && kind != 'C';
  folder.write("store", isWhole ? bytes : healthy.file);
  if (isWhole) return;
  bytes.remove_prefix(1);
  if (kind == 'L') folder.write("store-wal", bytes);
  if (kind == 'J') folder.write("store.journal-1", bytes);
  if (kind == 'C') folder.write("store.journal-1", frameOf(bytes, healthy.mark));
}

void readWithoutSQLite(const std::filesystem::path& file) {
  for (const bool trustsUnchecked : {false, true}) {
    fliprugair::RowImage image(file.string());
    image.isStore();
    image.formatVersion();
    const fliprugair::RowMirror rows(image.rows(trustsUnchecked));
    rows.forEachKey([](const std::string&, const Value&) {});
  }
}

}  // namespace

/// Any bytes in the place of a store's file, or, behind an L, of the log of a healthy one, behind a J, of its journal,
/// and behind a C, of the changes in a frame of that which checks.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Healthy& healthy = *new Healthy(healthyStore());
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const Folder folder;
  write(bytes, healthy, folder);
  readWithoutSQLite(folder.path / "store");
  {
    const Folder copy;
    write(bytes, healthy, copy);
    compareWithSQLite(copy.path / "store");
  }
  // Whatever was there, what is written from now on is kept; but a newer version's store is refused.
  if (auto store = storeIn(folder.path / "store")) {
    store->setObject("written", "fuzzed");
    store.reset();
    store = storeIn(folder.path / "store");
    if (store == nullptr || store->objectForKey("fuzzed") != Value("written")) std::abort();
  }
  return 0;
}
