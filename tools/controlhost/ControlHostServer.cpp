#include "tools/controlhost/ControlHostServer.h"

#include <chrono>
#include <optional>
#include <string_view>
#include <utility>

#include "tools/controlhost/JSONProblem.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::string_view requestPath = "/marlune/v4";

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

HttpReply text(int status, std::string text) { return {status, "text/plain; charset=utf-8", std::move(text) + '\n'}; }

/// "" when `body` is a request or a batch.
std::string problemOf(const Value& body) {
  if (body.isDictionary())
    return body.dictionary()["action"].isText() ? "" : "The request has no text under \"action\".";
  if (!body.isArray()) return "The body is neither an object (a request) nor an array (a batch).";
  std::int64_t number = 0;
  for (const Value& record : body.array()) {
    ++number;
    if (!record.isDictionary()) return "Record " + std::to_string(number) + " of the batch is no object.";
  }
  return "";
}

}  // namespace

ControlHostServer::ControlHostServer(ControlHostOptions options)
    : options_(std::move(options)),
      log_(options_.capacity),
      server_(options_.address, options_.port, [this](const HttpRequest& request) { return reply(request); }) {}

std::string ControlHostServer::hostname() const {
  const bool bracketed = options_.address.find(':') != std::string::npos;
  return (bracketed ? '[' + options_.address + ']' : options_.address) + ':' + std::to_string(port());
}

HttpReply ControlHostServer::reply(const HttpRequest& request) {
  return request.method == "POST" ? replyToPost(request) : replyToGet(request.path);
}

HttpReply ControlHostServer::replyToPost(const HttpRequest& request) {
  LoggedRequest logged;
  logged.received = secondsSince1970();
  logged.path = request.path;
  HttpReply result;
  const std::string problem = problemOf(request, logged.body);
  if (problem.empty()) {
    const HostSettings settings = options_.settings();
    const HostAnswer answer = host_.answer(logged.body, settings);
    logged.action = kindOf(logged.body);
    logged.records = logged.body.isArray() ? static_cast<std::int64_t>(logged.body.array().size()) : 1;
    logged.reply = answer.reply;
    result = json(answer.status, answer.reply);
    result.delay = settings.delay;
  } else {
    logged.reply = problem;
    result = text(request.path == requestPath ? 400 : 404, problem);
  }
  logged.status = result.status;
  options_.arrived(log_.add(std::move(logged)));
  return result;
}

/// Puts what came into `body`, as far as it can be understood.
std::string ControlHostServer::problemOf(const HttpRequest& request, Value& body) const {
  const std::optional<Value> value = json_.value(request.body);
  body = value ? *value : Value(request.body);
  if (request.path != requestPath) return "Requests are posted to " + std::string(requestPath) + '.';
  if (!value) return "The body is not JSON: " + jsonProblem(request.body);
  return controlhost::problemOf(body);
}

HttpReply ControlHostServer::replyToGet(const std::string& path) const {
  if (path == "/api/health") return json(200, Value{{"status", "ok"}, {"requests", log_.count()}});
  if (path == "/api/requests") {
    std::vector<Value> requests;
    for (const LoggedRequest& request : log_.requests()) requests.push_back(request.dictionary());
    return json(200, Array(std::move(requests)));
  }
  return text(404, "Here are POST /marlune/v4, GET /api/requests and GET /api/health.");
}

HttpReply ControlHostServer::json(int status, const Value& value) const {
  return {status, "application/json; charset=utf-8", json_.text(value).value_or("null")};
}

}  // namespace fliprugair::controlhost
