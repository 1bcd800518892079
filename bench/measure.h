// How long work takes, and against what.
#pragma once

#include <algorithm>
#include <ctime>
#include <vector>

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

/// How much longer the work takes than its floor: the median of runs in pairs, so that both meet the same
/// machine and an outlier on either side does not count.
template <typename Work, typename Floor>
double ratioOf(Work&& work, Floor&& floor, int pairs) {
  std::vector<double> ratios;
  for (int i = 0; i < pairs; ++i) {
    const double floorSeconds = secondsOf(floor);
    ratios.push_back(secondsOf(work) / floorSeconds);
  }
  std::ranges::nth_element(ratios, ratios.begin() + pairs / 2);
  return ratios[static_cast<std::size_t>(pairs) / 2];
}

/// Keeps the compiler from leaving out what nobody looks at.
template <typename Value>
void keep(const Value& value) {
  asm volatile("" : : "g"(&value) : "memory");
}
