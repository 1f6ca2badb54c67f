#include "tools/controlhost/Export.h"

#include <array>
#include <cmath>
#include <ctime>
#include <utility>
#include <vector>

#include "Fliprugair/platform/Text.h"
#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/HttpServer.h"

namespace fliprugair::controlhost {

namespace {

std::string jsonText(const Value& value) { return RapidJSONSerialization().textOfAny(value); }

std::string quotedForShell(const std::string& text) {
  std::string result = "'";
  for (const char character : text) result += character == '\'' ? "'\\''" : std::string(1, character);
  return result + '\'';
}

std::string methodForCurl(const std::string& method) {
  if (method.empty() || method == "POST") return "";
  return method == "HEAD" ? " -I" : " -X " + quotedForShell(method);
}

/// In the address as far as curl sends that as it stands: it would expand brackets, resolve "/../", and cut off a
/// fragment.
std::string placeForCurl(const std::string& url, const std::string& path) {
  constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/-._~%?&=+,:;@!$";
  const bool isPlain = path.find_first_not_of(plain) == std::string::npos && path.find("/.") == std::string::npos;
  if (path.empty() || (path.front() == '/' && isPlain)) return quotedForShell(url + path);
  return quotedForShell(url) + " --request-target " + quotedForShell(path);
}

std::string isoTime(double seconds) {
  const auto whole = static_cast<std::time_t>(std::floor(seconds));
  std::tm parts{};
  gmtime_r(&whole, &parts);
  std::array<char, 40> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  const std::string thousandths = std::to_string(1000 + static_cast<int>((seconds - std::floor(seconds)) * 1000));
  return std::string(text.data(), length) + '.' + thousandths.substr(1) + 'Z';
}

/// Bytes as an archive of text can hold them: as they are, or in base64 when they are no UTF-8.
Dictionary archived(const std::string& bytes, const std::string& type, const char* encoding) {
  const bool isText = isUTF8(bytes);
  const Value members{{"mimeType", type}, {"text", isText ? bytes : base64Text(bytes)}};
  return isText ? members.dictionary() : members.dictionary().setting(encoding, "base64");
}

Array queryOf(const std::string& target) {
  std::vector<Value> parameters;
  std::size_t begin = target.find('?');
  while (begin != std::string::npos) {
    const std::size_t end = target.find('&', ++begin);
    const std::string one = target.substr(begin, end == std::string::npos ? end : end - begin);
    const std::size_t equals = one.find('=');
    const std::string value = equals == std::string::npos ? "" : one.substr(equals + 1);
    if (!one.empty()) parameters.push_back(Value{{"name", one.substr(0, equals)}, {"value", value}});
    begin = end;
  }
  return Array(std::move(parameters));
}

Array archived(const HttpHeaders& headers) {
  std::vector<Value> list;
  for (const auto& [name, value] : headers) {
    const bool isText = isUTF8(value);
    const Value members{{"name", name}, {"value", isText ? value : latin1(value)}};
    list.push_back(isText ? members : Value(members.dictionary().setting("_coding", "latin-1")));
  }
  return Array(std::move(list));
}

Value archivedRequest(const ReceivedRequest& request, const std::string& url) {
  const std::string type = headerOf(request.headers, "Content-Type");
  // The format has no names of its own for these two.
  Dictionary body = archived(request.bytes, type, "_encoding");
  if (!request.compressed.empty()) body = body.setting("_compressed", base64Text(request.compressed));
  const std::string& sent = request.compressed.empty() ? request.bytes : request.compressed;
  return Value{{"method", request.method},
               {"url", url + request.path},
               {"httpVersion", "HTTP/1.1"},
               {"cookies", Array()},
               {"headers", archived(request.headers)},
               {"queryString", queryOf(request.path)},
               {"postData", body},
               {"headersSize", -1},
               {"bodySize", static_cast<std::int64_t>(sent.size())}};
}

Value archivedReply(const ReceivedRequest& request) {
  const auto size = static_cast<std::int64_t>(request.reply.size());
  const std::string type = headerOf(request.replyHeaders, "Content-Type");
  const std::string cut = cutOf(request);
  const std::string remark = request.fault + (cut.empty() ? "" : "; " + cut);
  return Value{{"status", request.status},
               {"statusText", reasonPhrase(request.status)},
               {"httpVersion", "HTTP/1.1"},
               {"cookies", Array()},
               {"headers", archived(request.replyHeaders)},
               {"content", archived(request.reply, type, "encoding").setting("size", size)},
               {"redirectURL", ""},
               {"headersSize", -1},
               {"bodySize", size},
               {"comment", remark}};
}

Value archiveEntry(const ReceivedRequest& request, const std::string& url) {
  const auto milliseconds = [](std::chrono::microseconds time) { return static_cast<double>(time.count()) / 1000; };
  const double send = milliseconds(request.arrival);
  const double wait = milliseconds(request.answering + request.delay);
  return Value{{"startedDateTime", isoTime(request.received - send / 1000)},
               {"time", send + wait},
               {"request", archivedRequest(request, url)},
               {"response", archivedReply(request)},
               {"cache", Dictionary()},
               {"timings", Value{{"send", send}, {"wait", wait}, {"receive", 0}}}};
}

}  // namespace

std::string curlCommand(const std::string& url, const ReceivedRequest& request, const std::string& body) {
  const std::string type = headerOf(request.headers, "Content-Type");
  const std::string head = "curl -sS" + methodForCurl(request.method) + ' ' + placeForCurl(url, request.path) + " -H " +
                           quotedForShell(type.empty() ? "Content-Type:" : "Content-Type: " + type);
  if (request.method == "HEAD" || (body.empty() && request.method != "POST")) return head;
  // What begins with @ names a file there.
  const bool isText = isUTF8(body) && body.find('\0') == std::string::npos && !body.starts_with('@');
  if (isText) return head + " --data-binary " + quotedForShell(body);
  return "echo " + base64Text(body) + " | base64 -d | " + head + " --data-binary @-";
}

ExportForm linesForm() {
  return {"", [](const ReceivedRequest& request) { return jsonText(wholeOf(request)) + '\n'; }, "", ""};
}

ExportForm archiveForm(const std::string& url) {
  const Value creator{{"name", "fliprugair-controlhost"}, {"version", FLIPRUGAIR_VERSION}};
  return {R"({"log":{"version":"1.2","creator":)" + jsonText(creator) + R"(,"entries":[)",
          [url](const ReceivedRequest& request) { return jsonText(archiveEntry(request, url)); }, ",\n", "]}}"};
}

Export::Export(const RequestLog& log, Match match, ExportForm form)
    : log_(log), match_(std::move(match)), form_(std::move(form)), last_(log.last()) {}

std::optional<std::string> Export::next() {
  if (part_ == Part::ended) return std::nullopt;
  if (part_ == Part::begin) {
    part_ = Part::first;
    return form_.begin;
  }
  const RequestPointer request = nextRequest();
  if (!request) {
    part_ = Part::ended;
    return form_.end;
  }
  const bool isFirst = std::exchange(part_, Part::others) == Part::first;
  return (isFirst ? "" : form_.between) + form_.request(*request);
}

/// Null when there is none any more.
RequestPointer Export::nextRequest() {
  for (;;) {
    const std::vector<RequestPointer> found = log_.requests(since_, 1);
    if (found.empty() || found.front()->id > last_) return nullptr;
    since_ = found.front()->id;
    if (match_.holds(*found.front())) return found.front();
  }
}

}  // namespace fliprugair::controlhost
