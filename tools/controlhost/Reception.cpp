#include "tools/controlhost/Reception.h"

#include <chrono>
#include <optional>
#include <random>
#include <string_view>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Finding.h"
#include "tools/controlhost/JSONProblem.h"
#include "tools/controlhost/RepeatedMembers.h"
#include "tools/controlhost/ValueCount.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::string_view requestPath = "/marlune/v4";
constexpr std::size_t mostNotices = 100;
constexpr std::size_t mostValues = 20000;

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// A text that no other start of a host has.
std::string anyRun() {
  std::random_device random;
  return std::to_string(random()) + '-' + std::to_string(random());
}

/// What is not a request of a tracker, and why.
struct Problem {
  HttpProblem reply = {};  ///< its status is 0 when there is none
  std::string code = {};   ///< of the finding
  std::string expected = {};
  std::string got = {};
};

/// What could not be read as HTTP.
Problem transportProblem(const ReceivedRequest& request) {
  const HttpProblem& problem = request.problem;
  std::string got = headerOf(request.headers, "Content-Encoding");
  if (problem.status != 415) got = problem.text.substr(0, problem.text.find_last_not_of('.') + 1);
  return {problem, "http", std::string(expectationOf(problem.status)), std::move(got)};
}

/// What is JSON, and no request and no batch.
Problem shapeProblem(const Value& body) {
  const auto notARequest = [](std::string expected, std::string got, const std::string& text, std::string hint) {
    return Problem{{400, text, std::move(hint)}, "not-a-request", std::move(expected), std::move(got)};
  };
  std::int64_t number = 0;
  for (const Value& record : body.array()) {
    if (!record.isDictionary()) {
      return notARequest(
          "an object", inWords(record),
          "Record " + std::to_string(number) + " of the batch is " + inWords(record) + ", and should be an object.",
          "Send whole requests in a batch.");
    }
    ++number;
  }
  if (body.isArray()) return {};
  if (!body.isDictionary()) {
    return notARequest("an object (a request) or a list (a batch)", inWords(body),
                       "The body is " + inWords(body) + ", and should be an object (a request) or a list (a batch).",
                       "Send one request or one batch.");
  }
  const Value action = body.dictionary()["action"];
  if (action.isText()) return {};
  return notARequest("a text under \"action\"", action.isNull() ? "nothing" : inWords(action),
                     "The request has no text under \"action\".", "Say what the request is, as \"action\": \"init\".");
}

Problem problemOf(const ReceivedRequest& request, const std::optional<Value>& body) {
  if (request.problem.status != 0) return transportProblem(request);
  const std::string path = request.path.substr(0, request.path.find('?'));
  if (path != requestPath) {
    return {{404, "The request came to " + path + ", and should come to /marlune/v4.", "Post to /marlune/v4."},
            "http",
            std::string(requestPath),
            path};
  }
  if (request.method != "POST") {
    return {{405, "The request came by " + request.method + ", and should come by POST.", "Post it."},
            "http",
            "POST",
            request.method};
  }
  if (!body) {
    if (const auto place = utf8Problem(request.bytes)) {
      return {{400, "The body is not UTF-8: " + *place, "Send JSON in UTF-8."}, "not-json", "UTF-8", *place};
    }
    const std::string what = jsonProblem(request.bytes);
    return {{400, "The body is not JSON: " + what, "Send one JSON text."},
            "not-json",
            "one JSON text",
            request.bytes.empty() ? "no body" : what};
  }
  return shapeProblem(*body);
}

std::optional<Finding> aboutContentType(const ReceivedRequest& request) {
  const std::string type = headerOf(request.headers, "Content-Type");
  if (type.starts_with("application/json")) return std::nullopt;
  Finding finding{Severity::warning, "http"};
  finding.expected = "application/json; charset=utf-8";
  finding.got = type.empty() ? "nothing" : type;
  finding.hint = "Say in the header that JSON comes.";
  finding.text =
      "The header Content-Type is " + finding.got + ", and should be " + finding.expected + ". " + finding.hint;
  return finding;
}

/// None when it is no JSON, or could not be read.
std::optional<Value> bodyOf(const ReceivedRequest& request) {
  if (request.problem.status != 0) return std::nullopt;
  return jsonIn(request.bytes);
}

