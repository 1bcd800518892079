// Counts what the code under measurement allocates.
#pragma once

#include <cstddef>

/// Calls of operator new in this process so far.
std::size_t allocationCount();
