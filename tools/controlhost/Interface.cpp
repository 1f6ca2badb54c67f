#include "tools/controlhost/Interface.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/EmbeddedFiles.h"
#include "tools/controlhost/EventStream.h"
#include "tools/controlhost/Export.h"
#include "tools/controlhost/Finding.h"
#include "tools/controlhost/InitSettings.h"
#include "tools/controlhost/JSONProblem.h"
#include "tools/controlhost/Match.h"
#include "tools/controlhost/RecordText.h"
#include "tools/controlhost/SimulatorLines.h"
#include "tools/controlhost/Waiting.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::string_view jsonType = "application/json; charset=utf-8";

HttpReply jsonReply(const Value& value, int status = 200) {
  return {status, std::string(jsonType), RapidJSONSerialization().textOfAny(value)};
}

HttpReply ok() { return jsonReply(Value{{"status", "ok"}}); }

HttpReply textReply(std::string text) { return {200, "text/plain; charset=utf-8", std::move(text)}; }

std::string joined(const std::vector<std::string>& problems) {
  std::string text;
  for (const std::string& problem : problems) text += (text.empty() ? "" : "; ") + problem;
  return text;
}

std::string parameter(const HttpRequest& request, const std::string& key) {
  const auto found = request.query.find(key);
  return found == request.query.end() ? "" : found->second;
}

/// A whole number within bounds; nothing when it is none.
std::optional<std::int64_t> numberOf(std::string_view text, std::int64_t least, std::int64_t most) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) return std::nullopt;
  return number;
}

/// Reads the numbers of a query, and keeps the first complaint.
class Numbers {
 public:
  explicit Numbers(const HttpRequest& request) : request_(request) {}

  std::int64_t read(const std::string& key, std::int64_t usual, std::int64_t least, std::int64_t most) {
    const std::string text = parameter(request_, key);
    if (text.empty()) return usual;
    if (const auto number = numberOf(text, least, most)) return *number;
    complaint = key + " is \"" + text + "\", and should be a whole number from " + std::to_string(least) + " to " +
                std::to_string(most);
    return usual;
  }

  std::chrono::milliseconds readSeconds(const std::string& key, int usual, int most) {
    const std::string text = parameter(request_, key);
    if (text.empty()) return std::chrono::seconds(usual);
    double seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error == std::errc() && end == text.data() + text.size() && seconds >= 0 && seconds <= most)
      return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
    complaint = key + " is \"" + text + "\", and should be a number of seconds from 0 to " + std::to_string(most);
    return {};
  }

  std::string complaint;

 private:
  const HttpRequest& request_;
};

/// The requests that one page of a list shows.
struct Page {
  std::vector<RequestPointer> requests;
  Value next;
  std::optional<HttpReply> refused = std::nullopt;
};

HttpReply badQuery(const std::string& complaint) { return errorReply(400, complaint + '.', "Change that parameter."); }

/// HOST:PORT, where HTTP leaves out its usual port.
std::string withPort(const std::string& host) {
  const std::size_t end = host.rfind(']');  // of an address that holds colons itself
  return host.find(':', end == std::string::npos ? 0 : end) == std::string::npos ? host + ":80" : host;
}

/// HOST:PORT of a page; "" when it did not come by HTTP from a host.
std::string hostOfOrigin(const std::string& origin) {
  constexpr std::string_view scheme = "http://";
  return origin.starts_with(scheme) ? withPort(origin.substr(scheme.size())) : "";
}

/// A misspelt one would ask for something else without a word.
std::optional<HttpReply> unknownParameter(const HttpRequest& request, const std::vector<std::string_view>& known) {
  for (const auto& [name, value] : request.query) {
    if (std::find(known.begin(), known.end(), name) != known.end()) continue;
    std::string names;
    for (const std::string_view each : known) names += (names.empty() ? "" : ", ") + std::string(each);
    return errorReply(400, request.path + " has no parameter \"" + shortened(name) + "\".",
                      names.empty() ? "It takes none." : "It takes " + names + '.');
  }
  return std::nullopt;
}

std::optional<HttpReply> refusalOf(const Match& match) {
  if (match.problem().empty()) return std::nullopt;
  return errorReply(400, match.problem(), Match::termsInWords());
}

