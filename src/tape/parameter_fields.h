#pragma once

#include <cstddef>
#include <cstdint>

// Where the parameters stand in the mode data: a 4-byte header, then the page, or the block descriptor where
// it was asked for.
inline constexpr std::size_t DEVICE_SPECIFIC = 2;
inline constexpr std::size_t BLOCK_DESCRIPTOR_LENGTH = 3;
inline constexpr std::size_t BLOCK_LENGTH = 9;
inline constexpr std::size_t COMPRESSION_ENABLE = 6;
inline constexpr std::size_t COMPRESSION_ALGORITHM = 18;
inline constexpr std::size_t DATA_SAFE_MODE = 9;
inline constexpr std::size_t VENDOR_FLAGS = 8;
inline constexpr std::size_t IDLE_C_ENABLE = 7;
inline constexpr std::size_t IDLE_C_TIMER = 20;

inline constexpr std::size_t MODE_HEADER = 4;
inline constexpr std::size_t BLOCK_DESCRIPTOR = 8;

inline constexpr std::uint8_t BUFFERED_MODE = 0x10;
inline constexpr std::uint8_t BUFFERED_MODE_MASK = 0x70;
inline constexpr std::uint8_t COMPRESSION_BIT = 0x80;
inline constexpr std::uint8_t IDLE_C_BIT = 0x08;
inline constexpr std::uint8_t SKIP_SYNC_BIT = 0x01;
inline constexpr std::uint8_t UNTHREAD_BIT = 0x02;
inline constexpr std::uint8_t DATA_SAFE_BIT = 0x10;
inline constexpr std::uint8_t DATA_SAFE_MASK = 0xF0;

/// The timers of the power condition page count in tenths of a second.
inline constexpr std::uint32_t TIMER_UNITS = 10;
