// The sense data that steer a firmware update (SPC-4 and SSC-4 additional sense codes).
#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

struct SenseTriple {
  std::uint8_t key;
  std::uint8_t asc;
  std::uint8_t ascq;
};

inline constexpr std::uint8_t HARDWARE_ERROR = 4;
inline constexpr std::uint8_t UNIT_ATTENTION = 6;

inline constexpr SenseTriple BECOMING_READY = {2, 0x04, 0x01};
inline constexpr SenseTriple INITIALIZATION_REQUIRED = {2, 0x04, 0x02};
inline constexpr SenseTriple MEDIUM_NOT_PRESENT = {2, 0x3A, 0x00};
inline constexpr SenseTriple SELF_CONFIGURING = {2, 0x3E, 0x00};
inline constexpr SenseTriple INVALID_FIELD_IN_CDB = {5, 0x24, 0x00};
inline constexpr SenseTriple BAD_MICROCODE = {5, 0x82, 0x83};  // the maker's own

inline bool hasSense(const ScsiCommand& command, const SenseTriple& sense) {
  return command.getSenseKey() == sense.key && command.getASC() == sense.asc &&
         command.getASCQ() == sense.ascq;
}
