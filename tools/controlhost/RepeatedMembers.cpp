#include "tools/controlhost/RepeatedMembers.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <map>
#include <string>

#include "tools/controlhost/SchemaTree.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t mostFindings = 100;

Finding repeated(const std::string& path, std::optional<std::int64_t> record) {
  Finding finding{Severity::error,
                  "repeated-member",
                  path,
                  "one member of that name",
                  "more than one",
                  "Send it once: some readers take the first value, others the last."};
  finding.text = path + " stands more than once in its object. " + finding.hint;
  finding.record = record;
  return finding;
}

/// Receives what a text holds, and counts the names of each object that is still open.
class Counter : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Counter> {
 public:
  explicit Counter(bool isBatch) : isBatch_(isBatch) {}

  bool Default() { return ended(); }
  bool StartObject() { return begun(); }
  bool StartArray() { return begun(); }
  bool EndObject(rapidjson::SizeType) { return closed(); }
  bool EndArray(rapidjson::SizeType) { return closed(); }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    Open& object = open_.back();
    object.name.assign(text, length);
    if (++object.counts[object.name] == 2) note();
    return findings.size() < mostFindings;
  }

  std::vector<Finding> findings;

 private:
  struct Open {
    std::string name = {};  ///< of the member that is being read; "" in an array
    std::size_t index = 0;
    std::map<std::string, int> counts = {};
  };

  bool begun() {
    open_.emplace_back();
    return true;
  }
  bool closed() {
    open_.pop_back();
    return ended();
  }
  bool ended() {
    if (!open_.empty()) ++open_.back().index;
    return true;
  }

  void note() {
    std::vector<std::string> path;
    for (const Open& one : open_) path.push_back(one.counts.empty() ? std::to_string(one.index) : one.name);
    if (isBatch_) path.erase(path.begin());
    findings.push_back(repeated(jsonPointer(path), isBatch_ ? static_cast<std::int64_t>(open_.front().index) : 0));
  }

  const bool isBatch_;
  std::vector<Open> open_;
};

}  // namespace

std::vector<Finding> repeatedMembers(std::string_view text, bool isBatch) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
  rapidjson::Reader reader;
  Counter counter(isBatch);
  reader.Parse<rapidjson::kParseIterativeFlag>(stream, counter);
  return std::move(counter.findings);
}

}  // namespace fliprugair::controlhost
