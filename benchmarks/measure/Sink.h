#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace fliprugair::bench {

/// A control host that takes whatever comes, and counts it: the least that a host can do. A process of its own, so that
/// neither its time nor its memory is the measured one's; begun before the process has threads, ended with this.
class Sink {
 public:
  enum class Manner {
    answers,           ///< at once, {"success":1}
    answersTakesGzip,  ///< and says that it takes gzip
    keepsSilent,       ///< reads, and never answers
  };

  explicit Sink(Manner manner);
  ~Sink();
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  std::string hostname() const { return "127.0.0.1:" + std::to_string(port_); }

  std::uint64_t requests() const { return counts_->requests; }
  std::uint64_t batches() const { return counts_->batches; }  ///< of these: a list of records, as plain text
  std::uint64_t bytes() const { return counts_->bytes; }      ///< of heads and bodies

  /// Waits until so many requests, or batches, have come. Ends the run when that takes longer than a minute.
  void waitForRequests(std::uint64_t count) const { waitFor(counts_->requests, count); }
  void waitForBatches(std::uint64_t count) const { waitFor(counts_->batches, count); }

 private:
  struct Counts {
    std::atomic<std::uint64_t> requests = 0;
    std::atomic<std::uint64_t> batches = 0;
    std::atomic<std::uint64_t> bytes = 0;
  };

  static void waitFor(const std::atomic<std::uint64_t>& counter, std::uint64_t count);
  [[noreturn]] void serve(int listener, Manner manner);
  void converse(int connection, Manner manner);

  Counts* counts_;  ///< shared with the process
  std::uint16_t port_ = 0;
  pid_t process_ = 0;
};

}  // namespace fliprugair::bench
