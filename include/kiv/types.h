#pragma once

#include <cstdint>

// Windows' `unsigned long`: 32 bits. Elsewhere that type may have 64, so another of the same width stands in.
#ifdef _WIN32
using ulong32 = unsigned long;
#else
using ulong32 = std::uint32_t;
#endif
static_assert(sizeof(ulong32) == 4);
