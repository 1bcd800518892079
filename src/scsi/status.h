// SCSI status codes (SAM-5), as far as they mean something here.
#pragma once

#include <cstdint>

inline constexpr std::uint8_t STATUS_GOOD = 0x00;
inline constexpr std::uint8_t STATUS_BUSY = 0x08;
inline constexpr std::uint8_t STATUS_RESERVATION_CONFLICT = 0x18;
inline constexpr std::uint8_t STATUS_TASK_SET_FULL = 0x28;
