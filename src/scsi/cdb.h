#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>

#include "kiv/scsi/big_endian.h"

// Operation codes (SPC-4).
inline constexpr std::uint8_t TEST_UNIT_READY = 0x00;
inline constexpr std::uint8_t REQUEST_SENSE = 0x03;
inline constexpr std::uint8_t INQUIRY = 0x12;
inline constexpr std::uint8_t MODE_SELECT_6 = 0x15;
inline constexpr std::uint8_t MODE_SENSE_6 = 0x1A;
inline constexpr std::uint8_t RECEIVE_DIAGNOSTIC_RESULTS = 0x1C;
inline constexpr std::uint8_t SEND_DIAGNOSTIC = 0x1D;
inline constexpr std::uint8_t READ_CAPACITY_10 = 0x25;
inline constexpr std::uint8_t WRITE_BUFFER = 0x3B;
inline constexpr std::uint8_t READ_BUFFER = 0x3C;
inline constexpr std::uint8_t LOG_SENSE = 0x4D;
inline constexpr std::uint8_t REPORT_LUNS = 0xA0;

template <std::integral Byte>
constexpr std::size_t fieldWidth(Byte) {
  return 1;
}
template <std::size_t Width, typename Value>
constexpr std::size_t fieldWidth(BigEndian<Width, Value>) {
  return Width;
}

/// Writes a CDB field by field, in the order of its table in the standard: a plain number is one byte, a
/// big-endian number takes its width. The fields together must fill a CDB.
template <typename... Fields>
constexpr void writeCdb(std::span<std::uint8_t> cdb, Fields... fields) {
  constexpr std::size_t length = (fieldWidth(Fields{}) + ...);
  static_assert(length == 6 || length == 10 || length == 12 || length == 16);
  std::size_t offset = 0;
  ((writeBigEndian(cdb, offset, fieldWidth(fields), static_cast<std::uint64_t>(fields)),
    offset += fieldWidth(fields)),
   ...);
}

/// Writes the byte at `offset`; does nothing outside `data`.
constexpr void writeByte(std::span<std::uint8_t> data, std::size_t offset, unsigned int value) {
  writeBigEndian(data, offset, 1, value);
}

/// Replaces the bits of `mask` in the byte at `offset` by those of `bits`; does nothing outside `data`.
constexpr void writeBits(std::span<std::uint8_t> data, std::size_t offset, std::uint8_t mask,
                         unsigned int bits) {
  if (offset >= data.size()) return;
  const unsigned int kept = data[offset] & ~static_cast<unsigned int>(mask);
  data[offset] = static_cast<std::uint8_t>(kept | (bits & mask));
}
