#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// A text field of `width` bytes at `offset`, up to its first zero byte or the end of `data`.
inline std::string_view viewText(std::span<const std::uint8_t> data, std::size_t offset, std::size_t width) {
  const auto rest = data.subspan(std::min(offset, data.size()));
  const std::string_view field(reinterpret_cast<const char*>(rest.data()), std::min(width, rest.size()));
  return field.substr(0, field.find('\0'));
}

/// The same, to keep.
inline std::string readText(std::span<const std::uint8_t> data, std::size_t offset, std::size_t width) {
  return std::string(viewText(data, offset, width));
}
