// Sense keys and the sense data that mean something here (SPC-4 and SSC-4 additional sense codes).
#pragma once

#include <cstdint>
#include <span>

#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/command.h"

struct SenseTriple {
  std::uint8_t key;
  std::uint8_t asc;
  std::uint8_t ascq;
};

inline constexpr std::uint8_t RECOVERED_ERROR = 1;
inline constexpr std::uint8_t NOT_READY = 2;
inline constexpr std::uint8_t HARDWARE_ERROR = 4;
inline constexpr std::uint8_t ILLEGAL_REQUEST = 5;
inline constexpr std::uint8_t UNIT_ATTENTION = 6;

inline constexpr SenseTriple BECOMING_READY = {NOT_READY, 0x04, 0x01};
inline constexpr SenseTriple INITIALIZATION_REQUIRED = {NOT_READY, 0x04, 0x02};
inline constexpr SenseTriple MEDIUM_NOT_PRESENT = {NOT_READY, 0x3A, 0x00};
inline constexpr SenseTriple SELF_CONFIGURING = {NOT_READY, 0x3E, 0x00};
inline constexpr SenseTriple INVALID_FIELD_IN_CDB = {ILLEGAL_REQUEST, 0x24, 0x00};
inline constexpr SenseTriple INVALID_FIELD_IN_LIST = {ILLEGAL_REQUEST, 0x26, 0x00};
inline constexpr SenseTriple REMOVAL_PREVENTED = {ILLEGAL_REQUEST, 0x53, 0x02};
inline constexpr SenseTriple BAD_MICROCODE = {ILLEGAL_REQUEST, 0x82, 0x83};  // the maker's own

/// The response code of sense data; 0 when there are none.
inline std::uint8_t senseResponseCode(std::span<const std::uint8_t> data) { return readByte(data, 0) & 0x7F; }

/// What sense data say in fixed format, or in descriptor format, which the commands do not read.
inline SenseTriple senseIn(std::span<const std::uint8_t> data) {
  constexpr std::uint8_t DESCRIPTOR_FORMAT = 0x72;
  const bool fixed = senseResponseCode(data) < DESCRIPTOR_FORMAT;
  const std::size_t key = fixed ? 2 : 1;
  const std::size_t code = fixed ? 12 : 2;
  return {static_cast<std::uint8_t>(readByte(data, key) & 0x0F), readByte(data, code),
          readByte(data, code + 1)};
}

inline bool hasSense(const ScsiCommand& command, const SenseTriple& sense) {
  return command.getSenseKey() == sense.key && command.getASC() == sense.asc &&
         command.getASCQ() == sense.ascq;
}
