#include <gtest/gtest.h>

#include "tools/controlhost/EventStream.h"

namespace fliprugair::controlhost {

namespace {

/// Who reads a stream and keeps what it is told.
class Follower {
 public:
  explicit Follower(Reception& reception) : stream_(reception, 0) {}

  void read() {
    std::istringstream text(stream_.next().value_or(""));
    for (std::string line; std::getline(text, line);) {
      if (line == "event: cleared") shown_.clear();
      if (line.starts_with("id: ")) shown_.push_back(std::stoll(line.substr(4)));
    }
  }

  const std::vector<std::int64_t>& shown() const { return shown_; }

 private:
  EventStream stream_;
  std::vector<std::int64_t> shown_;
};

std::vector<std::int64_t> keptBy(Reception& reception) {
  std::vector<std::int64_t> ids;
  for (const RequestPointer& request : reception.log().requests()) ids.push_back(request->id);
  return ids;
}

TEST(EventStream, WhoFollowsIsLeftWithWhatIsKeptHoweverOftenItIsCleared) {
  Reception reception(
      {100000, [] { return HostSettings(); }, [](const ReceivedRequest&) {}, [](const std::string&) {}, [] {}, ""});
  const HttpRequest request{"POST", "/marlune/v4", "/marlune/v4", {}, {}, R"({"action":"init"})", ""};
  Follower follower(reception);
  std::atomic<bool> sending = true;
  std::thread clearer([&] {
    while (sending) reception.clear();
  });
  std::thread sender([&] {
    for (int number = 0; number < 300; ++number) reception.receive(request);
    sending = false;
  });
  while (sending) follower.read();
  sender.join();
  clearer.join();
  reception.receive(request);
  while (follower.shown().empty() || follower.shown().back() != reception.log().last()) follower.read();
  EXPECT_EQ(follower.shown(), keptBy(reception));
}

}  // namespace

}  // namespace fliprugair::controlhost
