#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// Takes a fuzzer's input apart: pieces of a length that stands in front of each, in one byte.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest(data, size) {}

  std::uint8_t byte() {
    if (rest.empty()) return 0;
    const std::uint8_t value = rest[0];
    rest = rest.subspan(1);
    return value;
  }
  std::vector<std::uint8_t> piece() {
    const std::size_t told = byte(), length = std::min(told, rest.size());
    const std::vector<std::uint8_t> result(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(length));
    rest = rest.subspan(length);
    return result;
  }
  std::vector<std::uint8_t> remainder() const { return {rest.begin(), rest.end()}; }
  bool empty() const { return rest.empty(); }

 private:
  std::span<const std::uint8_t> rest;
};
