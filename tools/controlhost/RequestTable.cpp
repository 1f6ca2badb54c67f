#include "tools/controlhost/RequestTable.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t columns = 5;
using Row = std::array<std::string, columns>;

/// What a record is, in a few words: its action, and for an event its name.
std::string recordName(const Dictionary& record) {
  const std::string action = record["action"].text();
  const Dictionary data = record["data"].dictionary();
  for (const std::string_view detail : {"event_name", "state", "uri"}) {
    if (const Value text = data[detail]; text.isText()) return action + " \"" + text.text() + '"';
  }
  if (action != "update") return action;
  std::string changed;
  for (const auto& entry : data.entries()) changed += (changed.empty() ? " of " : ", ") + entry.key();
  return action + changed;
}

std::vector<std::string> recordNames(const Value& body) {
  std::vector<std::string> names;
  for (const Value& record : body.array()) names.push_back(recordName(record.dictionary()));
  if (body.isDictionary()) names.push_back(recordName(body.dictionary()));
  return names;
}

std::string seconds(double time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%+.1f s", time);
  return text.data();
}

std::vector<Row> rowsOf(const Dictionary& request, double start) {
  const std::int64_t status = request["status"].integerValue();
  const std::string verdict = status >= 200 && status < 300 ? "yes" : "no (" + std::to_string(status) + ")";
  std::vector<Row> rows;
  for (const std::string& name : recordNames(request["body"])) {
    if (rows.empty()) {
      rows.push_back({std::to_string(request["number"].integerValue()),
                      seconds(request["received"].realValue() - start), request["action"].text(), name, verdict});
    } else {
      rows.push_back({"", "", "", name, ""});
    }
  }
  return rows;
}

}  // namespace

std::string requestTable(const Array& requests) {
  std::vector<Row> rows{{"no.", "when", "action", "records", "confirmed"}};
  const double start = requests.empty() ? 0 : requests[0].dictionary()["received"].realValue();
  for (const Value& request : requests) {
    for (Row& row : rowsOf(request.dictionary(), start)) rows.push_back(std::move(row));
  }
  std::array<std::size_t, columns> widths{};
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < columns; ++column) {
      widths[column] = std::max(widths[column], row[column].size());
    }
  }
  std::string table;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < columns; ++column) {
      line += "  " + row[column] + std::string(widths[column] - row[column].size(), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    table += line + '\n';
  }
  return table;
}

}  // namespace fliprugair::controlhost
