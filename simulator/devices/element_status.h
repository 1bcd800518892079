// Sizes in READ ELEMENT STATUS data (SMC-3 6.11).
#pragma once

#include <cstddef>

namespace simulator {

constexpr std::size_t descriptorHeader = 12;
constexpr std::size_t volumeTagSize = 36;

}  // namespace simulator
