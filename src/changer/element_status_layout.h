// The layout of READ ELEMENT STATUS data (SMC-3): a report header, then per element type a page header and
// descriptors of one length. A descriptor is its own header, then the volume tag and the identification that
// were asked for. Sizes in bytes.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr std::uint16_t REPORT_HEADER = 8;
inline constexpr std::uint16_t PAGE_HEADER = 8;
inline constexpr std::uint16_t DESCRIPTOR_HEADER = 12;
inline constexpr std::uint16_t VOLUME_TAG = 36;
inline constexpr std::uint16_t IDENTIFICATION_HEADER = 4;

/// Where the identification begins in a descriptor.
constexpr std::size_t identificationOffset(bool volumeTag) {
  return DESCRIPTOR_HEADER + (volumeTag ? std::size_t{VOLUME_TAG} : 0);
}
