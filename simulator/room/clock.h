// The time in a room.
#pragma once

#include <cstdint>
#include <optional>

namespace simulator {

/// Virtual time. It starts at a fixed moment and moves only when something is waited for.
class Clock {
 public:
  static constexpr std::int64_t start = 1'700'000'000;  ///< 2023-11-14 22:13:20 UTC

  /// Seconds since 1970.
  std::int64_t seconds() const { return now_ / 1000; }
  /// Milliseconds since 1970.
  std::int64_t milliseconds() const { return now_; }
  /// Milliseconds that passed in this room.
  std::int64_t elapsed() const { return now_ - start * 1000; }
  void advance(std::int64_t milliseconds);

  /// How much of the simulated time really passes: 0 nothing (tests), 1 all of it, 0.1 a tenth.
  void setRealTimeFactor(double factor) { realTimeFactor_ = factor; }
  /// Whether it was said how much.
  bool isPaced() const { return realTimeFactor_.has_value(); }

 private:
  std::int64_t now_ = start * 1000;
  std::optional<double> realTimeFactor_;
};

}  // namespace simulator
