#include <gtest/gtest.h>

#include <stdexcept>

#include "controlhost/TemporaryFile.h"
#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/SettingsFile.h"

namespace fliprugair::controlhost {

namespace {

class SettingsFileTest : public testing::Test {
 protected:
  std::string faultOfOpening() {
    try {
      SettingsFile(file_.path(), json_, [](const std::string&) {});
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  RapidJSONSerialization json_;
  test::TemporaryFile file_{R"({"resonance_cascade": 1})"};
  std::vector<std::string> faults_;
};

TEST_F(SettingsFileTest, IsReadAgainWhenItChanges) {
  SettingsFile settings(file_.path(), json_, [](const std::string&) {});
  EXPECT_EQ(settings.current().resonanceCascade, 1);
  file_.write(R"({"resonance_cascade": 2})");
  EXPECT_EQ(settings.current().resonanceCascade, 2);
}

TEST_F(SettingsFileTest, HoldsOnToTheLastGoodSettingsAndComplainsOnce) {
  SettingsFile settings(file_.path(), json_, [this](const std::string& fault) { faults_.push_back(fault); });
  file_.write("{\n\"resonance_cascade\": }");
  EXPECT_EQ(settings.current().resonanceCascade, 1);
  EXPECT_EQ(settings.current().resonanceCascade, 1);
  EXPECT_EQ(faults_,
            std::vector<std::string>{
                file_.path() + ": not JSON: line 2, column 22: Invalid value. Mend it there; an example is in --help.\n"
                               "The settings it had before hold on."});
  file_.write(R"({"resonance_cascade": 3})");
  EXPECT_EQ(settings.current().resonanceCascade, 3);
}

TEST_F(SettingsFileTest, SurvivesTheRemovalOfItsFileAndSaysSo) {
  SettingsFile settings(file_.path(), json_, [this](const std::string& fault) { faults_.push_back(fault); });
  file_.remove();
  EXPECT_EQ(settings.current().resonanceCascade, 1);
  EXPECT_EQ(settings.current().resonanceCascade, 1);
  EXPECT_EQ(faults_, std::vector<std::string>{file_.path() +
                                              ": cannot be read any more. Put it back, or start the host without it.\n"
                                              "The settings it had before hold on."});
}

TEST_F(SettingsFileTest, SaysWhichValuesATrackerTakesOtherwise) {
  file_.write(R"({"init": {"success": 1, "flags": {"mltracker_wait": 2, "mlinit_wait": 90}}})");
  SettingsFile settings(file_.path(), json_, [this](const std::string& fault) { faults_.push_back(fault); });
  EXPECT_EQ(faults_,
            std::vector<std::string>{file_.path() + ": init: mltracker_wait is 2; a tracker takes 60 to 604800, "
                                                    "so it becomes 60."});
}

TEST_F(SettingsFileTest, AFaultyFileIsNotOpened) {
  file_.write(R"({"delay_ms": "1", "x": 1})");
  const std::string fault = faultOfOpening();
  EXPECT_NE(fault.find(file_.path() + ": delay_ms is the text \"1\", and should be a whole number"), std::string::npos)
      << fault;
  EXPECT_NE(fault.find(file_.path() + ": x is not known"), std::string::npos) << fault;
}

TEST_F(SettingsFileTest, AMissingFileIsNotOpened) {
  file_.remove();
  EXPECT_EQ(faultOfOpening(),
            file_.path() + ": cannot be read. Give --settings a file that is there and that you may read.");
}

}  // namespace

}  // namespace fliprugair::controlhost
