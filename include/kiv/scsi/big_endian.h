#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// @file
/// Numbers as SCSI holds them.

/// A big-endian unsigned number of `Width` bytes, as CDBs, parameter lists and data-in hold it. Alignment 1,
/// so that wire structures can be made of it; a field of this type cannot be read unswapped.
template <std::size_t Width, typename Value>
struct BigEndian {
  static_assert(Width <= sizeof(Value));
  std::array<std::uint8_t, Width> bytes{};  ///< most significant first

  constexpr BigEndian() = default;
  /// Keeps the low `Width` bytes of the number.
  constexpr BigEndian(Value value) {
    for (std::size_t i = Width; i-- > 0; value = static_cast<Value>(value >> 8))
      bytes[i] = static_cast<std::uint8_t>(value);
  }
  /// The number in the processor's own order.
  constexpr operator Value() const {
    std::uint64_t value = 0;
    for (std::uint8_t byte : bytes) value = value << 8 | byte;
    return static_cast<Value>(value);
  }
};

///@{
/// The big-endian numbers of the standards, by their bits.
using Be16 = BigEndian<2, std::uint16_t>;
using Be24 = BigEndian<3, std::uint32_t>;
using Be32 = BigEndian<4, std::uint32_t>;
using Be56 = BigEndian<7, std::uint64_t>;
using Be64 = BigEndian<8, std::uint64_t>;
///@}
static_assert(sizeof(Be16) == 2 && sizeof(Be24) == 3 && sizeof(Be32) == 4 && sizeof(Be64) == 8 &&
              alignof(Be64) == 1);

/// The byte at `offset`; 0 outside `data`.
constexpr std::uint8_t readByte(std::span<const std::uint8_t> data, std::size_t offset) {
  return offset < data.size() ? data[offset] : std::uint8_t{0};
}

/// The big-endian number of `width` bytes at `offset`; bytes outside `data` count as 0, and of more than
/// eight bytes the last eight remain.
constexpr std::uint64_t readBigEndian(std::span<const std::uint8_t> data, std::size_t offset,
                                      std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | readByte(data, offset + i);
  return value;
}

///@{
/// The big-endian number at `offset`; bytes outside `data` count as 0.
constexpr std::uint16_t readBe16(std::span<const std::uint8_t> data, std::size_t offset) {
  return static_cast<std::uint16_t>(readBigEndian(data, offset, 2));
}
constexpr std::uint32_t readBe24(std::span<const std::uint8_t> data, std::size_t offset) {
  return static_cast<std::uint32_t>(readBigEndian(data, offset, 3));
}
constexpr std::uint32_t readBe32(std::span<const std::uint8_t> data, std::size_t offset) {
  return static_cast<std::uint32_t>(readBigEndian(data, offset, 4));
}
constexpr std::uint64_t readBe64(std::span<const std::uint8_t> data, std::size_t offset) {
  return readBigEndian(data, offset, 8);
}
///@}

/// Writes the low `width` bytes of `value` big-endian at `offset`; bytes that fall outside `data` are
/// dropped.
constexpr void writeBigEndian(std::span<std::uint8_t> data, std::size_t offset, std::size_t width,
                              std::uint64_t value) {
  for (std::size_t i = width; i-- > 0; value >>= 8) {
    if (offset + i < data.size()) data[offset + i] = static_cast<std::uint8_t>(value);
  }
}
