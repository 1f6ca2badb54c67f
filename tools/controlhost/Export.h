#pragma once

#include <string>
#include <vector>

#include "Fliprugair/platform/Value.h"
#include "tools/controlhost/RequestLog.h"

namespace fliprugair::controlhost {

/// The shell command that sends `body` to the host at `url` once more.
std::string curlCommand(const std::string& url, const std::string& body);

/// A line of JSON for each request, whole.
std::string exportedLines(const std::vector<RequestPointer>& requests);

/// An HTTP archive (HAR 1.2).
std::string exportedArchive(const std::vector<RequestPointer>& requests, const std::string& url);

}  // namespace fliprugair::controlhost
