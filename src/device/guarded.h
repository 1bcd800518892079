// Nothing is thrown out of an exported operation.
#pragma once

#include <new>
#include <utility>

#include "kiv/scsi/command.h"

/// Runs an operation; running out of memory becomes its result.
template <typename Result, typename Operation>
Result guarded(Result outOfMemory, Operation&& operation) {
  try {
    return std::forward<Operation>(operation)();
  } catch (const std::bad_alloc&) {
    return outOfMemory;
  }
}

/// The same for an operation without a result: it is left undone.
template <typename Operation>
void guarded(Operation&& operation) {
  try {
    std::forward<Operation>(operation)();
  } catch (const std::bad_alloc&) {
  }
}
