#pragma once

#include <string>

#include "curl/TestServer.h"

namespace fliprugair::test {

enum class Validity { today, yesterday };

/// Makes a certificate that vouches for itself, for `subject` as "DNS:localhost" or "IP:127.0.0.1", in the files
/// `path`.crt and `path`.key.
Certificate makeCertificate(const std::string& path, const std::string& subject, Validity validity = Validity::today);

}  // namespace fliprugair::test
