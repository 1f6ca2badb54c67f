#include "tools/controlhost/HttpClient.h"

#include <httplib.h>

namespace fliprugair::controlhost {

std::optional<std::string> httpGet(const std::string& address, const std::string& path) {
  httplib::Client client("http://" + address);
  client.set_connection_timeout(5);
  client.set_read_timeout(5);
  const auto answer = client.Get(path);
  if (!answer || answer->status != 200) return std::nullopt;
  return answer->body;
}

}  // namespace fliprugair::controlhost
