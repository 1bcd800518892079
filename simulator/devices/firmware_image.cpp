#include "simulator/devices/firmware_image.h"

#include <array>
#include <stdexcept>

namespace simulator {

std::uint32_t crc32(std::span<const std::uint8_t> data) {
  static const auto table = [] {
    std::array<std::uint32_t, 256> rows{};
    for (std::uint32_t i = 0; i < rows.size(); ++i) {
      std::uint32_t row = i;
      for (int bit = 0; bit < 8; ++bit) row = row & 1 ? row >> 1 ^ 0xEDB88320u : row >> 1;
      rows[i] = row;
    }
    return rows;
  }();
  std::uint32_t crc = 0xFFFFFFFFu;
  for (std::uint8_t byte : data) crc = crc >> 8 ^ table[(crc ^ byte) & 0xFF];
  return ~crc;
}

Bytes makeFirmwareImage(const std::string& level, std::size_t size, const std::string& vendor) {
  if (size < firmwareHeaderSize)
    throw std::invalid_argument("a firmware image has at least its header of 32 bytes");
  Bytes image(size);
  // Code that no two blocks have in common, so that a chunk sent twice or left out shows.
  std::uint32_t noise = 0x2545F491u;
  for (std::size_t i = firmwareHeaderSize; i < size; ++i) {
    noise ^= noise << 13;
    noise ^= noise >> 17;
    noise ^= noise << 5;
    image[i] = static_cast<std::uint8_t>(noise);
  }
  putText(image, 0, 4, "QFWI");
  putText(image, 4, 8, vendor);
  putText(image, 12, 4, level);
  put32(image, 16, size);
  put32(image, 20, crc32(std::span(image).subspan(firmwareHeaderSize)));
  return image;
}

}  // namespace simulator
