#include "tools/controlhost/ReceivedRequest.h"

#include "Fliprugair/platform/Text.h"
#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Finding.h"
#include "tools/controlhost/HttpHeaders.h"

namespace fliprugair::controlhost {

namespace {

double milliseconds(std::chrono::microseconds time) { return static_cast<double>(time.count()) / 1000; }

Value listOf(const std::vector<Finding>& findings) {
  std::vector<Value> list;
  list.reserve(findings.size());
  for (const Finding& finding : findings) list.push_back(finding.json());
  return Array(std::move(list));
}

bool isRecord(const Value& value) { return value.isDictionary(); }

Dictionary joined(const Dictionary& first, const Dictionary& second) {
  std::vector<std::pair<std::string, Value>> pairs;
  for (const Dictionary::Entry& entry : first.entries()) pairs.emplace_back(entry.key(), entry.value);
  for (const Dictionary::Entry& entry : second.entries()) pairs.emplace_back(entry.key(), entry.value);
  return Dictionary(std::move(pairs));
}

}  // namespace

std::optional<Value> jsonIn(const std::string& bytes) {
  return isUTF8(bytes) ? RapidJSONSerialization().value(bytes) : std::nullopt;
}

Value ReceivedRequest::body() const {
  const std::optional<Value> value = jsonIn(bytes);
  return value ? *value : Value(bytes);
}

Array ReceivedRequest::items() const {
  if (problem.status != 0) return {};
  const Value value = body();
  if (value.isArray()) return value.array();
  return isRecord(value) ? Array{value} : Array();
}

std::string recordName(const Value& record) {
  const Dictionary members = record.dictionary();
  const std::string action = members["action"].text();
  const Dictionary data = members["data"].dictionary();
  for (const std::string_view detail : {"event_name", "state", "uri"}) {
    if (const Value text = data[detail]; text.isText()) return action + " \"" + text.text() + '"';
  }
  if (action != "update") return action;
  std::string changed;
  for (const auto& entry : data.entries()) changed += (changed.empty() ? " of " : ", ") + entry.key();
  return action + changed;
}

namespace {

/// As much of a name as is kept beside the request: what a hostile one has too much of is in its body alone.
std::string nameOf(const Value& value) {
  constexpr std::size_t longestName = 256;
  return shortened(value.text(), longestName);
}

}  // namespace

void describe(ReceivedRequest& request, const Value& body) {
  const Value first = body.isArray() ? (body.array().empty() ? Value() : body.array()[0]) : body;
  const Dictionary members = first.dictionary();
  request.action = body.isArray() ? "batch" : nameOf(members["action"]);
  request.device = nameOf(members["marlune_device_id"]);
  request.app = nameOf(members["marlune_app_id"]);
  request.records = body.isArray() ? static_cast<std::int64_t>(body.array().size()) : isRecord(body) ? 1 : 0;
  for (const Value& record : body.array()) request.names.push_back(nameOf(recordName(record)));
  if (isRecord(body)) request.names.push_back(nameOf(recordName(body)));
}

Value bytesOf(const std::string& bytes, bool isRead) {
  Dictionary members =
      Value{{"bytes", static_cast<std::int64_t>(bytes.size())}, {"base64", base64Text(bytes)}}.dictionary();
  if (isUTF8(bytes)) members = joined(members, Value{{"text", bytes}}.dictionary());
  if (const auto json = isRead ? jsonIn(bytes) : std::nullopt)
    members = joined(members, Value{{"json", *json}}.dictionary());
  return members;
}

Value summaryOf(const ReceivedRequest& request) {
  std::vector<Value> names(request.names.begin(), request.names.end());
  return Value{{"id", request.id},
               {"received", request.received},
               {"method", request.method},
               {"path", isUTF8(request.path) ? request.path : latin1(request.path)},
               {"remote", request.remote},
               {"action", request.action},
               {"device", request.device},
               {"app", request.app},
               {"records", request.records},
               {"names", Array(std::move(names))},
               {"bytes", static_cast<std::int64_t>(request.bytes.size())},
               {"status", request.status},
               {"whole", request.isWhole},
               {"fault", request.fault},
               {"findings", countsOf(request.findings)}};
}

namespace {

Value findingsAbout(const ReceivedRequest& request, std::optional<std::int64_t> record) {
  std::vector<Finding> findings;
  for (const Finding& finding : request.findings) {
    if (finding.record == record) findings.push_back(finding);
  }
  return listOf(findings);
}

/// The body before it was read: how many bytes came, and which.
Value compressedOf(const ReceivedRequest& request) {
  return Value{{"bytes", static_cast<std::int64_t>(request.compressed.size())},
               {"base64", base64Text(request.compressed)}};
}

}  // namespace

Value newsOf(const ReceivedRequest& request) {
  return Value{{"request", summaryOf(request)},
               {"records", recordsOf(request)},
               {"problems", findingsAbout(request, std::nullopt)}};
}

std::string cutOf(const ReceivedRequest& request) {
  if (request.isWhole || request.status == 0) return "";
  const std::string length = headerOf(request.replyHeaders, "Content-Length");
  if (length.empty() || length == "0") return "cut off within its head";
  return "cut off after " + std::to_string(request.reply.size()) + " of " + length + " bytes";
}

Value wholeOf(const ReceivedRequest& request) {
  Dictionary body = bytesOf(request.bytes, request.problem.status == 0).dictionary();
  if (!request.compressed.empty()) body = body.setting("compressed", compressedOf(request));
  const Value reply = joined(
      Value{{"status", request.status}, {"cut", cutOf(request)}, {"headers", jsonOf(request.replyHeaders)}}
          .dictionary(),
      joined(bytesOf(request.reply).dictionary(), Value{{"after_ms", milliseconds(request.answering)},
                                                        {"delay_ms", static_cast<std::int64_t>(request.delay.count())},
                                                        {"rule", request.rule}}
                                                      .dictionary()));
  Dictionary summary = summaryOf(request).dictionary();
  if (!isUTF8(request.path)) summary = summary.setting("path_coding", "latin-1");
  return joined(summary, Value{{"arrival_ms", milliseconds(request.arrival)},
                               {"headers", jsonOf(request.headers)},
                               {"body", body},
                               {"reply", reply},
                               {"problems", listOf(request.findings)},
                               {"items", recordsOf(request)}}
                             .dictionary());
}

Value recordOf(const ReceivedRequest& request, const Value& record, std::int64_t index) {
  const Dictionary members = record.dictionary();
  const Value time = members["data"].dictionary()["usertime"];
  return Value{{"id", std::to_string(request.id) + '.' + std::to_string(index)},
               {"request", request.id},
               {"index", index},
               {"received", request.received},
               {"action", members["action"].text()},
               {"name", recordName(record)},
               {"device", members["marlune_device_id"].text()},
               {"app", members["marlune_app_id"].text()},
               {"usertime", time.isText() ? Value(time.integerValue()) : Value()},
               {"status", request.status},
               {"json", record},
               {"findings", findingsAbout(request, index)}};
}

Array recordsOf(const ReceivedRequest& request) {
  std::vector<Value> records;
  for (const Value& record : request.items()) {
    records.push_back(recordOf(request, record, static_cast<std::int64_t>(records.size())));
  }
  return Array(std::move(records));
}

}  // namespace fliprugair::controlhost
