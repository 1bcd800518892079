#pragma once

#include <stdexcept>
#include <string>

#include "kiv/kiv_c.h"

namespace host {

/// What keeps a command from doing its work: one sentence that says what to do, and the exit status.
struct HostError : std::runtime_error {
  HostError(int exitStatus, const std::string& sentence) : std::runtime_error(sentence), status(exitStatus) {}
  int status;
};

inline constexpr int exitUsage = KIV_BAD_ARGUMENT;
inline constexpr int exitUnforeseen = KIV_UNEXPECTED;
/// A recording that is damaged, or a replay that is not as recorded.
inline constexpr int exitRecording = 65;

/// The exit status for a result of the library: those that only a programmer can do something about are one.
inline int exitStatus(int result) {
  return result <= KIV_NOT_BACK_IN_TIME || result == exitUsage ? result : exitUnforeseen;
}

}  // namespace host
