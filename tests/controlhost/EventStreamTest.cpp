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
      if (line.starts_with("event: ")) events_.push_back(line.substr(7));
      if (line.starts_with("data: ") && events_.back() == "missed") missed_ += line.substr(6);
    }
  }

  const std::vector<std::int64_t>& shown() const { return shown_; }
  bool wasTold(const std::string& event) const { return std::ranges::count(events_, event) > 0; }
  const std::string& missed() const { return missed_; }

 private:
  EventStream stream_;
  std::vector<std::int64_t> shown_;
  std::vector<std::string> events_;
  std::string missed_;
};

Reception::Options keeping(std::size_t capacity) {
  return {capacity, [] { return HostSettings(); }, [](const ReceivedRequest&) {}, [](const std::string&) {}, [] {}, ""};
}

HttpRequest requestOf(const std::string& device) {
  const std::string body = R"({"action":"init","marlune_device_id":")" + device + "\"}";
  return {"POST", "/marlune/v4", "/marlune/v4", {}, {}, body, ""};
}

std::vector<std::int64_t> keptBy(Reception& reception) {
  std::vector<std::int64_t> ids;
  for (const RequestPointer& request : reception.log().requests()) ids.push_back(request->id);
  return ids;
}

TEST(EventStream, WhoFollowsIsLeftWithWhatIsKeptHoweverOftenItIsCleared) {
  Reception reception(keeping(100000));
  const HttpRequest request = requestOf("MI1");
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

TEST(EventStream, WhoReadsSlowlyIsToldAnewWhenMoreWasAnnouncedThanIsKept) {
  Reception reception(keeping(10));
  reception.receive(requestOf("MI1"));
  reception.receive(requestOf("MI2"));
  Follower follower(reception);
  follower.read();
  EXPECT_EQ(follower.shown(), (std::vector<std::int64_t>{1, 2}));
  reception.forget("MI1");
  reception.setPaused(true);
  for (int number = 0; number < 200; ++number) reception.announceFaults();
  follower.read();
  EXPECT_TRUE(follower.wasTold("paused"));
  EXPECT_TRUE(follower.wasTold("answers"));
  follower.read();
  EXPECT_EQ(follower.shown(), (std::vector<std::int64_t>{2}));
}

TEST(EventStream, WhatMadeRoomWasMissed) {
  Reception reception(keeping(2));
  reception.receive(requestOf("MI1"));
  Follower follower(reception);
  follower.read();
  for (int number = 0; number < 4; ++number) reception.receive(requestOf("MI1"));
  follower.read();
  EXPECT_EQ(follower.missed(), R"({"from":2,"to":3})");
  EXPECT_EQ(follower.shown(), (std::vector<std::int64_t>{1, 4, 5}));
}

TEST(EventStream, WhatWasForgottenOrClearedWasNotMissed) {
  Reception reception(keeping(10));
  reception.receive(requestOf("MI1"));
  Follower follower(reception);
  follower.read();
  reception.receive(requestOf("MI2"));
  reception.forget("MI2");
  reception.receive(requestOf("MI1"));
  follower.read();
  reception.receive(requestOf("MI1"));
  reception.clear();
  reception.receive(requestOf("MI1"));
  follower.read();
  EXPECT_EQ(follower.shown(), (std::vector<std::int64_t>{5}));
  EXPECT_EQ(follower.missed(), "");
}

}  // namespace

}  // namespace fliprugair::controlhost
