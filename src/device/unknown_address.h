// The parts of a target's address that nobody has told yet.
#pragma once

#include <cstdint>

inline constexpr std::uint8_t UNKNOWN_NUMBER = 0xFF;     ///< of a host adapter or bus
inline constexpr std::uint64_t UNKNOWN_ID = 0xFFFFFFFF;  ///< a target id or LUN
