// Writing READ ELEMENT STATUS data out of what Windows' changer interface tells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "changer/changer_interface.h"

/// Copies bytes into an image; what lies outside is dropped.
void copyBytes(std::span<std::uint8_t> image, std::size_t offset, const std::uint8_t* source,
               std::size_t length);

/// Writes one element descriptor at `offset`; what lies outside the image is dropped.
void writeDescriptor(std::span<std::uint8_t> image, std::size_t offset,
                     const GET_CHANGER_PARAMETERS& parameters, const ElementKind& kind,
                     const CHANGER_ELEMENT_STATUS_EX& element, bool volumeTags, bool identifier);
