#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "kiv/device/target.h"

namespace {

ScsiTarget targetOf(const char* model, std::uint8_t type = 1) {
  ScsiTarget target;
  target.setDeviceTyp(type);
  target.setModelName(model);
  target.setTimeoutValuesForModel();
  return target;
}

/// The sum over all operation codes and the number of entries: a slip anywhere in a column shows.
std::pair<unsigned long, int> totals(ScsiTarget target) {
  std::pair<unsigned long, int> result{};
  for (int opcode = 0; opcode < 256; ++opcode) {
    const auto seconds = target.getTimeoutForOpcode(static_cast<std::uint8_t>(opcode));
    result.first += seconds;
    result.second += seconds != 0;
  }
  return result;
}

TEST(Timeouts, FollowTheModel) {
  // clang-format off
  const struct { const char* model; unsigned long sum; int entries; } rows[] = {
      {"R477", 9090, 36},       {"R477 W11", 104460, 50}, {"R477 W12", 124450, 50},      {"R477 W13", 169150, 50},
      {"R477 W14", 162650, 50}, {"W11", 0, 0},            {"Ultrium", 6450, 36},         {"UMX", 6450, 36},
      {"PX", 6450, 36},         {"RX4", 6450, 36},        {"R477 W12 PX7", 90170, 51},   {"Gen 8", 0, 0},
      {"PX5", 54690, 46},       {"PX6", 67830, 46},       {"PX7", 86250, 46},            {"PX8", 129446, 46},
      {"RX5", 66390, 46},       {"RX6", 88470, 46},       {"RX7", 84130, 46},            {"RX8", 203538, 46},
      {"UMX Gen 5", 66390, 46}, {"UMX Gen 6", 88470, 46}, {"UMX Gen 7", 84130, 46},      {"UMX Gen 8", 203538, 46}};
  // clang-format on
  for (const auto& row : rows)
    EXPECT_EQ(totals(targetOf(row.model)), std::pair(row.sum, row.entries)) << row.model;
  EXPECT_EQ(totals(targetOf("PX7", 8)).second, 0) << "a changer keeps every command's own";
}

TEST(Timeouts, StandInTheProperties) {
  ScsiTarget target = targetOf("R477 W12 PX7");
  EXPECT_STREQ(target.getProperty("TIMEOUT_0x1B"), "780") << "the LTO value wins over W12's 900";
  EXPECT_STREQ(target.getProperty("TIMEOUT_0xE3"), "1700");
  EXPECT_EQ(target.getTimeoutForOpcode(0x14), 60u) << "no LTO value to win";
  EXPECT_EQ(target.getTimeoutForOpcode(0x91), 2880u);
  EXPECT_EQ(targetOf("R477").getTimeoutForOpcode(0x0B), 0u);
  EXPECT_EQ(targetOf("RX8").getTimeoutForOpcode(0x19), 121448u);
  EXPECT_EQ(targetOf("PX8").getTimeoutForOpcode(0x19), 54896u);
  EXPECT_EQ(targetOf("RX7").getTimeoutForOpcode(0x91), 2960u);

  const std::pair<const char*, ulong32> values[] = {{"42", 42}, {"0x20", 0},        {"text", 0}, {"", 0},
                                                    {"-1", 0},  {"99999999999", 0}, {"7 s", 7}};
  for (const auto& [text, seconds] : values) {
    target.setProperty("TIMEOUT_0x0B", text);
    EXPECT_EQ(target.getTimeoutForOpcode(0x0b), seconds) << text;
  }
}

}  // namespace
