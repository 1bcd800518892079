#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <vector>

/// "12 01 80": the way in which tests write down bytes.
inline std::string hex(std::span<const std::uint8_t> data) {
  std::string text;
  for (std::uint8_t byte : data) {
    char digits[4];
    std::snprintf(digits, sizeof digits, text.empty() ? "%02X" : " %02X", byte);
    text += digits;
  }
  return text;
}

/// The same with "00 x 12" for a byte that stands twelve times in a row.
inline std::string briefHex(std::span<const std::uint8_t> data) {
  constexpr std::size_t FEWEST = 8;
  std::string text;
  for (std::size_t at = 0, same; at < data.size(); at += same) {
    same = 1;
    while (at + same < data.size() && data[at + same] == data[at]) ++same;
    const bool brief = same >= FEWEST;
    if (!brief) same = 1;
    text +=
        (text.empty() ? "" : " ") + hex(data.subspan(at, 1)) + (brief ? " x " + std::to_string(same) : "");
  }
  return text;
}

/// The bytes of a structure or a number, in the order of memory.
template <typename Block>
std::vector<std::uint8_t> bytesOf(const Block& block) {
  std::vector<std::uint8_t> data(sizeof block);
  std::memcpy(data.data(), &block, sizeof block);
  return data;
}

/// The bytes of such a text.
inline std::vector<std::uint8_t> bytes(const std::string& text) {
  std::vector<std::uint8_t> data;
  for (std::size_t at = 0; at < text.size(); at += 3)
    data.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(at, 2), nullptr, 16)));
  return data;
}
