#include <gtest/gtest.h>
#include <sys/socket.h>

#include "platform/posix/FileDescriptor.h"
#include "tools/controlhost/HttpConnection.h"

namespace fliprugair::controlhost {

namespace {

TEST(HttpConnection, ARequestThatDripsIsRefusedWhenItsTimeIsOver) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const FileDescriptor client{ends[1]};
  BodyRoom room;
  HttpConnection connection(ends[0], room, std::chrono::milliseconds(20));
  ASSERT_EQ(send(ends[1], "P", 1, 0), 1);
  connection.waitForRequest(std::chrono::seconds(60));
  for (char byte = 0; connection.read(&byte, 1) == 1;) ASSERT_EQ(send(ends[1], "P", 1, 0), 1);
  EXPECT_EQ(connection.problem().status, 408);
}

}  // namespace

}  // namespace fliprugair::controlhost
