#include "platform/curl/ControlHostURL.h"

#include <arpa/inet.h>
#include <strings.h>

#include <charconv>

#include "platform/Joined.h"

namespace fliprugair {

namespace {

constexpr std::size_t longestName = 253;  // of a DNS name in text

bool isNameCharacter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '-' || character == '.' || character == '_';
}

bool isName(std::string_view text) {
  if (text.empty() || text.size() > longestName) return false;
  for (const char character : text) {
    if (!isNameCharacter(character)) return false;
  }
  return true;
}

bool isPort(std::string_view text) {
  unsigned port = 0;
  const char* const end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, port);
  return error == std::errc() && parsed == end && text.size() <= 5 && port >= 1 && port <= 65535;
}

std::optional<in6_addr> bracketedAddress(const std::string& host) {
  in6_addr address{};
  if (host.size() < 2 || host.front() != '[' || host.back() != ']') return std::nullopt;
  if (inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &address) != 1) return std::nullopt;
  return address;
}

bool isLoopback(const std::string& host) {
  if (strcasecmp(host.c_str(), "localhost") == 0) return true;
  if (const std::optional<in6_addr> address = bracketedAddress(host)) return IN6_IS_ADDR_LOOPBACK(&*address);
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 && (ntohl(address.s_addr) >> 24) == 127;
}

}  // namespace

std::optional<ControlHostURL> controlHostURL(std::string_view hostname, LoopbackScheme loopbackScheme) {
  const std::size_t bracket = hostname.rfind(']');
  const std::size_t colon = hostname.find(':', bracket == std::string_view::npos ? 0 : bracket);
  const std::string host(hostname.substr(0, colon));
  // Text with a NUL inside ends early for the address functions; isName has no such end.
  if (host.find('\0') != std::string::npos) return std::nullopt;
  if (!isName(host) && !bracketedAddress(host)) return std::nullopt;
  if (colon != std::string_view::npos && !isPort(hostname.substr(colon + 1))) return std::nullopt;

  const bool plain = loopbackScheme == LoopbackScheme::http && isLoopback(host);
  return ControlHostURL{joined({plain ? "http://" : "https://", hostname, "/marlune/v4"}), plain};
}

}  // namespace fliprugair
