#pragma once

#include <atomic>
#include <cstddef>

namespace fliprugair::controlhost {

/// The memory for all bodies that are being received or answered at one time, so that many long ones, or slow ones, do
/// not take all that there is. Short ones have room beside them always. Any thread.
class BodyRoom {
 public:
  static constexpr std::size_t size = std::size_t{64} * 1024 * 1024;
  /// As much of each body is not counted.
  static constexpr std::size_t free = std::size_t{64} * 1024;

  /// What one body has of it. Used by one thread.
  class Share {
   public:
    explicit Share(BodyRoom& room) : room_(room) {}
    ~Share() { giveBack(); }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

    /// For so many bytes more. False when there is no room for them; then it is as before.
    bool take(std::size_t bytes);
    void giveBack();

   private:
    BodyRoom& room_;
    std::size_t bytes_ = 0;
    std::size_t counted_ = 0;
  };

 private:
  std::atomic<std::size_t> used_ = 0;
};

}  // namespace fliprugair::controlhost
