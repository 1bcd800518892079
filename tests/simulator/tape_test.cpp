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
  EXPECT_EQ(tape.send("10 00 00 00 01 00"), "");
  EXPECT_EQ(tape.send("01 00 00 00 00 00"), "");
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
  EXPECT_EQ(positionAfter(tape.fetch("08 00 00 00 08 00")), "8/00/05 at 0:4");
  EXPECT_EQ(tape.send("01 00 00 00 00 00"), "");
  EXPECT_EQ(tape.fetch("08 02 00 00 FF 00"), "") << "SILI hides the short block";
  EXPECT_EQ(tape.data.size(), 10u);
}

TEST_F(TapeTest, ReadsAndWritesFixedBlocks) {
  EXPECT_EQ(tape.fetch("08 01 00 00 01 00"), "5/24/00") << "the block length is variable";
  EXPECT_EQ(tape.send("15 10 00 00 0C 00", bytes("00 00 10 08 00 00 00 00 00 00 00 08")), "");
  EXPECT_EQ(tape.send("0A 01 00 00 03 00", Bytes(24, 7)), "");
  EXPECT_EQ(tape.send("0A 00 00 00 09 00", Bytes(9, 7)), "");
  EXPECT_EQ(tape.send("01 00 00 00 00 00"), "");
  EXPECT_EQ(tape.fetch("08 03 00 00 01 00"), "5/24/00") << "SILI with FIXED";
  EXPECT_EQ(positionAfter(tape.fetch("08 01 00 00 05 00")), "0/00/00 at 0:4");
  EXPECT_EQ(tape.data, Bytes(24, 7));
  EXPECT_EQ(tape.information(), 2u);
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

TEST_F(TapeTest, WarnsBeforeThePartitionIsFull) {
  writeBlocks({900, 900});
  EXPECT_EQ(tape.send("0A 00 00 00 96 00", Bytes(150)), "0/00/02");
  EXPECT_EQ(tape.last.sense[2], 0x40);
  EXPECT_EQ(tape.send("0A 00 00 00 96 00", Bytes(150)), "D/00/02");
  EXPECT_EQ(tape.information(), 150u);
  EXPECT_EQ(tape.fetch("34 00 00 00 00 00 00 00 00 00", 32), "");
  EXPECT_EQ(tape.data[0], 0x40);
  drive.medium()->options().writeProtected = true;
  EXPECT_EQ(tape.send("10 00 00 00 01 00"), "7/27/00");
  EXPECT_EQ(tape.fetch("1A 08 0F 00 FF 00"), "");
  EXPECT_EQ(tape.data[2], 0x90);
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

TEST_F(TapeTest, KeepsModePages) {
  EXPECT_EQ(tape.fetch("1A 08 30 40 FF 00"), "");
  EXPECT_EQ(toHex(tape.data), "0B 68 10 00 F0 40 00 04 00 00 00 00");
  EXPECT_EQ(tape.fetch("1A 08 70 43 FF 00"), "") << "changeable values";
  EXPECT_EQ(toHex(std::span(tape.data).subspan(4)), "F0 43 00 04 02 00 00 00");
  const Bytes skipSync = bytes("00 00 10 00 70 40 00 04 01 00 00 00");
  EXPECT_EQ(tape.send("15 11 00 00 0C 00", skipSync), "");
  EXPECT_EQ(tape.fetch("1A 08 B0 40 FF 00"), "") << "default values";
  EXPECT_EQ(tape.data[8], 0);
  EXPECT_EQ(tape.fetch("1A 08 F0 40 FF 00"), "") << "saved values";
  EXPECT_EQ(tape.data[8], 1);

  const struct {
    const char* list;
    const char* result;
  } refused[] = {
      {"01 00 10 00", "5/26/00"},                          // mode data length
      {"00 00 20 00", "5/26/00"},                          // buffered mode 2
      {"00 00 10 04 00 00 00 00", "5/26/00"},              // length of the block descriptor
      {"00 00 10 08 00 00 00 00", "5/1A/00"},              // block descriptor cut short
      {"00 00 10 00 F0 40 00 04 01 00 00 00", "5/26/00"},  // PS
      {"00 00 10 00 70 40 00 04 01 00", "5/1A/00"},        // page cut short
      {"00 00 10 00 70 40 00 02 01 00", "5/26/00"},        // page length
      {"00 00 10 00 70 40 00 04 03 00 00 00", "5/26/00"},  // a bit that cannot change
      {"00 00 10 00 3E 00", "5/26/00"},                    // no such page
  };
  for (const auto& row : refused) {
    const Bytes list = bytes(row.list);
    char cdb[18];
    std::snprintf(cdb, sizeof cdb, "15 10 00 00 %02X 00", static_cast<unsigned>(list.size()));
    EXPECT_EQ(tape.send(cdb, list), row.result) << row.list;
  }
  EXPECT_EQ(tape.fetch("1A 00 3E 00 FF 00"), "5/24/00");
}

TEST_F(TapeTest, KeepsAttributesAndReservations) {
  EXPECT_EQ(
      tape.send("8D 00 00 00 00 00 00 00 00 00 00 00 00 0B 00 00", bytes("00 00 00 07 08 00 01 00 02 41 42")),
      "");
  EXPECT_EQ(
      tape.send("8D 00 00 00 00 00 00 00 00 00 00 00 00 0A 00 00", bytes("00 00 00 06 04 05 00 00 01 46")),
      "5/26/00");
  EXPECT_EQ(tape.fetch("8C 00 00 00 00 00 00 00 08 00 00 00 00 0B 00 00", 64), "");
  EXPECT_EQ(toHex(tape.data).substr(12), "08 00 01 00 02 41 42");
  EXPECT_EQ(tape.fetch("8C 00 00 00 00 00 00 00 00 00 00 00 00 40 00 00", 64), "");
  EXPECT_EQ(toHex(std::span(tape.data).subspan(4, 13)), "00 00 80 00 08 00 00 00 00 00 00 00 00");
  EXPECT_EQ(tape.fetch("8C 00 00 00 00 00 00 01 00 00 00 00 00 40 00 00", 64), "5/24/00")
      << "no such partition";

  Bytes keys(24);
  put64(keys, 8, 0x1122334455667788);
  EXPECT_EQ(tape.send("5F 00 00 00 00 00 00 00 18 00", keys), "");
  EXPECT_EQ(tape.send("5F 01 03 00 00 00 00 00 18 00", keys), "status 18") << "the key does not fit";
  put64(keys, 0, 0x1122334455667788);
  EXPECT_EQ(tape.send("5F 01 03 00 00 00 00 00 18 00", keys), "");
  EXPECT_EQ(tape.fetch("5E 01 00 00 00 00 00 00 FF 00"), "");
  EXPECT_EQ(toHex(tape.data), "00 00 00 01 00 00 00 10 11 22 33 44 55 66 77 88 00 00 00 00 00 03 00 00");
}

TEST_F(TapeTest, ReportsItself) {
  EXPECT_EQ(tape.fetch("44 01 00 00 00 00 00 00 FF 00"), "");
  EXPECT_EQ(toHex(std::span(tape.data).first(20)),
            "00 36 00 00 5A 5A A0 00 00 00 3B 27 00 7F 08 80 00 26 25 A0");
  room.clock().advance(90'000);
  EXPECT_EQ(tape.fetch("A3 0F 00 00 00 00 00 00 00 0C 00 00"), "");
  EXPECT_EQ(toHex(tape.data), "00 0A 00 00 00 00 00 01 5F 90 00 00");
  EXPECT_EQ(tape.fetch("4D 00 40 00 00 00 00 00 FF 00"), "");
  EXPECT_EQ(toHex(tape.data), "00 00 00 0F 00 02 03 0C 0D 11 12 14 16 17 1B 2E 31 32 37");
  drive.setLogPage(0x2E, {{1, 3, {0}}, {2, 3, {1}}});
  EXPECT_EQ(tape.fetch("4D 00 6E 00 00 00 02 00 FF 00"), "");
  EXPECT_EQ(toHex(tape.data), "2E 00 00 05 00 02 03 01 01");
  EXPECT_EQ(tape.fetch("4D 00 6E 00 00 00 03 00 FF 00"), "5/24/00") << "beyond the last parameter";
  const Bytes message = bytes("00 00 00 00 00 00 00 10 4C 4F 41 44 20 20 20 20 4E 4F 57 20 20 20 20 20");
  EXPECT_EQ(tape.send("C0 00 00 00 18 00", message), "");
  EXPECT_EQ(drive.display(), "LOAD    NOW     ");
  EXPECT_EQ(tape.send("16 00 00 00 00 00"), "");
  EXPECT_TRUE(drive.reserved());
  EXPECT_EQ(tape.send("1D 12 00 00 08 00", bytes("80 00 00 04 20 02 00 00")), "");
  EXPECT_EQ(tape.send("00 00 00 00 00 00"), "error 1117") << "reset by diagnostic";
  EXPECT_FALSE(drive.reserved());
}

}  // namespace
}  // namespace simulator
