// What differs between drive models, as data.
#pragma once

#include <cstdint>
#include <string_view>

namespace simulator {

struct DriveModel {
  std::string_view marker;   ///< what the product identification contains
  std::uint8_t generation;   ///< LTO generation
  std::uint8_t oldest;       ///< generation of the oldest cartridges that it reads
  std::uint8_t densityCode;  ///< primary density code
  std::uint32_t bitsPerMillimetre;
  std::uint16_t tracks;
  std::uint32_t capacity;         ///< of a cartridge of its own generation, in megabytes (10^6 bytes)
  std::uint8_t extraPartitions;   ///< maximum additional partitions
  std::uint8_t partitioningType;  ///< default of the medium partition page; 0: there is no choice
  /// Where the drive tells whether it serves in a library: a buffer for READ BUFFER, and in it either bit 3
  /// of the byte at an offset or, with offset 0, bit 28 of the entry "lib_feature". The bit is clear when it
  /// does.
  std::uint8_t featureBuffer;
  std::uint16_t featureOffset;
};

/// The model that a product identification names; the sixth generation serves for names that are not listed.
const DriveModel& driveModel(std::string_view product);
/// The generation of a cartridge with this primary density code; 0 for one that is not listed.
std::uint8_t generationOf(std::uint8_t densityCode);

}  // namespace simulator
