// How long work takes, and against what.
#pragma once

#include <algorithm>
#include <ctime>

/// Seconds of this process's processor time that one run takes: the shortest of some, as the rest is noise.
template <typename Work>
double secondsOf(Work&& work, int runs = 9) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  double shortest = 1e9;
  for (int i = 0; i < runs; ++i) {
    const double start = now();
    work();
    shortest = std::min(shortest, now() - start);
  }
  return shortest;
}

/// Keeps the compiler from leaving out what nobody looks at.
template <typename Value>
void keep(const Value& value) {
  asm volatile("" : : "g"(&value) : "memory");
}
