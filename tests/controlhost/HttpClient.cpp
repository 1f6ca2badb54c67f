#include "controlhost/HttpClient.h"

#include <httplib.h>

#include <optional>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::test {

namespace {

/// With patience for a machine on which much else runs.
httplib::Client clientOf(int port) {
  httplib::Client client("127.0.0.1", port);
  client.set_read_timeout(120);
  return client;
}

HttpAnswer answerOf(const httplib::Result& result) {
  return result ? HttpAnswer{result->status, result->body} : HttpAnswer{};
}

}  // namespace

Value HttpAnswer::json() const {
  const std::optional<Value> value = RapidJSONSerialization().value(body);
  return value ? *value : Value();
}

HttpAnswer httpGet(int port, const std::string& path) { return answerOf(clientOf(port).Get(path)); }

HttpAnswer httpPost(int port, const std::string& path, const std::string& body) {
  return answerOf(clientOf(port).Post(path, body, "application/json; charset=utf-8"));
}

HttpAnswer post(int port, const Value& request) {
  return httpPost(port, "/marlune/v4", RapidJSONSerialization().text(request).value_or(""));
}

}  // namespace fliprugair::test
