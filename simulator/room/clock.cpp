#include "simulator/room/clock.h"

#include <chrono>
#include <thread>

namespace simulator {

void Clock::advance(std::int64_t milliseconds) {
  now_ += milliseconds;
  if (realTimeFactor_.value_or(0) <= 0) return;
  std::this_thread::sleep_for(
      std::chrono::duration<double, std::milli>(static_cast<double>(milliseconds) * *realTimeFactor_));
}

}  // namespace simulator
