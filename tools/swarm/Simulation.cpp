#include "tools/swarm/Simulation.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <thread>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/swarm/SwarmDevice.h"

namespace fliprugair::swarm {

namespace {

/// One thread's share of a fleet.
class Share final : public SwarmDevice::Network {
 public:
  Share(const Fleet& fleet, const SimulationOptions& options, const HostModel& host, std::size_t share)
      : fleet_(fleet), threads_(options.threads), host_(host) {
    for (std::size_t number = share; number < options.devices; number += threads_) {
      lives_.emplace_back(fleet, static_cast<std::uint32_t>(number), *this);
    }
  }

  /// Lets all devices live through [begin, end).
  void live(Time begin, Time end) {
    begin_ = begin;
    traffic_ = Traffic();
    requestsBySecond_.assign(static_cast<std::size_t>((end - begin + second - 1) / second), 0);
    for (Life& life : lives_) {
      while (life.due() < end) life.step();
    }
  }

  const Traffic& traffic() const { return traffic_; }
  const std::vector<std::uint32_t>& requestsBySecond() const { return requestsBySecond_; }

  std::uint64_t waitingRequests() const {
    std::uint64_t waiting = 0;
    for (const Life& life : lives_) waiting += life.device.waitingRequests();
    return waiting;
  }

  Records records() const {
    Records records;
    for (const Life& life : lives_) records += life.device.records();
    return records;
  }

  void send(SwarmDevice& device, std::uint64_t request, const Value& sent) override {
    const Time now = device.now();
    const std::string text = json_.textOfAny(sent);
    const Value payload = json_.value(text).value_or(sent);  // read once, for it is looked into more than once
    const Random chance(Random::mixed(fleet_.seed + device.number(), request));
    HostModel::Answer answer = host_.answer(now, payload, chance);
    traffic_.add(payload, text.size());
    if (!answer.isAnswered) ++traffic_.failed;
    ++requestsBySecond_[static_cast<std::size_t>((now - begin_) / second)];
    if (answer.arrives) device.noteArrival(payload);
    lives_[device.number() / threads_].add({now + answer.after, request, answer.isAnswered, payload, answer.reply});
  }

 private:
  /// How a request that is under way will end.
  struct Ending {
    Time at;
    std::uint64_t request;
    bool isAnswered;
    Value payload;
    Value reply;
  };

  struct Life {
    Life(const Fleet& fleet, std::uint32_t number, Share& share) : device(fleet, number, share) {}

    Time due() const { return endings.empty() ? device.due() : std::min(endings.front().at, device.due()); }

    void step() {
      device.live(due());
      while (!endings.empty() && endings.front().at <= device.now()) {
        const Ending ending = std::move(endings.front());
        endings.erase(endings.begin());
        if (ending.isAnswered) {
          device.answer(ending.request, ending.payload, ending.reply);
        } else {
          device.fail(ending.request);
        }
      }
    }

    void add(Ending ending) {
      const auto later = std::ranges::upper_bound(endings, ending.at, {}, &Ending::at);
      endings.insert(later, std::move(ending));
    }

    SwarmDevice device;
    std::vector<Ending> endings;  ///< the earliest first
  };

  const Fleet& fleet_;
  const std::size_t threads_;
  const HostModel& host_;
  const RapidJSONSerialization json_;
  std::deque<Life> lives_;
  Time begin_ = 0;
  Traffic traffic_;
  std::vector<std::uint32_t> requestsBySecond_;  ///< since begin_
};

using Shares = std::vector<std::unique_ptr<Share>>;

SimulationRow sum(const Shares& shares, Time begin) {
  SimulationRow row;
  row.begin = begin;
  std::vector<std::uint64_t> requests(shares.front()->requestsBySecond().size());
  for (const auto& share : shares) {
    row.traffic += share->traffic();
    row.waitingRequests += share->waitingRequests();
    for (std::size_t index = 0; index < requests.size(); ++index) requests[index] += share->requestsBySecond()[index];
  }
  row.busiestSecond = *std::ranges::max_element(requests);
  return row;
}

}  // namespace

SimulationReport runSimulation(const Fleet& fleet, const SimulationOptions& options,
                               const std::function<bool(const SimulationRow&)>& tick) {
  const HostModel host(options.host);
  Shares shares;
  for (std::size_t number = 0; number < options.threads; ++number) {
    shares.push_back(std::make_unique<Share>(fleet, options, host, number));
  }
  SimulationReport report;
  for (Time begin = 0; begin < options.length; begin += options.step) {
    const Time end = std::min(begin + options.step, options.length);
    std::vector<std::jthread> threads;
    for (const auto& share : shares) threads.emplace_back([&, begin] { share->live(begin, end); });
    threads.clear();
    report.rows.push_back(sum(shares, begin));
    if (!tick(report.rows.back())) break;
  }
  for (const auto& share : shares) report.records += share->records();
  return report;
}

std::string csv(const SimulationReport& report) {
  std::string text = "hour,requests";
  for (const std::string_view kind : requestKinds) text += "," + std::string(kind);
  text += ",failed,records,bytes,busiest_second,waiting_requests\n";
  for (const SimulationRow& row : report.rows) {
    text += std::to_string(inSeconds(row.begin) / 3600);
    text += "," + std::to_string(row.traffic.allRequests());
    for (const std::uint64_t number : row.traffic.requests) text += "," + std::to_string(number);
    for (const std::uint64_t number :
         {row.traffic.failed, row.traffic.records, row.traffic.bytes, row.busiestSecond, row.waitingRequests}) {
      text += "," + std::to_string(number);
    }
    text += '\n';
  }
  return text;
}

}  // namespace fliprugair::swarm
