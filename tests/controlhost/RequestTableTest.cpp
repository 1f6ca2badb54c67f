#include <gtest/gtest.h>

#include "tools/controlhost/RequestTable.h"

namespace fliprugair::controlhost {
namespace {

TEST(RequestTable, ShowsEveryRecordAndWhetherTheRequestWasConfirmed) {
  const Value batch{{"id", 1},
                    {"received", 10.0},
                    {"device", "MI1"},
                    {"action", "batch"},
                    {"status", 200},
                    {"whole", true},
                    {"names", Array{"event \"level\"", "session \"pause\""}}};
  const Value update{{"id", 2},
                     {"received", 11.5},
                     {"device", "MI2"},
                     {"action", "update"},
                     {"status", 503},
                     {"whole", true},
                     {"names", Array{"update of language, idfa"}}};
  const Value cut{{"id", 3},       {"received", 12.0}, {"device", "MI2"},       {"action", "init"},
                  {"status", 200}, {"whole", false},   {"names", Array{"init"}}};
  EXPECT_EQ(requestTable(Array{batch, update, cut}),
            "  no.  when    device  action  records                   confirmed\n"
            "  1    +0.0 s  MI1     batch   event \"level\"             yes\n"
            "                               session \"pause\"\n"
            "  2    +1.5 s  MI2     update  update of language, idfa  no (503)\n"
            "  3    +2.0 s  MI2     init    init                      no (reply cut off)\n");
}

TEST(RequestTable, HasOnlyItsHeadingWhenNothingCame) {
  EXPECT_EQ(requestTable(Array()), "  no.  when  device  action  records  confirmed\n");
}

TEST(RequestTable, NamesOfRequestsCannotSteerTheTerminal) {
  const Value request{
      {"id", 1}, {"device", "MI\x1B[2J"}, {"action", "a\nb"}, {"status", 200}, {"names", Array{"x\x07"}}};
  const std::string table = requestTable(Array{request});
  EXPECT_NE(table.find("MI\\u001B[2J"), std::string::npos);
  EXPECT_NE(table.find("a\\u000Ab"), std::string::npos);
  EXPECT_NE(table.find("x\\u0007"), std::string::npos);
}

TEST(RequestTable, AFindingIsALine) {
  const Value finding{{"severity", "error"}, {"record", 2}, {"text", "Too long."}};
  const Value whole{{"severity", "note"}, {"record", nullptr}, {"text", "Again."}};
  EXPECT_EQ(findingLines(Array{finding, whole}), "    error  record 2: Too long.\n    note  Again.\n");
}

}  // namespace
}  // namespace fliprugair::controlhost
