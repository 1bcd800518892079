// Handles that stand for nothing of Windows' own lie where it never puts any: only the low 32 bits of its own
// carry a value. What hands out such handles has a mark of its own in the high bits.
#pragma once

#include <cstdint>

namespace simulator {

constexpr std::uintptr_t handleMarkBits = 0xFFFF'0000'0000'0000;
constexpr std::uintptr_t roomHandleMark = 0x51A7'0000'0000'0000;
constexpr std::uintptr_t replayedHandleMark = 0x51A8'0000'0000'0000;

}  // namespace simulator