Page pageOf(const RequestLog& log, const HttpRequest& request) {
  Numbers numbers(request);
  const std::int64_t since = numbers.read("since", 0, 0, INT64_MAX);
  const std::int64_t before = numbers.read("before", INT64_MAX, 0, INT64_MAX);
  const auto limit = static_cast<std::size_t>(numbers.read("limit", 100, 1, 1000));
  const std::string order = parameter(request, "order");
  const bool newestFirst = order == "desc";
  const Match match(parameter(request, "q"));
  Page page;
  page.refused = numbers.complaint.empty() ? refusalOf(match) : badQuery(numbers.complaint);
  if (!newestFirst && !order.empty() && order != "asc") {
    page.refused = badQuery("order is \"" + shortened(order) + "\", and should be asc or desc");
  }
  if (page.refused) return page;
  const auto found = newestFirst ? log.requestsBefore(before, SIZE_MAX) : log.requests(since);
  for (const RequestPointer& one : found) {
    if (one->id <= since || one->id >= before || !match.holds(*one)) continue;
    if (page.requests.size() == limit) {
      page.next = page.requests.back()->id;
      break;
    }
    page.requests.push_back(one);
  }
  return page;
}

HttpReply listReply(const RequestLog& log, const char* name, std::vector<Value> list, const Value& next) {
  return jsonReply(Value{{name, Array(std::move(list))},
                         {"next", next},
                         {"first", log.first()},
                         {"last", log.last()},
                         {"total", log.last()}});
}

HttpReply notKept(const std::string& what) {
  return errorReply(404, "There is no " + what + '.', "GET /api/requests lists what is kept; the oldest go first.");
}

/// Gives the JSON of a body to `take`, which says what is wrong with it. A reply only when something is.
template <typename Take>
std::optional<HttpReply> complaintAbout(const std::string& body, Take take) {
  const auto value = RapidJSONSerialization().value(body);
  if (!value) return errorReply(400, "The body is not JSON: " + jsonProblem(body), "Mend it, and send it again.");
  const std::vector<std::string> problems = take(*value);
  if (problems.empty()) return std::nullopt;
  return errorReply(400, joined(problems) + '.', "Mend that, and send it again; nothing has changed.");
}

const EmbeddedFile* pageFile(const std::string& path) {
  const std::string name = path == "/" ? "index.html" : path.substr(1);
  const auto found =
      std::find_if(pageFiles().begin(), pageFiles().end(), [&](const EmbeddedFile& file) { return file.name == name; });
  return found == pageFiles().end() ? nullptr : &*found;
}

}  // namespace

HttpReply errorReply(int status, const std::string& error, const std::string& hint) {
  return jsonReply(Value{{"error", error}, {"hint", hint}}, status);
}

HttpReply refusalReply(const HttpProblem& problem) { return errorReply(problem.status, problem.text, problem.hint); }

Interface::Interface(Reception& reception, std::vector<std::string> hosts)
    : reception_(reception), hosts_(std::move(hosts)) {}

std::optional<HttpReply> Interface::reply(const HttpRequest& request) {
  const bool isOurs = request.path == "/health" || request.path == "/api" || request.path.starts_with("/api/") ||
                      request.method == "GET" || request.method == "HEAD";
  if (!isOurs || request.path == "/marlune/v4") {
    if (!isOfForeignPage(request)) return std::nullopt;
    reception_.noteRefusal(httpProblem(403));
    return refusalReply(httpProblem(403));
  }
  if (request.problem.status != 0) {
    reception_.noteRefusal(request.problem);
    return refusalReply(request.problem);
  }
  if (auto refused = refusal(request)) return refused;
  HttpReply result = route(request);
  result.headers.emplace_back("Cache-Control", "no-store");
  result.headers.emplace_back("X-Content-Type-Options", "nosniff");
  result.headers.emplace_back(
      "Content-Security-Policy",
      "default-src 'self'; img-src 'self' data:; frame-ancestors 'none'; base-uri 'none'; form-action 'none'");
  return result;
}

