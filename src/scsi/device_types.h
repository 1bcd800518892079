// Peripheral device types (SPC-4, INQUIRY byte 0), as far as they mean something here.
#pragma once

#include <cstdint>

/// The type in that byte; the peripheral qualifier stands above it.
inline constexpr std::uint8_t DEVICE_TYPE_MASK = 0x1F;

inline constexpr std::uint8_t DIRECT_ACCESS_DEVICE = 0x00;
inline constexpr std::uint8_t SEQUENTIAL_ACCESS_DEVICE = 0x01;
inline constexpr std::uint8_t WRITE_ONCE_DEVICE = 0x04;
inline constexpr std::uint8_t CD_DVD_DEVICE = 0x05;
inline constexpr std::uint8_t MEDIUM_CHANGER = 0x08;
