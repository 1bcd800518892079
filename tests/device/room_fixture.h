#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kiv/device/target.h"
#include "simulator/room/room.h"
#include "tests/support/captured_output.h"

/// A test in a tape room of its own, in which every handle is closed by the end.
class RoomTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(room.openHandles(), 0u); }

  /// What an operation logs at debug level, without dumps: "I message" after the level's letter.
  template <typename Operation>
  std::vector<std::string> logOf(Operation operation) {
    std::vector<std::string> entries;
    CapturedOutput output;
    {
      LogLevel level(LOG_DEBUG);
      operation();
    }
    for (const std::string& line : output.lines()) {
      if (line.starts_with("SCSI0000") && line[8] != 'B') entries.push_back(line.substr(8));
    }
    return entries;
  }

  simulator::Room room;
};

inline ReturnCode openAt(ScsiTarget& target, std::uint8_t host, std::uint8_t bus, std::uint64_t id,
                         std::uint64_t lun = 0, const char* name = nullptr) {
  return target.openDevice(host, id, bus, lun, name, 1);
}