/// A page of somebody else's must not be able to ask or to change anything through the browser of whoever runs this
/// host. A name could lead anywhere; the address at which the request came is this host's own.
std::optional<HttpReply> Interface::refusal(const HttpRequest& request) const {
  const std::string host = headerOf(request.headers, "Host");
  if (!isOwn(request, withPort(host))) {
    return errorReply(403, "This host is not called \"" + host + "\".", "Ask for " + url() + '.');
  }
  const std::string origin = headerOf(request.headers, "Origin");
  const std::string site = headerOf(request.headers, "Sec-Fetch-Site");
  if ((!origin.empty() && hostOfOrigin(origin) != withPort(host)) || site == "cross-site") {
    return errorReply(403, "This request comes from the page of another site.", "Open " + url() + " itself.");
  }
  return std::nullopt;
}

/// A tracker names no origin, a browser does with everything that a page posts. Who has this host open must not find
/// there what a page of somebody else's made up. The name in "Host" does not count: the page chooses it.
bool Interface::isOfForeignPage(const HttpRequest& request) const {
  const std::string origin = headerOf(request.headers, "Origin");
  if (origin.empty()) return headerOf(request.headers, "Sec-Fetch-Site") == "cross-site";
  return !isOwn(request, hostOfOrigin(origin));
}

bool Interface::isOwn(const HttpRequest& request, const std::string& host) const {
  return host == request.local || std::find(hosts_.begin(), hosts_.end(), host) != hosts_.end();
}

const std::vector<Interface::Entry>& Interface::entries() {
  static const std::vector<Entry> all = {
      {"GET", "/health", &Interface::health},
      {"GET", "/api/requests", &Interface::requests, {"since", "before", "limit", "order", "q"}},
      {"GET", "/api/requests/", &Interface::oneRequest},
      {"GET", "/api/records", &Interface::records, {"since", "before", "limit", "order", "q"}},
      {"GET", "/api/records/", &Interface::oneRecord},
      {"GET", "/api/devices", &Interface::devices},
      {"DELETE", "/api/devices/", &Interface::forget},
      {"GET", "/api/wait", &Interface::wait, {"match", "count", "timeout", "since"}},
      {"GET", "/api/events", &Interface::events, {"since", "q"}},
      {"GET", "/api/answers", &Interface::answers},
      {"PUT", "/api/answers", &Interface::setAnswers},
      {"GET", "/api/faults", &Interface::faults},
      {"PUT", "/api/faults", &Interface::setFaults},
      {"POST", "/api/faults", &Interface::addFault},
      {"DELETE", "/api/faults/", &Interface::removeFault},
      {"GET", "/api/settings", &Interface::settings},
      {"POST", "/api/explain", &Interface::explain},
      {"GET", "/api/pause", &Interface::paused},
      {"POST", "/api/pause", &Interface::pause},
      {"POST", "/api/clear", &Interface::clear},
      {"POST", "/api/reset", &Interface::reset},
      {"GET", "/api/export.ndjson", &Interface::exportLines, {"q"}},
      {"GET", "/api/export.har", &Interface::exportArchive, {"q"}},
  };
  return all;
}

HttpReply Interface::route(const HttpRequest& request) {
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  std::string others;
  for (const Entry& entry : entries()) {
    const bool open = entry.path.back() == '/';
    const bool fits = open ? request.path.starts_with(entry.path) && request.path.size() > entry.path.size()
                           : request.path == entry.path;
    if (!fits) continue;
    if (entry.method == method) {
      if (auto refused = unknownParameter(request, entry.parameters)) return *refused;
      return (this->*entry.serve)(request, request.path.substr(open ? entry.path.size() : 0));
    }
    others += (others.empty() ? "" : " or ") + std::string(entry.method);
  }
  if (!others.empty()) return errorReply(405, request.path + " does not take " + method + '.', "Use " + others + '.');
  if (const EmbeddedFile* file = method == "GET" ? pageFile(request.path) : nullptr) {
    return {200, std::string(contentTypeOf(file->name)), std::string(file->content)};
  }
  return errorReply(404, "There is nothing at " + request.path + '.',
                    "Trackers post to /marlune/v4; the page is at /, and what came at /api/requests.");
}

HttpReply Interface::health(const HttpRequest&, const std::string&) {
  return jsonReply(Value{{"status", "ok"},
                         {"version", FLIPRUGAIR_VERSION},
                         {"requests", reception_.log().last()},
                         {"refused", reception_.refusals()}});
}

