#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// A text field of `width` bytes at `offset`, up to its first zero byte or the end of `data`.
inline std::string readText(std::span<const std::uint8_t> data, std::size_t offset, std::size_t width) {
  const auto start = data.begin() + static_cast<std::ptrdiff_t>(std::min(offset, data.size()));
  const auto end = start + std::min(static_cast<std::ptrdiff_t>(width), data.end() - start);
  return std::string(start, std::find(start, end, std::uint8_t{0}));
}