/// What is said of the reply itself; what is about its connection the server adds.
HttpHeaders headersOf(const HttpReply& reply) {
  HttpHeaders headers = reply.headers;
  if (!canHaveBody(reply.status)) return headers;
  headers.emplace_back("Content-Type", reply.contentType);
  headers.emplace_back("Content-Length", std::to_string(reply.body.size()));
  return headers;
}

/// How much of its body goes out, when anything does.
std::size_t sentOf(const HttpReply& reply) {
  return reply.sending == Sending::whole ? reply.body.size() : middleOf(reply.body.size());
}

}  // namespace

Reception::Reception(Options options)
    : options_(std::move(options)), run_(anyRun()), answers_(options_.settings), log_(options_.capacity) {
  if (options_.savePath.empty()) return;
  saved_ = std::make_unique<SavingThread>(options_.savePath, options_.complain);
  restore();
}

HttpReply Reception::receive(const HttpRequest& http) {
  const auto begin = std::chrono::steady_clock::now();
  ReceivedRequest request;
  request.received = secondsSince1970();
  request.method = http.method;
  request.path = http.target;
  request.remote = http.remote;
  request.headers = http.headers;
  request.bytes = http.body;
  request.compressed = http.compressed;
  request.problem = http.problem;
  request.arrival = http.arrival;
  if (request.problem.status == 0 && holdsMoreValuesThan(mostValues, request.bytes)) {
    request.problem = {413, "The body holds more than 20,000 values.",
                       "Send fewer records at once: a batch has up to 25."};
  }
  if (request.problem.status != 0) noteRefusal(request.problem);
  const std::optional<Value> body = bodyOf(request);
  if (body) describe(request, *body);
  HttpReply reply = replyTo(request, body);
  judge(request, body);
  request.fault = faults_.apply(request, reply);
  if (!canHaveBody(reply.status)) {
    reply.body.clear();
    reply.contentType.clear();
  }
  request.isWhole = reply.sending == Sending::whole;
  request.status = reply.sending == Sending::never || reply.sending == Sending::resetBefore ? 0 : reply.status;
  if (request.status != 0) {
    if (http.method != "HEAD") request.reply = reply.body.substr(0, sentOf(reply));
    request.replyHeaders = headersOf(reply);
  }
  request.delay = reply.delay;
  request.answering = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin);
  keep(std::move(request), body ? *body : Value());
  return reply;
}

HttpReply Reception::replyTo(ReceivedRequest& request, const std::optional<Value>& body) {
  HttpReply reply;
  reply.contentType = "application/json; charset=utf-8";
  reply.headers.emplace_back("Accept-Encoding", "gzip");
  const HttpProblem problem = problemOf(request, body).reply;
  if (problem.status == 0) {
    HostAnswer answer = answers_.answer(request);
    reply.status = answer.status;
    reply.body = std::move(answer.body);
    reply.delay = answer.delay;
    request.rule = answer.rule;
  } else {
    reply.status = problem.status;
    reply.body = RapidJSONSerialization().textOfAny(Value{{"error", problem.text}, {"hint", problem.hint}});
  }
  return reply;
}

/// Finds what one request shows by itself.
void Reception::judge(ReceivedRequest& request, const std::optional<Value>& body) const {
  const Problem problem = problemOf(request, body);
  if (problem.reply.status == 0) {
    addFindings(request.findings, check_.findings(*body));
    addFindings(request.findings, repeatedMembers(request.bytes, body->isArray()));
  } else {
    Finding finding{Severity::error, problem.code};
    finding.expected = problem.expected;
    finding.got = problem.got;
    finding.hint = problem.reply.hint;
    finding.text = problem.reply.text + ' ' + problem.reply.hint;
    request.findings.push_back(std::move(finding));
    request.action.clear();
  }
  if (request.problem.status != 0) return;
  if (auto finding = aboutContentType(request)) request.findings.push_back(std::move(*finding));
}

