#include "device/timeouts.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

#include "frame/guarded.h"
#include "kiv/device/target.h"
#include "kiv/frame/logger.h"
#include "scsi/device_types.h"

namespace {

/// The time-outs in seconds of one operation code, a column per family or model.
template <std::size_t Columns>
struct TimeoutRow {
  std::uint8_t opcode;
  std::uint32_t seconds[Columns];
};

enum CommonColumn : std::size_t { R477, LTO };

/// The command keeps its own time-out.
constexpr std::uint32_t NONE = 0;

// clang-format off
constexpr TimeoutRow<2> COMMON_TIMEOUTS[] = {
    //      R477   LTO
    {0x00, {  30,   60}},
    {0x01, {NONE,  600}},
    {0x03, {  30,   60}},
    {0x05, {  30,   30}},
    {0x0A, {NONE, 1500}},
    {0x0B, {NONE,  780}},
    {0x12, {  30,   60}},
    {0x14, {  60, NONE}},
    {0x15, { 900,   60}},
    {0x16, { 900,   60}},
    {0x17, {  30,   60}},
    {0x1A, {  30,   60}},
    {0x1B, {NONE,  780}},
    {0x1C, {  30,   60}},
    {0x1D, {2100, NONE}},
    {0x1E, {  30,   60}},
    {0x34, {  30,   60}},
    {0x3B, { 540,  540}},
    {0x3C, { 480,  480}},
    {0x40, {  30, NONE}},
    {0x44, {  30,   60}},
    {0x4C, {  30,   60}},
    {0x4D, {  30,   60}},
    {0x55, { 900,   60}},
    {0x56, { 900,   60}},
    {0x57, {  30,   60}},
    {0x5A, {  30,   60}},
    {0x5E, {  30,   60}},
    {0x5F, { 900,   60}},
    {0x82, {  30,   60}},
    {0x8C, {  60,   60}},
    {0x8D, {  60,   60}},
    {0xA0, {  30,   60}},
    {0xA2, { 300,   60}},
    {0xA3, {  30,   60}},
    {0xA4, {  30,   60}},
    {0xB5, { 300,   60}},
    {0xC0, {  30, NONE}},
    {0xD1, {  30,   60}},
    {0xD2, {  30,   60}},
};

constexpr TimeoutRow<4> R477_TIMEOUTS[] = {
    //        W11    W12    W13    W14
    {0x01, {  550,   560,   560,   600}},
    {0x04, { 3000,  3100,  3100,  3060}},
    {0x08, { 2100,  2400,  2400,  2340}},
    {0x0A, { 1200,  1500,  1500,  1440}},
    {0x0F, { 2100,  2100,  2400,  2340}},
    {0x10, { 1100,  1400,  1400,  1380}},
    {0x11, { 2000,  2300,  2300,  2280}},
    {0x13, {38100, 46700, 68900, 65820}},
    {0x19, {36900, 45800, 68000, 64860}},
    {0x1B, {  720,   900,   900,   900}},
    {0x2B, { 2000,  2300,  2300,  2280}},
    {0x3E, { 1600,  NONE,  NONE,  NONE}},
    {0x91, { 2000,  2300,  2300,  2280}},
    {0x92, { 2000,  2300,  2300,  2280}},
    {0xE3, { NONE,  1700,  1700,  1700}},
};

constexpr TimeoutRow<8> LTO_TIMEOUTS[] = {
    //        PX5    PX6    PX7    PX8    RX5    RX6    RX7     RX8
    {0x01, { NONE,  NONE,  NONE,  NONE,   780,   780,   660,    660}},
    {0x04, { 1560,  3000,  3000,  3000,  1980,  3840,  3240,   3240}},
    {0x08, { 1500,  1500,  2280,  2280,  1920,  1920,  2340,   2340}},
    {0x0A, { NONE,  NONE,  NONE,  NONE,  1920,  1920,  1560,   1560}},
    {0x10, { 1620,  1620,  1620,  1620,  1740,  1740,  1680,   1680}},
    {0x11, { 2040,  2040,  2880,  2880,  2700,  2700,  2940,   2940}},
    {0x13, {16920, 20400, 31860, 47700, 19980, 30000, 28860,  54360}},
    {0x19, {16380, 24600, 27540, 54896, 19200, 29400, 27540, 121448}},
    {0x1B, { NONE,  NONE,  NONE,  NONE,  1020,  1020,   840,    840}},
    {0x1D, { 2100,  2100,  1980,  1980,  3120,  3120,  2040,   2040}},
    {0x2B, { 2040,  2040,  2880,  2880,  2700,  2700,  2940,   2940}},
    {0x3B, { NONE,  NONE,  NONE,  NONE,   720,   720,   540,    540}},
    {0x3C, { NONE,  NONE,  NONE,  NONE,   660,   660,   480,    480}},
    {0x91, { 2040,  2040,  2880,  2880,  2700,  2700,  2960,   2960}},
    {0x92, { 2040,  2040,  2880,  2880,  2700,  2700,  2960,   2960}},
};
// clang-format on

/// A text that marks a model, and the model's column.
struct ModelMark {
  const char* text;
  std::size_t column;
};

constexpr ModelMark R477_MARKS[] = {{"W11", 0}, {"W12", 1}, {"W13", 2}, {"W14", 3}};
constexpr ModelMark LTO_MARKS[] = {{"PX5", 0}, {"PX6", 1},   {"PX7", 2}, {"PX8", 3},
                                   {"RX5", 4}, {"Gen 5", 4}, {"RX6", 5}, {"Gen 6", 5},
                                   {"RX7", 6}, {"Gen 7", 6}, {"RX8", 7}, {"Gen 8", 7}};

bool contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

/// Where each operation code has its row, counted from 1; 0 without one.
template <std::size_t Columns, std::size_t Rows>
constexpr std::array<std::uint8_t, 256> rowNumbers(const TimeoutRow<Columns> (&rows)[Rows]) {
  std::array<std::uint8_t, 256> numbers{};
  for (std::size_t i = 0; i < Rows; ++i) numbers[rows[i].opcode] = static_cast<std::uint8_t>(i + 1);
  return numbers;
}

template <const auto& Rows>
std::uint32_t secondsIn(std::size_t column, std::uint8_t opcode) {
  static constexpr auto ROW_NUMBERS = rowNumbers(Rows);
  const std::size_t number = ROW_NUMBERS[opcode];
  return number == 0 ? NONE : Rows[number - 1].seconds[column];
}

/// A model's number goes before the one that all models of its family have in common.
template <const auto& ModelRows>
std::uint32_t secondsOf(std::uint8_t family, CommonColumn common, std::uint8_t opcode) {
  if (family == 0) return NONE;
  const std::uint32_t own = family == 1 ? NONE : secondsIn<ModelRows>(family - 2u, opcode);
  return own != NONE ? own : secondsIn<COMMON_TIMEOUTS>(common, opcode);
}

template <std::size_t Marks>
std::uint8_t familyOf(const std::string& model, const ModelMark (&marks)[Marks]) {
  for (const ModelMark& mark : marks) {
    if (!contains(model, mark.text)) continue;
    logger->logDebug("SCSI", 0, "Setting tape specific timeoutvalues for model %s", model.c_str());
    return static_cast<std::uint8_t>(2 + mark.column);
  }
  return 1;
}

constexpr std::string_view KEY_START = "TIMEOUT_0x";
constexpr std::string_view DIGITS = "0123456789ABCDEF";

}  // namespace