HttpReply Interface::requests(const HttpRequest& request, const std::string&) {
  const Page page = pageOf(reception_.log(), request);
  if (page.refused) return *page.refused;
  std::vector<Value> list;
  for (const RequestPointer& one : page.requests) list.push_back(summaryOf(*one));
  return listReply(reception_.log(), "requests", std::move(list), page.next);
}

HttpReply Interface::oneRequest(const HttpRequest&, const std::string& rest) {
  const bool curl = rest.ends_with("/curl");
  const auto id = numberOf(curl ? rest.substr(0, rest.size() - 5) : rest, 1, INT64_MAX);
  const RequestPointer found = id ? reception_.log().request(*id) : nullptr;
  if (!found) return notKept("request " + rest);
  return curl ? textReply(curlCommand(url(), *found, found->bytes) + '\n') : jsonReply(wholeOf(*found));
}

HttpReply Interface::records(const HttpRequest& request, const std::string&) {
  const Page page = pageOf(reception_.log(), request);
  if (page.refused) return *page.refused;
  const Match match(parameter(request, "q"));
  std::vector<Value> list;
  for (const RequestPointer& one : page.requests) {
    std::int64_t index = 0;
    for (const Value& record : one->items()) {
      if (match.holds(*one, record, index)) list.push_back(recordOf(*one, record, index));
      ++index;
    }
  }
  return listReply(reception_.log(), "records", std::move(list), page.next);
}

HttpReply Interface::oneRecord(const HttpRequest&, const std::string& rest) {
  const std::size_t point = rest.find('.');
  const auto id = numberOf(rest.substr(0, point), 1, INT64_MAX);
  const auto index = point == std::string::npos ? std::nullopt : numberOf(rest.substr(point + 1), 0, INT32_MAX);
  const RequestPointer found = id && index ? reception_.log().request(*id) : nullptr;
  const Array records = found ? found->items() : Array();
  if (!found || static_cast<std::size_t>(*index) >= records.size()) return notKept("record " + rest);
  const Value& record = records[static_cast<std::size_t>(*index)];
  const std::string body =
      found->body().isArray() ? '[' + std::string(recordText(found->bytes, *index)) + ']' : found->bytes;
  const SimulatorLines lines = simulatorLines(record, reception_.check());
  return jsonReply(recordOf(*found, record, *index)
                       .dictionary()
                       .setting("curl", curlCommand(url(), *found, body))
                       .setting("sim", lines.text.empty() ? Value() : Value(lines.text))
                       .setting("sim_reason", lines.reason));
}

HttpReply Interface::devices(const HttpRequest&, const std::string&) {
  return jsonReply(Value{{"devices", reception_.devices().json()}});
}

HttpReply Interface::forget(const HttpRequest&, const std::string& rest) {
  if (reception_.forget(rest)) return ok();
  return errorReply(404, "There is no device " + rest + '.', "GET /api/devices lists those that are known.");
}

HttpReply Interface::wait(const HttpRequest& request, const std::string&) {
  Numbers numbers(request);
  const std::int64_t count = numbers.read("count", 1, 1, 1000000);
  const std::chrono::milliseconds timeout = numbers.readSeconds("timeout", 10, 600);
  const std::int64_t since = numbers.read("since", 0, 0, INT64_MAX);
  if (!numbers.complaint.empty()) return badQuery(numbers.complaint);
  const std::string match = parameter(request, "match");
  if (auto refused = refusalOf(Match(match))) return *refused;
  Waited waited = waitForRecords(reception_.log(), match, count, timeout, since, request.isAbandoned);
  if (waited.matched) {
    return jsonReply(Value{{"matched", true}, {"count", waited.count}, {"records", Array(std::move(waited.records))}});
  }
  std::vector<Value> missed(waited.missed.begin(), waited.missed.end());
  return jsonReply(Value{{"error", waited.text},
                         {"hint", "Look at what came: GET /api/records."},
                         {"matched", false},
                         {"count", waited.count},
                         {"nearest", waited.nearest},
                         {"missed", Array(std::move(missed))}},
                   408);
}

