#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kiv/scsi/big_endian.h"
#include "scsi/fields.h"
#include "scsi/operation_codes.h"

template <typename Byte>
requires(std::is_integral_v<Byte> || std::is_enum_v<Byte>) constexpr std::size_t fieldWidth(Byte) {
  return 1;
}
template <std::size_t Width, typename Value>
constexpr std::size_t fieldWidth(BigEndian<Width, Value>) {
  return Width;
}

/// The bytes of a parameter list, field by field in the order of its table in the standard: a plain number is
/// one byte, its low one; a big-endian number takes its width.
template <typename... Fields>
constexpr auto bytesOf(Fields... fields) {
  std::array<std::uint8_t, (fieldWidth(Fields{}) + ...)> bytes{};
  std::size_t offset = 0;
  ((writeBigEndian(bytes, offset, fieldWidth(fields), static_cast<std::uint64_t>(fields)),
    offset += fieldWidth(fields)),
   ...);
  return bytes;
}

/// The bytes of a CDB in the same way. The fields together must fill it.
template <typename... Fields>
constexpr auto cdbOf(OperationCode code, Fields... fields) {
  const auto bytes = bytesOf(code, fields...);
  static_assert(bytes.size() == 6 || bytes.size() == 10 || bytes.size() == 12 || bytes.size() == 16);
  return bytes;
}
