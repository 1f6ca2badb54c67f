#include "tools/controlhost/ValueCount.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace fliprugair::controlhost {

namespace {

/// Receives what a text holds, until it is too much.
struct Counter : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Counter> {
  explicit Counter(std::size_t most) : left(most) {}

  bool Default() {
    isMore = left == 0;
    if (!isMore) --left;
    return !isMore;
  }
  bool Key(const char*, rapidjson::SizeType, bool) { return true; }
  bool EndObject(rapidjson::SizeType) { return true; }
  bool EndArray(rapidjson::SizeType) { return true; }

  std::size_t left;
  bool isMore = false;
};

}  // namespace

bool holdsMoreValuesThan(std::size_t most, std::string_view text) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::Reader reader;
  Counter counter(most);
  reader.Parse<rapidjson::kParseIterativeFlag>(bytes, counter);
  return counter.isMore;
}

}  // namespace fliprugair::controlhost
