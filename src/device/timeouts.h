// The time-outs that are built in for a family of drives, and the properties that show or change them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// What a model has of a family's tables: 0 nothing, 1 what all models have in common, 2 and up also the
/// column of the model.
struct TimeoutFamilies {
  std::uint8_t r477 = 0;
  std::uint8_t lto = 0;

  bool operator==(const TimeoutFamilies&) const = default;
};

/// Looks for the marks of families and models in a model name, and logs what it finds.
TimeoutFamilies timeoutFamiliesOf(const std::string& model);

/// Seconds; 0 when the command keeps its own.
std::uint32_t builtInTimeout(TimeoutFamilies families, std::uint8_t opcode);

/// The property of an operation code, "TIMEOUT_0x1B", and back: nothing for any other property.
std::string timeoutKey(std::uint8_t opcode);
std::optional<std::uint8_t> timeoutOpcode(std::string_view key);
