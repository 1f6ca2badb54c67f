#include "tools/controlhost/HttpClient.h"

#include <httplib.h>

#include <cctype>
#include <string_view>

namespace fliprugair::controlhost {

std::optional<std::string> httpGet(const std::string& address, const std::string& path) {
  httplib::Client client("http://" + address);
  client.set_connection_timeout(5);
  client.set_read_timeout(5);
  const auto answer = client.Get(path);
  if (!answer || answer->status != 200) return std::nullopt;
  return answer->body;
}

bool httpFollow(const std::string& address, const std::string& path,
                const std::function<void(const std::string&)>& line) {
  httplib::Client client("http://" + address);
  client.set_connection_timeout(5);
  client.set_read_timeout(60);  // the host says every 15 seconds that it is still there
  std::string rest;
  bool good = false;
  client.Get(
      path, httplib::Headers(), [&](const httplib::Response& answer) { return good = answer.status == 200; },
      [&](const char* bytes, size_t size) {
        rest.append(bytes, size);
        std::size_t begin = 0;
        for (std::size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n', begin)) {
          line(rest.substr(begin, end - begin));
          begin = end + 1;
        }
        rest.erase(0, begin);
        return true;
      });
  return good;
}

std::string inQuery(const std::string& text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  for (const unsigned char byte : text) {
    if (std::isalnum(byte) != 0) {
      result += static_cast<char>(byte);
    } else {
      result += {'%', digits[byte / 16], digits[byte % 16]};
    }
  }
  return result;
}

}  // namespace fliprugair::controlhost
