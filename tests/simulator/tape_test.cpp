// The virtual drive as a tape, command by command.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/conversation.h"

namespace simulator {
namespace {

class TapeTest : public testing::Test {
 protected:
  Room room;
  VirtualDrive& drive = room.addDrive({.target = 5, .model = "ULTRIUM-PX6"});
  Conversation tape{"\\\\.\\scsi0:", drive.options()};

  void SetUp() override {
    drive.insert(std::make_unique<Medium>(MediumOptions{.capacity = 2000}));
    EXPECT_EQ(tape.send("00 00 00 00 00 00"), "6/28/00");
  }
  void writeBlocks(std::initializer_list<std::size_t> sizes) {
    for (std::size_t size : sizes) {
      char cdb[18];
      std::snprintf(cdb, sizeof cdb, "0A 00 00 %02X %02X 00", static_cast<unsigned>(size >> 8),
                    static_cast<unsigned>(size & 0xFF));
      EXPECT_EQ(tape.send(cdb, Bytes(size, static_cast<std::uint8_t>(size))), "");
    }
  }
  std::string positionAfter(const std::string& outcome) const {
    return outcome + " at " + std::to_string(drive.partitionNumber()) + ":" +
           std::to_string(drive.objectNumber());
  }
};

TEST_F(TapeTest, ReadsVariableBlocksWithTheirLengthErrors) {
  writeBlocks({10, 20, 30});
  tape.follow({{"10 00 00 00 01 00", ""}, {"01 00 00 00 00 00", ""}});
  EXPECT_EQ(tape.fetch("08 00 00 00 0A 00"), "");
  EXPECT_EQ(tape.data, Bytes(10, 10));
  EXPECT_EQ(tape.fetch("08 00 00 00 19 00"), "0/00/00") << "too short a block";
  EXPECT_EQ(tape.data, Bytes(20, 20));
  EXPECT_EQ(tape.last.sense[2], 0x20);
  EXPECT_EQ(tape.information(), 5u);
  EXPECT_EQ(tape.fetch("08 00 00 00 08 00"), "0/00/00") << "too long a block";
  EXPECT_EQ(tape.data, Bytes(8, 30));
  EXPECT_EQ(tape.information(), static_cast<std::uint32_t>(-22));
  EXPECT_EQ(positionAfter(tape.fetch("08 00 00 00 08 00")), "0/00/01 at 0:4");
  EXPECT_EQ(tape.last.sense[2], 0x80);
  // At the end of data; then SILI hides that a block is short.
  tape.follow({{"08 00 00 00 08 00", "8/00/05"}, {"01 00 00 00 00 00", ""}, {"08 02 00 00 FF 00", "0A 0A"}});
  EXPECT_EQ(tape.data.size(), 10u);
}

TEST_F(TapeTest, ReadsAndWritesFixedBlocks) {
  tape.follow({
      {"08 01 00 00 01 00", "5/24/00"},  // the block length is variable
      {"15 10 00 00 0C 00", "", 0, "00 00 10 08 00 00 00 00 00 00 00 02"},
      {"0A 01 00 00 02 00", "", 0, "07 07 07 07"},
      {"0A 00 00 00 03 00", "", 0, "07 07 07"},
      {"01 00 00 00 00 00", ""},
      {"08 03 00 00 01 00", "5/24/00"},  // SILI with FIXED
  });
  EXPECT_EQ(positionAfter(tape.fetch("08 01 00 00 05 00")), "0/00/00 at 0:3");
  EXPECT_EQ(tape.data, Bytes(4, 7));
  EXPECT_EQ(tape.information(), 3u);
}

TEST_F(TapeTest, Moves) {
  writeBlocks({10, 10, 10});
  EXPECT_EQ(tape.send("10 00 00 00 02 00"), "");
  writeBlocks({10});
  const struct {
    const char* cdb;
    const char* result;
    std::uint32_t residual;
  } steps[] = {
      {"11 01 FF FF FF 00", " at 0:4", 0},         // one filemark back: before the second
      {"11 00 FF FF FE 00", "0/00/01 at 0:3", 2},  // blocks back: stopped before the first filemark
      {"11 00 FF FF FB 00", "0/00/04 at 0:0", 2},  // beginning of the tape
      {"11 00 00 00 04 00", "0/00/01 at 0:4", 1},  // stopped behind the first filemark
      {"11 01 00 00 02 00", "8/00/05 at 0:6", 1},  // end of data
      {"2B 00 00 00 00 00 01 00 00 00", " at 0:1", 0},
      {"11 02 00 00 02 00", " at 0:5", 0},  // two filemarks in a row
      {"11 03 00 00 00 00", " at 0:6", 0},
      {"92 00 00 00 00 00 00 00 00 00 00 63 00 00 00 00", "8/00/05 at 0:6", 0},
      {"92 08 00 00 00 00 00 00 00 00 00 01 00 00 00 00", " at 0:4", 0},  // the second file
      {"92 02 00 01 00 00 00 00 00 00 00 00 00 00 00 00", "5/24/00 at 0:4", 0},
      {"11 04 00 00 01 00", "5/24/00 at 0:4", 0},
      {"13 00 00 00 0A 00", "0/00/01 at 0:5", 10},  // VERIFY meets a filemark
      {"13 08 00 00 01 00", "8/00/05 at 0:6", 1},
  };
  for (const auto& step : steps) {
    EXPECT_EQ(positionAfter(tape.send(step.cdb)), step.result) << step.cdb;
    EXPECT_EQ(tape.information(), step.residual) << step.cdb;
  }
  EXPECT_EQ(tape.fetch("34 00 00 00 00 00 00 00 00 00", 32), "");
  EXPECT_EQ(toHex(tape.data), "00 00 00 00 00 00 00 06 00 00 00 06 00 00 00 00 00 00 00 00");
  EXPECT_EQ(tape.send("2B 00 00 00 00 00 02 00 00 00"), "");
  EXPECT_EQ(tape.send("19 00 00 00 00 00"), "") << "an erase makes the end of data here";
  EXPECT_EQ(positionAfter(tape.send("11 03 00 00 00 00")), " at 0:2");
}

TEST_F(TapeTest, PartitionsTheMediumAsThePageSays) {
  EXPECT_EQ(tape.fetch("1A 08 11 00 FF 00"), "");
  EXPECT_EQ(toHex(tape.data), "13 68 10 00 91 0E 03 00 3C 03 00 00 07 D0 00 00 00 00 00 00");
  const auto select = [&](const std::string& page) {
    return tape.send("15 10 00 00 14 00", bytes("00 00 10 00 11 0E " + page));
  };
  EXPECT_EQ(select("03 04 3C 03 01 00 00 0A FF FF 00 00 00 00"), "5/26/00")
      << "more partitions than there can be";
  EXPECT_EQ(select("03 01 7C 03 01 00 00 0A FF FF 00 00 00 00"), "5/26/00") << "two methods";
  EXPECT_EQ(select("03 01 3C 03 01 00 01 0A FF FF 00 00 00 00"), "5/26/00") << "larger than the tape";
  EXPECT_EQ(select("03 01 3C 02 01 00 00 0A FF FF 00 00 00 00"), "5/26/00") << "a byte that cannot change";
  EXPECT_EQ(select("03 01 3C 03 01 00 00 0A FF FF 00 00 00 00"), "");
  writeBlocks({5});
  EXPECT_EQ(tape.send("04 00 01 00 00 00"), "5/3B/0C") << "not at the beginning";
  EXPECT_EQ(tape.send("01 00 00 00 00 00"), "");
  EXPECT_EQ(tape.send("04 00 01 00 00 00"), "");
  EXPECT_EQ(tape.fetch("1A 08 11 00 FF 00"), "");
  EXPECT_EQ(toHex(std::span(tape.data).subspan(4)), "91 0E 03 01 3C 03 01 00 00 0A 00 BE 00 00 00 00");
  EXPECT_EQ(positionAfter(tape.send("92 02 00 01 00 00 00 00 00 00 00 00 00 00 00 00")), " at 1:0");
  EXPECT_EQ(tape.fetch("1A 08 10 00 FF 00"), "");
  EXPECT_EQ(tape.data[7], 1) << "active partition";
}

}  // namespace
}  // namespace simulator
