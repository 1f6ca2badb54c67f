#include "platform/linux/MachineIdentity.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <uuid/uuid.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>

namespace fliprugair {

namespace {

std::string upperCaseText(const uuid_t& uuid) {
  std::array<char, UUID_STR_LEN> text{};
  uuid_unparse_upper(uuid, text.data());
  return text.data();
}

using MachineKey = std::array<unsigned char, 16>;

std::optional<MachineKey> keyOf(std::string_view machineId) {
  MachineKey key{};
  if (machineId.size() != 2 * key.size()) return std::nullopt;
  for (std::size_t at = 0; at < key.size(); ++at) {
    const std::string_view digits = machineId.substr(2 * at, 2);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), key[at], 16);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  }
  const bool isZero = std::all_of(key.begin(), key.end(), [](unsigned char byte) { return byte == 0; });
  return isZero ? std::nullopt : std::optional(key);
}

}  // namespace

std::string randomUUID() {
  uuid_t uuid;
  uuid_generate_random(uuid);
  return upperCaseText(uuid);
}

std::optional<std::string> machineIdentifierFor(std::string_view application, std::string_view machineId) {
  const std::optional<MachineKey> key = keyOf(machineId);
  if (!key) return std::nullopt;
  std::array<unsigned char, EVP_MAX_MD_SIZE> hash{};
  const auto* bytes = reinterpret_cast<const unsigned char*>(application.data());
  if (HMAC(EVP_sha256(), key->data(), static_cast<int>(key->size()), bytes, application.size(), hash.data(), nullptr) ==
      nullptr) {
    return std::nullopt;
  }
  uuid_t uuid;
  std::copy_n(hash.begin(), sizeof(uuid), std::begin(uuid));
  uuid[6] = static_cast<unsigned char>((uuid[6] & 0x0F) | 0x40);  // version 4
  uuid[8] = static_cast<unsigned char>((uuid[8] & 0x3F) | 0x80);  // variant of RFC 4122
  return upperCaseText(uuid);
}

}  // namespace fliprugair
