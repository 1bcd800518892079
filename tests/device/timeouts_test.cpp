#include "tests/support/room_test.h"

namespace {

ScsiTarget targetOf(const char* model, std::uint8_t type = 1) {
  ScsiTarget target;
  target.setDeviceTyp(type);
  target.setModelName(model);
  target.setTimeoutValuesForModel();
  return target;
}

TEST(Timeouts, FollowTheModel) {
  Record record;
  for (const char* model :
       {"R477",    "R477 W11",     "R477 W12",     "R477 W13",     "R477 W14",    "W11",
        "Ultrium", "UMX",          "PX",           "RX4",          "R477 PX7",    "Gen 8",
        "PX5",     "PX6",          "PX7",          "PX8",          "RX5",         "RX6",
        "RX7",     "RX8",          "UMX Gen 5",    "UMX Gen 6",    "UMX Gen 7",   "UMX Gen 8",
        "PX6 PX5", "PX7 PX6",      "PX8 PX7",      "RX5 PX8",      "RX6 RX5",     "RX7 RX6",
        "RX8 RX7", "R477 W12 PX7", "R477 W12 W11", "R477 W13 W12", "R477 W14 W13"}) {
    ScsiTarget target;
    record("log", logOf([&] { target = targetOf(model); }));
    std::string line = model;
    for (unsigned opcode = 0; opcode < 256; ++opcode) {
      const auto code = static_cast<std::uint8_t>(opcode);
      if (const ulong32 seconds = target.getTimeoutForOpcode(code))
        line += " " + hex(std::span(&code, 1)) + "=" + std::to_string(seconds);
    }
    record(line);
  }
  EXPECT_EQ(targetOf("PX7", 8).getTimeoutForOpcode(0), 0u) << "a changer keeps every command's own";
}

TEST(Timeouts, StandInTheProperties) {
  Record record;
  ScsiTarget target = targetOf("R477 W12 PX7");
  TELL(target.getProperty("TIMEOUT_0x1B"), target.getProperty("TIMEOUT_0xE3"),
       target.getProperty("TIMEOUT_0x1b"));
  for (const char* text : {"42", "1", "0", "0x20", "text", "", "-1", "99999999999", "7 s"}) {
    target.setProperty("TIMEOUT_0x0B", text);
    record(text, target.getTimeoutForOpcode(0x0b));
  }
}

}  // namespace
