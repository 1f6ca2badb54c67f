#pragma once

#include <string>
#include <string_view>

#include "platform/sqlite/Database.h"
#include "platform/sqlite/Row.h"

namespace fliprugair {

/// The columns of a row in the order in which selectedRow reads them.
inline constexpr std::string_view rowColumns = "id, parent, position, name, value, checksum";

/// The row that `select` stands at, without its value, and that value's text, which is valid until the next step.
struct SelectedRow {
  Row row;
  std::string_view text;
};

/// Throws StoreError::damaged when the row is not what was written.
SelectedRow selectedRow(Statement& select);

}  // namespace fliprugair
