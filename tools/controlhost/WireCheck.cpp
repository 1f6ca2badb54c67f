// The only file that includes valijson, which takes long to compile.
#include "tools/controlhost/WireCheck.h"

#include <rapidjson/document.h>

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <valijson/adapters/rapidjson_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>
#include <vector>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/EmbeddedFiles.h"
#include "tools/controlhost/SchemaTree.h"

namespace fliprugair::controlhost {

namespace {

using Adapter = valijson::adapters::RapidJsonAdapter;
constexpr std::int64_t mostRecords = 25;
constexpr std::string_view ending = ".schema.json";

void parse(rapidjson::Document& document, std::string_view text) {
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
}

/// The steps of a place as the library names it: {"<root>", "[data]", "[uptime]"}.
std::vector<std::string> stepsOf(const std::vector<std::string>& context) {
  std::vector<std::string> steps;
  for (const std::string& part : context) {
    if (part.size() > 2 && part.front() == '[') steps.push_back(part.substr(1, part.size() - 2));
  }
  return steps;
}

Value at(Value value, const std::vector<std::string>& path) {
  for (const std::string& step : path) {
    if (value.isArray()) {
      const auto index = static_cast<std::size_t>(Value(step).integerValue());
      value = index < value.array().size() ? value.array()[index] : Value();
    } else {
      value = value.dictionary()[step];
    }
  }
  return value;
}

/// The value with its texts cut to a length that regular expressions stand: the standard library's go as deep as the
/// text is long.
Value bounded(const Value& value) {
  constexpr std::size_t longest = 1024;
  if (value.isText()) return value.text().size() <= longest ? value : Value(value.text().substr(0, longest));
  if (value.isArray()) {
    std::vector<Value> items;
    for (const Value& item : value.array()) items.push_back(bounded(item));
    return Array(std::move(items));
  }
  if (!value.isDictionary()) return value;
  std::vector<std::pair<std::string, Value>> pairs;
  for (const Dictionary::Entry& entry : value.dictionary().entries())
    pairs.emplace_back(entry.key(), bounded(entry.value));
  return Dictionary(std::move(pairs));
}

bool travelsAlone(const std::string& action) {
  return action == "init" || action == "initial" || action == "get_attribution";
}

Finding aboutTravel(const std::string& action, bool inBatch) {
  Finding finding{Severity::warning, "travel"};
  finding.expected = inBatch ? "a request of its own" : "a record of a batch";
  finding.got = inBatch ? "a record of a batch" : "a request of its own";
  finding.hint = inBatch ? "Post it by itself, as an object." : "Put it into the array of a batch.";
  finding.text =
      '"' + action + "\" came as " + finding.got + ", and travels as " + finding.expected + ". " + finding.hint;
  return finding;
}

}  // namespace

struct WireCheck::Schemas {
  Schemas() {
    for (const EmbeddedFile& file : wireSchemaFiles()) parse(documents[std::string(file.name)], file.content);
    for (const auto& [name, document] : documents) {
      valijson::SchemaParser parser(valijson::SchemaParser::kDraft7);
      const auto fetch = [this](const std::string& uri) -> const rapidjson::Document* {
        const auto found = documents.find(uri);
        return found == documents.end() ? nullptr : &found->second;
      };
      parser.populateSchema(Adapter(document), schemas[name.substr(0, name.size() - ending.size())], fetch,
                            [](const rapidjson::Document*) {});
    }
  }

  /// Where the value does not satisfy the schema.
  std::set<std::vector<std::string>> faults(const std::string& name, const Value& value) {
    rapidjson::Document document;
    const std::string text = RapidJSONSerialization().textOfAny(bounded(value));
    parse(document, text);
    valijson::ValidationResults results;
    std::set<std::vector<std::string>> places;
    const std::lock_guard lock(mutex);
    if (validator.validate(schemas.at(name), Adapter(document), &results)) return places;
    for (const auto& error : results) places.insert(stepsOf(error.context));
    if (places.empty()) places.insert(std::vector<std::string>{});
    return places;
  }

  std::map<std::string, rapidjson::Document> documents;
  std::map<std::string, valijson::Schema> schemas;
  SchemaTree tree;
  std::mutex mutex;  ///< around the validator, which keeps compiled expressions
  valijson::Validator validator{valijson::Validator::kStrongTypes};
};

WireCheck::WireCheck() : schemas_(std::make_unique<Schemas>()) {}
WireCheck::~WireCheck() = default;

std::vector<Finding> WireCheck::findings(const Value& request) const {
  if (!request.isArray()) return findingsOfRecord(request, false);
  std::vector<Finding> findings;
  const Array records = request.array();
  const auto size = static_cast<std::int64_t>(records.size());
  if (size == 0 || size > mostRecords) {
    Finding finding{Severity::warning, "batch-size"};
    finding.expected = "1 to 25 records";
    finding.got = size == 0 ? "none" : std::to_string(size);
    finding.hint = size == 0 ? "Send nothing when there is nothing to send." : "Send the batch when it has 25 records.";
    finding.text =
        "The batch has " + (size == 0 ? "no" : finding.got) + " records, and should have 1 to 25. " + finding.hint;
    findings.push_back(finding);
  }
  for (std::int64_t index = 0; index < size && findings.size() <= mostFindings; ++index) {
    for (Finding& finding : findingsOfRecord(records[static_cast<std::size_t>(index)], true)) {
      finding.record = index;
      findings.push_back(std::move(finding));
    }
  }
  return findings;
}

std::vector<Finding> WireCheck::findingsOfRecord(const Value& record, bool inBatch) const {
  const std::string& action = record.dictionary()["action"].text();
  const bool known = action != "envelope" && action != "batch" && schemas_->schemas.contains(action);
  const std::string name = known ? action : "envelope";
  std::vector<Finding> findings;
  std::set<std::string> texts;
  for (const auto& place : schemas_->faults(name, record)) {
    if (findings.size() > mostFindings) break;
    for (Finding& finding : schemas_->tree.findingsAt(name, place, at(record, place))) {
      finding.record = 0;
      if (texts.insert(finding.text).second) findings.push_back(std::move(finding));
    }
  }
  // A device's properties travel by themselves, its position and its services in a batch: both are right for "update".
  if (known && action != "update" && travelsAlone(action) == inBatch) {
    findings.push_back(aboutTravel(action, inBatch));
    findings.back().record = 0;
  }
  return findings;
}

bool WireCheck::isBatch(const Value& batch) const { return schemas_->faults("batch", batch).empty(); }

}  // namespace fliprugair::controlhost
