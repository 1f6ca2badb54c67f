#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>

#include "platform/sqlite/RowImage.h"
#include "platform/sqlite/RowMirror.h"
#include "platform/sqlite/SQLiteUserDefaults.h"

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

/// A store that is healthy without its log.
std::string healthyFile() {
  const Folder folder;
  storeIn(folder.path / "store")->setObject(fliprugair::Array({"a record", Value{{"n", 1}}}), "queue");
  return bytesOf(folder.path / "store");
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

/// Any bytes in the place of a store's file, or, behind an L, of the log of a healthy one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string& healthy = *new std::string(healthyFile());
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const bool isLog = bytes.starts_with('L');
  if (isLog) bytes.remove_prefix(1);
  const Folder folder;
  folder.write("store", isLog ? std::string_view(healthy) : bytes);
  if (isLog) folder.write("store-wal", bytes);
  readWithoutSQLite(folder.path / "store");
  // Whatever was there, what is written from now on is kept; but a newer version's store is refused.
  if (auto store = storeIn(folder.path / "store")) {
    store->setObject("written", "fuzzed");
    store.reset();
    store = storeIn(folder.path / "store");
    if (store == nullptr || store->objectForKey("fuzzed") != Value("written")) std::abort();
  }
  return 0;
}
