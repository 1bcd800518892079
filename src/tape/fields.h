// Single fields of a CDB or a parameter list, by byte offset. What falls outside the buffer is dropped, so a
// command stays safe to patch after its buffers were resized or could not be had.
#pragma once

#include "scsi/cdb.h"

/// Sets or clears one bit and leaves the others alone.
constexpr void writeFlag(std::span<std::uint8_t> data, std::size_t offset, std::uint8_t bit, bool on) {
  writeBits(data, offset, bit, on ? bit : 0u);
}

constexpr bool hasFlag(std::span<const std::uint8_t> data, std::size_t offset, std::uint8_t bit) {
  return (readByte(data, offset) & bit) != 0;
}
