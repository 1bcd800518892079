// Writing READ ELEMENT STATUS data out of what Windows' changer interface tells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kiv/changer/commands.h"
#include "platform/win32.h"

// Bits of an element descriptor's byte 2.
inline constexpr std::uint8_t FULL = 0x01;
inline constexpr std::uint8_t EXCEPT = 0x04;
inline constexpr std::uint8_t ACCESS = 0x08;

/// An element type with its range in the changer, and with the bits of a descriptor's byte 2 that Windows'
/// flags carry over.
struct ElementKind {
  ChangerElementTypeCode scsi;
  ELEMENT_TYPE windows;
  WORD GET_CHANGER_PARAMETERS::*first;
  WORD GET_CHANGER_PARAMETERS::*count;
  std::uint8_t state;
};

/// Copies bytes into an image; what lies outside is dropped.
void copyBytes(std::span<std::uint8_t> image, std::size_t offset, const std::uint8_t* source,
               std::size_t length);

/// Writes one element descriptor at `offset`; what lies outside the image is dropped.
void writeDescriptor(std::span<std::uint8_t> image, std::size_t offset,
                     const GET_CHANGER_PARAMETERS& parameters, const ElementKind& kind,
                     const CHANGER_ELEMENT_STATUS_EX& element, bool volumeTags, bool identifier);