TimeoutFamilies timeoutFamiliesOf(const std::string& model) {
  TimeoutFamilies families;
  if (contains(model, "R477")) {
    logger->logDebug("SCSI", 0, "Common timeout values for R477");
    families.r477 = familyOf(model, R477_MARKS);
  }
  for (const char* mark : {"PX", "RX", "Ultrium", "UMX"}) {
    if (!contains(model, mark)) continue;
    logger->logDebug("SCSI", 0, "Common timeout values for LTO");
    families.lto = familyOf(model, LTO_MARKS);
    break;
  }
  return families;
}

std::uint32_t builtInTimeout(TimeoutFamilies families, std::uint8_t opcode) {
  const std::uint32_t lto = secondsOf<LTO_TIMEOUTS>(families.lto, LTO, opcode);
  return lto != NONE ? lto : secondsOf<R477_TIMEOUTS>(families.r477, R477, opcode);
}

std::string timeoutKey(std::uint8_t opcode) {
  std::string key(KEY_START);
  key += DIGITS[opcode >> 4];
  key += DIGITS[opcode & 0x0F];
  return key;
}

std::optional<std::uint8_t> timeoutOpcode(std::string_view key) {
  if (!key.starts_with(KEY_START) || key.size() != KEY_START.size() + 2) return std::nullopt;
  const std::size_t high = DIGITS.find(key[KEY_START.size()]);
  const std::size_t low = DIGITS.find(key[KEY_START.size() + 1]);
  if (high == DIGITS.npos || low == DIGITS.npos) return std::nullopt;
  return static_cast<std::uint8_t>(high << 4 | low);
}

void ScsiTarget::setTimeoutValuesForModel() {
  if (deviceTyp != SEQUENTIAL_ACCESS_DEVICE) return;
  guarded([&] {
    const TimeoutFamilies before{r477Timeouts, ltoTimeouts};
    const TimeoutFamilies now = timeoutFamiliesOf(modelName);
    if (now == TimeoutFamilies{}) return;
    // Of another model before this one stays what this one has no number for.
    for (unsigned code = 0; before != now && code < 256; ++code) {
      const auto opcode = static_cast<std::uint8_t>(code);
      if (const std::uint32_t seconds = builtInTimeout(before, opcode))
        properties.try_emplace(timeoutKey(opcode), std::to_string(seconds));
    }
    std::erase_if(properties, [&](const auto& property) {
      const auto opcode = timeoutOpcode(property.first);
      return opcode && builtInTimeout(now, *opcode) != NONE;
    });
    hasOwnTimeouts = std::ranges::any_of(
        properties, [](const auto& property) { return timeoutOpcode(property.first).has_value(); });
    r477Timeouts = now.r477;
    ltoTimeouts = now.lto;
  });
}

ulong32 ScsiTarget::getTimeoutForOpcode(std::uint8_t opcode) {
  if (!hasOwnTimeouts) return builtInTimeout({r477Timeouts, ltoTimeouts}, opcode);
  return guarded(ulong32{0}, [&]() -> ulong32 {
    const auto own = properties.find(timeoutKey(opcode));
    if (own == properties.end()) return builtInTimeout({r477Timeouts, ltoTimeouts}, opcode);
    const long long seconds = std::strtoll(own->second.c_str(), nullptr, 10);
    return seconds > 0 && seconds <= std::numeric_limits<ulong32>::max() ? static_cast<ulong32>(seconds) : 0;
  });
}
