#include "tools/controlhost/RequestTable.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <vector>

#include "tools/controlhost/VisibleText.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t columns = 6;
using Row = std::array<std::string, columns>;

std::string seconds(double time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%+.1f s", time);
  return text.data();
}

std::string timeOfDay(double time) {
  const auto whole = static_cast<std::time_t>(time);
  std::tm parts{};
  localtime_r(&whole, &parts);
  std::array<char, 32> buffer{};
  const std::size_t length = std::strftime(buffer.data(), buffer.size(), "%H:%M:%S", &parts);
  const std::string thousandths = std::to_string(1000 + static_cast<int>((time - std::floor(time)) * 1000));
  return std::string(buffer.data(), length) + '.' + thousandths.substr(1);
}

bool isConfirmed(std::int64_t status) { return status >= 200 && status < 300; }

std::vector<Row> rowsOf(const Dictionary& request, double start) {
  const std::int64_t status = request["status"].integerValue();
  const bool whole = request["whole"].boolValue();
  const std::string reason = status == 0 ? "no reply" : !whole ? "reply cut off" : std::to_string(status);
  const std::string verdict = isConfirmed(status) && whole ? "yes" : "no (" + reason + ")";
  std::vector<Row> rows;
  Array names = request["names"].array();
  if (names.empty()) names = Array{request["action"].text().empty() ? "not a request" : "no record"};
  for (const Value& name : names) {
    if (rows.empty()) {
      rows.push_back({std::to_string(request["id"].integerValue()), seconds(request["received"].realValue() - start),
                      visibleText(request["device"].text()), visibleText(request["action"].text()),
                      visibleText(name.text()), verdict});
    } else {
      rows.push_back({"", "", "", "", visibleText(name.text()), ""});
    }
  }
  return rows;
}

}  // namespace

std::string requestTable(const Array& requests) {
  std::vector<Row> rows{{"no.", "when", "device", "action", "records", "confirmed"}};
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

std::string requestLine(const Value& request) {
  const Dictionary members = request.dictionary();
  const std::string action = members["action"].text();
  const std::int64_t status = members["status"].integerValue();
  const std::string device = members["device"].text();
  std::string what = action.empty() ? "not a request" : action;
  if (action == "batch") what += " of " + std::to_string(members["records"].integerValue());
  std::string line = what + "  " + (device.empty() ? "(no device id)" : device);
  if (status == 0) {
    line += "  without a reply";
  } else if (status != 200) {
    line += "  answered with status " + std::to_string(status);
  }
  if (const std::string& fault = members["fault"].text(); !fault.empty()) line += "  (" + fault + ')';
  return timeOfDay(members["received"].realValue()) + "  " + visibleText(line) + '\n';
}

std::string findingLines(const Array& findings) {
  std::string lines;
  for (const Value& finding : findings) {
    const Dictionary members = finding.dictionary();
    const Value record = members["record"];
    const std::string place = record.isNull() ? "" : "record " + std::to_string(record.integerValue()) + ": ";
    lines += visibleText("    " + members["severity"].text() + "  " + place + members["text"].text()) + '\n';
  }
  return lines;
}

}  // namespace fliprugair::controlhost
