// The edge of the C interface: one call at a time, and nothing is thrown across it.
#pragma once

#include <cstdint>

#include "c_interface/failure.h"

/// Held while a call of the host runs; false when another one was running already, in this thread or another.
class RunningCall {
 public:
  RunningCall();
  ~RunningCall();
  RunningCall(const RunningCall&) = delete;
  RunningCall& operator=(const RunningCall&) = delete;
  explicit operator bool() const { return mine; }

 private:
  bool mine;
};

/// Keeps what is being thrown for kiv_last_error(), and returns it.
const kiv_error& keepThrown() noexcept;
/// The same for a failure that is told in a structure of the host, too.
std::int32_t keepFailure(const Failure& failure) noexcept;

/// Runs one call of the host. Work that throws has failed.
template <typename Work>
std::int32_t runCall(Work work) noexcept {
  const RunningCall call;
  // The last error belongs to the call that runs.
  if (!call) return KIV_CALL_RUNNING;
  try {
    work();
    return KIV_OK;
  } catch (...) {
    return keepThrown().result;
  }
}

/// The same for a call that answers with a value; `refused` while another one runs, and when work throws.
template <typename Value, typename Work>
Value answerCall(Value refused, Work work) noexcept {
  const RunningCall call;
  if (!call) return refused;
  try {
    return work();
  } catch (...) {
    keepThrown();
    return refused;
  }
}
