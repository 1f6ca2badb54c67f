#include "tools/controlhost/EventStream.h"

#include <string_view>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t mostAtOnce = 100;
constexpr std::chrono::milliseconds devicesInterval{250};
constexpr std::chrono::seconds heartbeat{15};
constexpr std::chrono::milliseconds patience{500};

std::string event(std::string_view name, const Value& data, std::int64_t id = 0) {
  std::string text = "event: " + std::string(name) + '\n';
  if (id > 0) text += "id: " + std::to_string(id) + '\n';
  return text + "data: " + RapidJSONSerialization().textOfAny(data) + "\n\n";
}

}  // namespace

EventStream::EventStream(Reception& reception, std::int64_t since, Match match)
    : reception_(reception),
      begin_(since),
      since_(since),
      match_(std::move(match)),
      notice_(reception.lastNotice()),
      deviceChange_(since == reception.log().last() ? reception.devices().change() : 0) {}

std::optional<std::string> EventStream::next() {
  if (reception_.log().hasEnded()) return std::nullopt;
  std::string text;
  if (!hasGreeted_) {
    hasGreeted_ = true;
    text = greeting();
  } else {
    const bool devicesWait = reception_.devices().change() > deviceChange_;
    change_ = reception_.log().waitForChange(change_, devicesWait ? devicesInterval : patience);
  }
  const Reception::News news = reception_.news(notice_, since_, mostAtOnce);
  if (news.isComplete) {
    text += told(news.notices);
    text += told(news.requests, news.dropped);
  } else {
    text += toldAnew();
  }
  text += devices();
  const auto now = std::chrono::steady_clock::now();
  if (text.empty() && now - told_ >= heartbeat) text = ": still here\n\n";
  if (!text.empty()) told_ = now;
  return text;
}

std::string EventStream::greeting() const {
  const RequestLog& log = reception_.log();
  return event("hello", Value{{"version", FLIPRUGAIR_VERSION},
                              {"run", reception_.run()},
                              {"capacity", static_cast<std::int64_t>(reception_.capacity())},
                              {"first", log.first()},
                              {"last", log.last()},
                              {"total", log.last()},
                              {"erasures", reception_.erasures()},
                              {"paused", reception_.isPaused()}});
}

/// Begins again, and says what holds.
std::string EventStream::toldAnew() {
  notice_ = reception_.lastNotice();
  since_ = begin_;
  deviceChange_ = 0;
  change_ = 0;  // the requests follow at once
  return event("cleared", Value{{"erasures", reception_.erasures()}}) + event("answers", reception_.answers().json()) +
         event("faults", reception_.faults().json()) + event("paused", Value{{"paused", reception_.isPaused()}});
}

std::string EventStream::told(const std::vector<Reception::Notice>& notices) {
  std::string text;
  for (const Reception::Notice& notice : notices) {
    text += event(notice.event, notice.data());
    notice_ = notice.number;
    // A device that has come again since may have been told of before this.
    if (notice.event == "cleared" || notice.event == "forgotten") deviceChange_ = 0;
  }
  return text;
}

std::string EventStream::told(const std::vector<RequestPointer>& requests, std::int64_t dropped) {
  std::string text;
  if (!requests.empty() && since_ > 0 && dropped > since_) {
    text += event("missed", Value{{"from", since_ + 1}, {"to", dropped}});
  }
  for (const RequestPointer& request : requests) {
    if (match_.holds(*request)) text += event("request", newsOf(*request), request->id);
    since_ = request->id;
  }
  if (requests.size() == mostAtOnce) change_ = 0;  // there is more at once
  return text;
}

std::string EventStream::devices() {
  const auto now = std::chrono::steady_clock::now();
  if (reception_.devices().change() <= deviceChange_ || now - devicesTold_ < devicesInterval) return "";
  const std::int64_t before = deviceChange_;
  deviceChange_ = reception_.devices().change();
  devicesTold_ = now;
  const Array changed = reception_.devices().json(before);
  return changed.empty() ? "" : event("devices", Value{{"devices", changed}});
}

}  // namespace fliprugair::controlhost
