#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tools/controlhost/Match.h"
#include "tools/controlhost/RequestLog.h"

namespace fliprugair::controlhost {

/// The shell command that sends `body` to the host at `url` as `request` came: by its method, to its path, as what its
/// Content-Type says.
std::string curlCommand(const std::string& url, const ReceivedRequest& request, const std::string& body);

/// How requests are written one behind the other.
struct ExportForm {
  std::string begin;
  std::function<std::string(const ReceivedRequest&)> request;
  std::string between;
  std::string end;
};

/// A line of JSON for each request, whole.
ExportForm linesForm();

/// An HTTP archive (HAR 1.2) of what came to the host at `url`.
ExportForm archiveForm(const std::string& url);

/// What a log keeps, piece by piece, so that it never stands in memory as one text: those requests that match and have
/// come by the begin of the export. Those that make room for others meanwhile are left out. Used by one thread.
class Export {
 public:
  /// `log` must outlive it.
  Export(const RequestLog& log, Match match, ExportForm form);

  /// None when there are no more.
  std::optional<std::string> next();

 private:
  RequestPointer nextRequest();

  const RequestLog& log_;
  const Match match_;
  const ExportForm form_;
  const std::int64_t last_;
  std::int64_t since_ = 0;
  enum class Part { begin, first, others, ended } part_ = Part::begin;
};

}  // namespace fliprugair::controlhost
