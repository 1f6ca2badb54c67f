// Commands that do nothing are no errors, but say so.

#include "InstalledDevice.h"

namespace fliprugair::sim {
namespace {

std::string noteOf(Script& script, const std::string& command) {
  script.run(command);
  return script.note();
}

TEST_F(Device, AnAnswerThatIsNotPendingSaysWhatIs) {
  EXPECT_EQ(noteOf(script, R"({"do":"reply","request":7,"body":{}})"), "request 7 is not pending; none is");
  track(25);
  EXPECT_EQ(noteOf(script, R"({"do":"reply","request":7,"body":{}})"), "request 7 is not pending; pending are: 3");
  track(25 * 13);
  EXPECT_EQ(noteOf(script, R"({"do":"fail","request":-1})"),
            "request -1 is not pending; pending are: 3, 4, 5, 6, 7, 8, 9, 10, 11, 12 and 4 more");
  EXPECT_EQ(noteOf(script, R"({"do":"reply","request":3,"body":{}})"), "");
  EXPECT_EQ(noteOf(script, R"({"do":"fail","request":4})"), "");
  EXPECT_EQ(noteOf(script, R"({"do":"fail","request":4})").substr(0, 48),
            "request 4 is not pending; pending are: 5, 6, 7, ");
}

TEST_F(Device, AnUnknownBackgroundTaskSaysWhichThereAre) {
  EXPECT_EQ(noteOf(script, R"({"do":"expire","task":1})"), "background task 1 is not running; none is");
  track();
  notify("will-resign-active");
  EXPECT_EQ(noteOf(script, R"({"do":"expire","task":2})"), "background task 2 is not running; running are: 1");
  EXPECT_EQ(noteOf(script, R"({"do":"expire","task":1})"), "");
  EXPECT_EQ(noteOf(script, R"({"do":"expire","task":1})"), "background task 1 is not running; none is");
}

TEST(Notes, OfCommandsThatNeedATracker) {
  Script script;
  EXPECT_EQ(noteOf(script, R"({"do":"call","method":"retrieveAttribution"})"),
            R"(there is no tracker to call retrieveAttribution on; "construct" makes one)");
  EXPECT_EQ(noteOf(script, R"({"do":"notify","name":"will-terminate"})"),
            R"(there is no tracker to be notified; "construct" makes one)");
  EXPECT_EQ(noteOf(script, std::string(release)), "there is no tracker to be released");
  script.construct();
  EXPECT_EQ(noteOf(script, R"({"do":"call","method":"retrieveAttribution"})"), "");
  EXPECT_EQ(noteOf(script, R"({"do":"notify","name":"will-terminate"})"), "");
  EXPECT_EQ(noteOf(script, std::string(release)), "");
}

TEST(Notes, NoneOfConstructorsThatAreCalled) {
  Script script;
  script.call("initWithMarluneAppId:", {"demo"});
  EXPECT_EQ(script.note(), "");
}

TEST(Notes, ATrackerThatIsKeptIsNotified) {
  Script script;
  script.construct();
  script.construct(Value(), true);  // fails: the script holds none, the first is kept
  EXPECT_EQ(noteOf(script, R"({"do":"notify","name":"will-terminate"})"), "");
}

TEST(Notes, OfAnswersThatNobodyWaitsFor) {
  Script script;
  const std::string fix = R"({"do":"location","fix":{"latitude":1,"longitude":2,"accuracy":3}})";
  EXPECT_EQ(noteOf(script, R"({"do":"search_ad","details":null})"),
            "no tracker waits for an answer of the search-ad service");
  EXPECT_EQ(noteOf(script, fix), "no location manager is searching");
  script.construct();
  script.reply(1, {{"success", 1}, {"whitelist", Array({"location"})}});
  EXPECT_EQ(noteOf(script, R"({"do":"search_ad","details":null})"), "");
  EXPECT_EQ(noteOf(script, fix), "");
  script.run(release);
  EXPECT_EQ(noteOf(script, R"({"do":"search_ad","details":null})"),
            "no tracker waits for an answer of the search-ad service");
  EXPECT_EQ(noteOf(script, fix), "no location manager is searching");
}

TEST(Notes, OfCommandsThatChangeNothing) {
  Script script;
  EXPECT_EQ(noteOf(script, R"({"do":"device"})"), "\"device\" names no field");
  EXPECT_EQ(noteOf(script, R"({"do":"device","languages":["en"]})"), "");
  EXPECT_EQ(noteOf(script, R"({"do":"store"})"), "the store is as it was");
  EXPECT_EQ(noteOf(script, R"({"do":"store","remove":["a"]})"), "the store is as it was");
  EXPECT_EQ(noteOf(script, R"({"do":"store","set":{"a":1}})"), "");
  EXPECT_EQ(noteOf(script, R"({"do":"store","remove":["a"]})"), "");
  EXPECT_EQ(noteOf(script, R"({"do":"store","get":[]})"), "");
}

}  // namespace
}  // namespace fliprugair::sim
