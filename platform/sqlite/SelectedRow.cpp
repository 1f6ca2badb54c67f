#include "platform/sqlite/SelectedRow.h"

#include <utility>

#include "platform/Joined.h"

namespace fliprugair {

SelectedRow selectedRow(Statement& select) {
  Row row{select.integer(0), select.integer(1), select.integer(2), std::string(select.text(3)), {}};
  const std::string_view text = select.text(4);
  const bool isWhole = areRowNumbers({row.id, row.parent, row.position}) && select.integer(5) == row.checksum(text);
  if (!isWhole) throw StoreError::damaged(joined({"row ", std::to_string(row.id), " is not what was written"}));
  return {std::move(row), text};
}

}  // namespace fliprugair
