// Nothing is thrown out of an exported operation: its body runs under a guard.
#pragma once

#include <cxxabi.h>

#include <exception>
#include <new>
#include <utility>

#include "frame/shortage.h"
#include "kiv/frame/logger.h"

/// A thread's first exception takes memory for the thread's record of exceptions, and ends the process where
/// there is none. Whoever comes in from outside takes it here, while there is some.
inline void prepareForExceptions() noexcept {
  [[maybe_unused]] abi::__cxa_eh_globals* const volatile record = abi::__cxa_get_globals();
}

/// Runs an operation; running out of memory becomes its result.
template <typename Result, typename Operation>
Result guarded(Result outOfMemory, Operation&& operation) {
  try {
    return std::forward<Operation>(operation)();
  } catch (const std::bad_alloc&) {
    ++shortages;
    return outOfMemory;
  }
}

/// The same for an operation without a result: it is left undone.
template <typename Operation>
void guarded(Operation&& operation) {
  try {
    std::forward<Operation>(operation)();
  } catch (const std::bad_alloc&) {
    ++shortages;
  }
}

/// The same for telling something, on which no answer depends: what memory does not suffice for is not told.
template <typename Telling>
bool told(Telling&& telling) {
  try {
    return std::forward<Telling>(telling)();
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// The same at the roof, where nobody above could tell what happened: it is logged, and whatever else is
/// thrown ends here too and becomes `failure`.
template <typename Operation>
int guardedAtRoof(int outOfMemory, int failure, Operation&& operation) noexcept {
  const auto report = [](const char* what) noexcept {
    try {
      logger->logError("MAIN", 0, "Operation abandoned: %s", what);
    } catch (...) {
      // Without memory for the log line there is nothing left to tell it with.
    }
  };
  prepareForExceptions();
  try {
    return std::forward<Operation>(operation)();
  } catch (const std::bad_alloc&) {
    ++shortages;
    report("out of memory (FW_NO_MEMORY)");
    return outOfMemory;
  } catch (const std::exception& error) {
    report(error.what());
  } catch (...) {
    report("unknown exception");
  }
  return failure;
}
