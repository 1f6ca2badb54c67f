#include <gtest/gtest.h>

#include "tools/controlhost/RequestTable.h"

namespace fliprugair::controlhost {
namespace {

TEST(RequestTable, ShowsEveryRecordAndWhetherTheRequestWasConfirmed) {
  const Value event{{"action", "event"}, {"data", Value{{"event_name", "level"}}}};
  const Value pause{{"action", "session"}, {"data", Value{{"state", "pause"}}}};
  const Value update{{"action", "update"}, {"data", Value{{"language", "de"}, {"idfa", "X"}}}};
  const Array requests{
      Value{{"number", 1}, {"received", 10.0}, {"action", "batch"}, {"body", Array{event, pause}}, {"status", 200}},
      Value{{"number", 2}, {"received", 11.5}, {"action", "update"}, {"body", update}, {"status", 503}}};
  EXPECT_EQ(requestTable(requests),
            "  no.  when    action  records                   confirmed\n"
            "  1    +0.0 s  batch   event \"level\"             yes\n"
            "                       session \"pause\"\n"
            "  2    +1.5 s  update  update of language, idfa  no (503)\n");
}

TEST(RequestTable, HasOnlyItsHeadingWhenNothingCame) {
  EXPECT_EQ(requestTable(Array()), "  no.  when  action  records  confirmed\n");
}

}  // namespace
}  // namespace fliprugair::controlhost