void Reception::keep(ReceivedRequest request, const Value& body) {
  RequestPointer kept;
  {
    const std::lock_guard lock(mutex_);
    if (paused_) return history_.noteInitReply(request);
    if (!request.action.empty()) {
      request.id = log_.last() + 1;
      addFindings(request.findings, history_.findings(request, body));
    }
    kept = log_.add(std::move(request));
    if (!kept->action.empty()) devices_.note(*kept, body);
    if (saved_) saved_->add(kept);
  }
  if (saved_) saved_->waitUntilWritten();  // what has been answered survives this program
  options_.arrived(*kept);
}

void Reception::restore() {
  for (ReceivedRequest& request : saved_->latest(options_.capacity)) {
    const std::optional<Value> body = bodyOf(request);
    if (body) describe(request, *body);
    judge(request, body);
    if (!request.action.empty()) {
      addFindings(request.findings, history_.findings(request, *body));
      devices_.note(request, *body);
    }
    log_.restore(std::make_shared<const ReceivedRequest>(std::move(request)));
  }
}

/// With the lock held. Who follows is woken by log_.noteChange().
void Reception::note(std::string event, std::function<Value()> data) {
  notices_.push_back({++lastNotice_, std::move(event), std::move(data)});
  if (notices_.size() > mostNotices) notices_.pop_front();
}

void Reception::announce(std::string event, std::function<Value()> data) {
  {
    const std::lock_guard lock(mutex_);
    note(std::move(event), std::move(data));
  }
  log_.noteChange();
}

void Reception::announceAnswers() {
  announce("answers", [this] { return answers_.json(); });
}

void Reception::announceAnswersFromOutside() {
  announceAnswers();
  if (!answers_.asksUsual()) options_.answersSet();
}

void Reception::announceFaults() {
  announce("faults", [this] { return faults_.json(); });
}

Reception::News Reception::news(std::int64_t notice, std::int64_t request, std::size_t mostRequests) const {
  const std::lock_guard lock(mutex_);
  News news;
  news.requests = log_.requests(request, mostRequests);
  news.dropped = log_.dropped();
  news.isComplete = notices_.empty() || notices_.front().number <= notice + 1;
  for (const Notice& one : notices_) {
    if (one.number > notice) news.notices.push_back(one);
  }
  return news;
}

std::int64_t Reception::lastNotice() const {
  const std::lock_guard lock(mutex_);
  return lastNotice_;
}

std::int64_t Reception::erasures() const {
  const std::lock_guard lock(mutex_);
  return erasures_;
}

void Reception::noteRefusal(const HttpProblem& problem) {
  const std::lock_guard lock(mutex_);
  ++refusals_[problem.status];
}

Array Reception::refusals() const {
  const std::lock_guard lock(mutex_);
  std::vector<Value> list;
  for (const auto& [status, count] : refusals_) {
    list.push_back(Value{{"status", status}, {"reason", httpProblem(status).text}, {"count", count}});
  }
  return Array(std::move(list));
}

void Reception::setPaused(bool paused) {
  {
    const std::lock_guard lock(mutex_);
    paused_ = paused;
  }
  announce("paused", [this] { return Value{{"paused", isPaused()}}; });
}

bool Reception::isPaused() const {
  const std::lock_guard lock(mutex_);
  return paused_;
}

void Reception::clear() {
  {
    const std::lock_guard lock(mutex_);
    log_.clear();
    history_.clear();
    devices_.clear();
    if (saved_) saved_->clear();
    // What comes from here on comes behind it for those who follow, too.
    note("cleared", [erased = ++erasures_] { return Value{{"erasures", erased}}; });
  }
  log_.noteChange();
}

void Reception::reset() {
  answers_.reset();
  faults_.reset();
  {
    const std::lock_guard lock(mutex_);
    refusals_.clear();
  }
  clear();
  setPaused(false);
  announceAnswers();
  announceFaults();
}

bool Reception::forget(const std::string& device) {
  bool known = false;
  {
    const std::lock_guard lock(mutex_);
    known = devices_.forget(device);
    log_.forget(device);
    history_.forget(device);
    answers_.forget(device);
    if (saved_) saved_->forget(device);
    note("forgotten", [device, erased = ++erasures_] { return Value{{"device", device}, {"erasures", erased}}; });
  }
  log_.noteChange();
  return known;
}

}  // namespace fliprugair::controlhost
