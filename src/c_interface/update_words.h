// The sentences that an update ends with.
#pragma once

#include <cstdint>
#include <string>

#include "c_interface/outcome.h"

/// A step of the library that did not succeed.
struct FailedStep {
  kiv_phase phase;
  int result;  ///< FW_ result code
  Outcome outcome;
  std::uint32_t chunk;  ///< that was refused, from 1; 0 for none
  std::uint32_t chunks;
};
Failure stepFailure(const FailedStep& step);

Failure notBackInTime(std::uint32_t seconds);
Failure notAnswering();
Failure levelNotReached(const std::string& level, const std::string& wanted);

/// What a drive runs now, after a failure.
std::string levelText(const kiv_update_result& result);
