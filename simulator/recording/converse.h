// How a call on an open handle is described.
#pragma once

#include "simulator/recording/transcript.h"

namespace simulator::recording {

/// Runs `behind()`, or answers from a recording, and returns the call's result. `asked()` gives the arguments
/// as JSON, `description(answer, failed)` the answer beside the result. `failure` is FALSE for a call that
/// returns a BOOL, and an error number for one that returns such.
template <class Result, class Asked, class Behind, class Description>
Result converse(const char* call, const void* handle, Result failure, Asked asked, Behind behind,
                Description description) {
  Transcript* transcript = Transcript::current();
  const std::uint64_t number = transcript ? transcript->numberOf(handle) : 0;
  if (number == 0) return behind();
  Json arguments{{"handle", number}};
  arguments.update(asked());
  Result result = failure;
  const auto describe = [&](Answer& answer) {
    answer.number("result", result);
    const bool failed = (failure == Result{}) == (result == Result{});
    answer.setFailed(failed);
    description(answer, failed);
  };
  const bool held = transcript->hold(
      call, std::move(arguments), [&] { result = behind(); }, describe);
  return held ? result : failure;
}

/// Closes a handle, in whichever way its kind is closed.
template <class Result, class Closed>
Result close(const char* call, Closed handle, Result failure, Result (*behind)(Closed)) {
  const auto done = [&](Answer&, bool failed) {
    if (!failed) Transcript::current()->closed(handle);
  };
  return converse(
      call, handle, failure, [] { return Json::object(); }, [&] { return behind(handle); }, done);
}

}  // namespace simulator::recording
