#include <gtest/gtest.h>

#include "controlhost/HttpClient.h"
#include "controlhost/TemporaryFile.h"
#include "tools/controlhost/ControlHost.h"

namespace fliprugair::controlhost {

namespace {

class SavedRequestsTest : public testing::Test {
 protected:
  ControlHostOptions options(std::size_t capacity = 10) const { return {.capacity = capacity, .savePath = path_}; }

  test::TemporaryFile file_{""};
  const std::string path_ = file_.path() + ".sqlite";
};

TEST_F(SavedRequestsTest, AreThereAgainAtTheNextStart) {
  std::vector<ReceivedRequest> before;
  {
    ControlHost host(options());
    test::httpPost(host.port(), "/marlune/v4", std::string("\0\xFF", 2));
    test::post(host.port(), Array{Value{{"action", "event"}, {"marlune_device_id", "MI1"}}});
    before = host.requests();
  }
  ControlHost host(options());
  const std::vector<ReceivedRequest> after = host.requests();
  ASSERT_EQ(after.size(), 2u);
  for (std::size_t index = 0; index < 2; ++index) {
    EXPECT_EQ(wholeOf(after[index]), wholeOf(before[index]));
  }
  test::post(host.port(), Value{{"action", "init"}});
  EXPECT_EQ(host.requests().back().id, 3);
}

TEST_F(SavedRequestsTest, AreNotForgottenWithThoseInMemory) {
  {
    ControlHost host(options(2));
    for (int number = 0; number < 5; ++number) test::post(host.port(), Value{{"action", "init"}});
    EXPECT_EQ(host.requests().size(), 2u);
  }
  EXPECT_EQ(ControlHost(options(10)).requests().size(), 5u);
}

TEST_F(SavedRequestsTest, AreGoneWhenTheyAreCleared) {
  {
    ControlHost host(options());
    test::post(host.port(), Value{{"action", "init"}});
    host.clear();
  }
  EXPECT_TRUE(ControlHost(options()).requests().empty());
}

TEST_F(SavedRequestsTest, AFileThatIsNoneIsRefused) {
  file_.write(std::string(4096, 'x'));
  try {
    ControlHost host({.savePath = file_.path()});
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()),
              file_.path() +
                  ": requests cannot be saved there (file is not a database). Give --save a file "
                  "that can be written.");
  }
}

}  // namespace

}  // namespace fliprugair::controlhost
