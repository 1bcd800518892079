#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace simulator::recording {

/// SHA-256 (FIPS 180-4) as 64 hexadecimal digits.
std::string sha256(std::span<const std::uint8_t> data);

}  // namespace simulator::recording