HttpReply Interface::events(const HttpRequest& request, const std::string&) {
  const std::string resumed = headerOf(request.headers, "Last-Event-ID");
  const std::string asked = resumed.empty() ? parameter(request, "since") : resumed;
  const auto since = asked.empty() ? reception_.log().last() : numberOf(asked, 0, INT64_MAX);
  if (!since) return badQuery("since is \"" + asked + "\", and should be the number of a request");
  Match match(parameter(request, "q"));
  if (auto refused = refusalOf(match)) return *refused;
  auto stream = std::make_shared<EventStream>(reception_, *since, std::move(match));
  HttpReply reply{200, "text/event-stream; charset=utf-8"};
  reply.next = [stream] { return stream->next(); };
  return reply;
}

HttpReply Interface::answers(const HttpRequest&, const std::string&) { return jsonReply(reception_.answers().json()); }

HttpReply Interface::setAnswers(const HttpRequest& request, const std::string&) {
  Answers& answers = reception_.answers();
  auto complaint = complaintAbout(request.body, [&](const Value& value) { return answers.setJSON(value); });
  if (complaint) return *complaint;
  reception_.announceAnswersFromOutside();
  return jsonReply(answers.json());
}

HttpReply Interface::faults(const HttpRequest&, const std::string&) { return jsonReply(reception_.faults().json()); }

HttpReply Interface::setFaults(const HttpRequest& request, const std::string&) {
  Faults& faults = reception_.faults();
  auto complaint = complaintAbout(request.body, [&](const Value& value) { return faults.setJSON(value); });
  if (complaint) return *complaint;
  reception_.announceFaults();
  return jsonReply(faults.json());
}

HttpReply Interface::addFault(const HttpRequest& request, const std::string&) {
  Faults& faults = reception_.faults();
  auto complaint = complaintAbout(request.body, [&](const Value& value) { return faults.addJSON(value); });
  if (complaint) return *complaint;
  reception_.announceFaults();
  return jsonReply(faults.json());
}

HttpReply Interface::removeFault(const HttpRequest&, const std::string& rest) {
  const auto id = numberOf(rest, 1, INT64_MAX);
  if (!id || !reception_.faults().remove(*id)) {
    return errorReply(404, "There is no fault " + rest + '.', "GET /api/faults lists those that are in force.");
  }
  reception_.announceFaults();
  return jsonReply(reception_.faults().json());
}

HttpReply Interface::settings(const HttpRequest&, const std::string&) {
  return jsonReply(Value{{"settings", initSettings()}});
}

HttpReply Interface::explain(const HttpRequest& request, const std::string&) {
  return jsonReply(explained(request.body));
}

HttpReply Interface::paused(const HttpRequest&, const std::string&) {
  return jsonReply(Value{{"paused", reception_.isPaused()}});
}

HttpReply Interface::pause(const HttpRequest& request, const std::string&) {
  const Value wanted = RapidJSONSerialization().value(request.body).value_or(Value()).dictionary()["paused"];
  if (wanted.kind() != Value::Kind::boolean) {
    return errorReply(400, "The body does not say whether to pause.", R"(Post {"paused": true} or {"paused": false}.)");
  }
  reception_.setPaused(wanted.boolValue());
  return ok();
}

HttpReply Interface::clear(const HttpRequest&, const std::string&) {
  reception_.clear();
  return ok();
}

HttpReply Interface::reset(const HttpRequest&, const std::string&) {
  reception_.reset();
  return ok();
}

namespace {

/// Those that match, as `form` writes them.
HttpReply exported(const RequestLog& log, const HttpRequest& request, const std::string& type, const std::string& name,
                   ExportForm form) {
  Match match(parameter(request, "q"));
  if (auto refused = refusalOf(match)) return *refused;
  const auto pieces = std::make_shared<Export>(log, std::move(match), std::move(form));
  HttpReply reply{200, type};
  reply.next = [pieces] { return pieces->next(); };
  reply.headers.emplace_back("Content-Disposition", "attachment; filename=\"" + name + '"');
  return reply;
}

}  // namespace

HttpReply Interface::exportLines(const HttpRequest& request, const std::string&) {
  return exported(reception_.log(), request, "application/x-ndjson", "requests.ndjson", linesForm());
}

HttpReply Interface::exportArchive(const HttpRequest& request, const std::string&) {
  return exported(reception_.log(), request, std::string(jsonType), "requests.har", archiveForm(url()));
}

}  // namespace fliprugair::controlhost
