// Firmware images that the virtual drives accept.
#pragma once

#include <cstdint>
#include <string>

#include "simulator/devices/scsi.h"

namespace simulator {

/// Layout of an image: a header of 32 bytes, numbers big-endian, and the code.
///
///     0  4  magic "QFWI"
///     4  8  vendor that the image is for, padded with blanks
///    12  4  level
///    16  4  length of the whole image, header included
///    20  4  CRC-32 of the code
///    24  8  reserved, zero
constexpr std::size_t firmwareHeaderSize = 32;

/// A good image of `size` bytes (at least the header) that brings the drive to `level` (four characters).
Bytes makeFirmwareImage(const std::string& level, std::size_t size, const std::string& vendor = "QOR");

std::uint32_t crc32(std::span<const std::uint8_t> data);

}  // namespace simulator
