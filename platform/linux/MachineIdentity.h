#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fliprugair {

/// A random UUID (version 4) in canonical upper-case text.
std::string randomUUID();

/// An identifier of this machine for one application, as machine-id(5) asks for: a keyed hash of the application's
/// identifier under the machine's, from which the latter cannot be found, as an upper-case UUID of version 4's form.
/// None when `machineId` is none (32 hexadecimal digits, not all 0).
std::optional<std::string> machineIdentifierFor(std::string_view application, std::string_view machineId);

}  // namespace fliprugair
