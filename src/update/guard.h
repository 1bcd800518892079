// Exceptions end here.
#pragma once

#include <exception>
#include <new>

#include "kiv/frame/logger.h"
#include "kiv/kiv.h"

/// Runs an operation of the library. Lack of memory becomes FW_NO_MEMORY, anything else that is thrown
/// becomes `failure`; both are logged.
template <typename Operation>
int withoutExceptions(int failure, Operation operation) noexcept {
  const auto report = [](const char* what) noexcept {
    try {
      logger->logError("MAIN", 0, "Operation abandoned: %s", what);
    } catch (...) {
      // Without memory for the log line there is nothing left to tell it with.
    }
  };
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    report("out of memory (FW_NO_MEMORY)");
    return FW_NO_MEMORY;
  } catch (const std::exception& error) {
    report(error.what());
  } catch (...) {
    report("unknown exception");
  }
  return failure;
}
