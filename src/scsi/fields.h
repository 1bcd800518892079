#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kiv/scsi/big_endian.h"

// Fields of one byte or less, by the offset of their byte. What falls outside the buffer is dropped, or reads
// as 0: a command stays safe to change after its buffers were resized or could not be had.

constexpr void writeByte(std::span<std::uint8_t> data, std::size_t offset, unsigned int value) {
  writeBigEndian(data, offset, 1, value);
}

/// Replaces the bits of `mask` by those of `bits`.
constexpr void writeBits(std::span<std::uint8_t> data, std::size_t offset, std::uint8_t mask,
                         unsigned int bits) {
  if (offset >= data.size()) return;
  const unsigned int kept = data[offset] & ~static_cast<unsigned int>(mask);
  data[offset] = static_cast<std::uint8_t>(kept | (bits & mask));
}

/// Sets or clears one bit and leaves the others alone.
constexpr void writeFlag(std::span<std::uint8_t> data, std::size_t offset, std::uint8_t bit, bool on) {
  writeBits(data, offset, bit, on ? bit : 0u);
}

constexpr bool hasFlag(std::span<const std::uint8_t> data, std::size_t offset, std::uint8_t bit) {
  return (readByte(data, offset) & bit) != 0;
}
