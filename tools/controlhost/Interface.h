#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/controlhost/HttpServer.h"
#include "tools/controlhost/Reception.h"

namespace fliprugair::controlhost {

/// The host's own HTTP interface and its page: everything but the place where trackers post. Any thread.
class Interface {
 public:
  /// `hosts`: what a "Host" header may say, as "127.0.0.1:8080".
  Interface(Reception& reception, std::vector<std::string> hosts);

  /// None when the request is not meant for the interface, but for a tracker's host.
  std::optional<HttpReply> reply(const HttpRequest& request);

 private:
  struct Entry {
    std::string_view method;
    std::string_view path;  ///< with a "/" at its end: what stands behind it is `rest`
    HttpReply (Interface::*serve)(const HttpRequest& request, const std::string& rest);
    std::vector<std::string_view> parameters = {};  ///< that its query may have
  };
  static const std::vector<Entry>& entries();

  std::optional<HttpReply> refusal(const HttpRequest& request) const;
  bool isOfForeignPage(const HttpRequest& request) const;
  bool isOwn(const HttpRequest& request, const std::string& host) const;
  HttpReply route(const HttpRequest& request);
  std::string url() const { return "http://" + hosts_.front(); }

  HttpReply health(const HttpRequest& request, const std::string& rest);
  HttpReply requests(const HttpRequest& request, const std::string& rest);
  HttpReply oneRequest(const HttpRequest& request, const std::string& rest);
  HttpReply records(const HttpRequest& request, const std::string& rest);
  HttpReply oneRecord(const HttpRequest& request, const std::string& rest);
  HttpReply devices(const HttpRequest& request, const std::string& rest);
  HttpReply forget(const HttpRequest& request, const std::string& rest);
  HttpReply wait(const HttpRequest& request, const std::string& rest);
  HttpReply events(const HttpRequest& request, const std::string& rest);
  HttpReply answers(const HttpRequest& request, const std::string& rest);
  HttpReply setAnswers(const HttpRequest& request, const std::string& rest);
  HttpReply faults(const HttpRequest& request, const std::string& rest);
  HttpReply setFaults(const HttpRequest& request, const std::string& rest);
  HttpReply addFault(const HttpRequest& request, const std::string& rest);
  HttpReply removeFault(const HttpRequest& request, const std::string& rest);
  HttpReply settings(const HttpRequest& request, const std::string& rest);
  HttpReply explain(const HttpRequest& request, const std::string& rest);
  HttpReply paused(const HttpRequest& request, const std::string& rest);
  HttpReply pause(const HttpRequest& request, const std::string& rest);
  HttpReply clear(const HttpRequest& request, const std::string& rest);
  HttpReply reset(const HttpRequest& request, const std::string& rest);
  HttpReply exportLines(const HttpRequest& request, const std::string& rest);
  HttpReply exportArchive(const HttpRequest& request, const std::string& rest);

  Reception& reception_;
  const std::vector<std::string> hosts_;
};

/// {"error": ..., "hint": ...} with that status.
HttpReply errorReply(int status, const std::string& error, const std::string& hint);

/// For what cannot be read.
HttpReply refusalReply(const HttpProblem& problem);

}  // namespace fliprugair::controlhost
