// How long work takes, and against what.
#pragma once

#include <algorithm>
#include <ctime>

/// Seconds of this process's processor time that one run takes.
template <typename Work>
double secondsOf(Work&& work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double start = now();
  work();
  return now() - start;
}

/// The shortest of some runs: the rest is noise.
template <typename Work>
double shortestOf(Work&& work, int runs) {
  double shortest = 1e9;
  for (int i = 0; i < runs; ++i) shortest = std::min(shortest, secondsOf(work));
  return shortest;
}

/// How much longer the work takes than its floor. Run by turns, so that both meet the same machine.
template <typename Work, typename Floor>
double ratioOf(Work&& work, Floor&& floor, int runs) {
  double shortestWork = 1e9;
  double shortestFloor = 1e9;
  for (int i = 0; i < runs; ++i) {
    shortestFloor = std::min(shortestFloor, secondsOf(floor));
    shortestWork = std::min(shortestWork, secondsOf(work));
  }
  return shortestWork / shortestFloor;
}

/// Keeps the compiler from leaving out what nobody looks at.
template <typename Value>
void keep(const Value& value) {
  asm volatile("" : : "g"(&value) : "memory");
}
