#include "simulator/devices/virtual_changer.h"

#include <gtest/gtest.h>

#include "tests/simulator/conversation.h"

namespace simulator {
namespace {

struct VirtualChangerTest : testing::Test {
  Room room;
  VirtualDrive& drive = room.addDrive({.target = 1, .model = "ULTRIUM-PX6", .serial = "S123456789"});
  VirtualChanger& library =
      room.addChanger({.target = 2}, {.robots = {1, 1},
                                      .importExport = {0x10, 1},
                                      .drives = {0x100, 2},
                                      .slots = {0x1000, 3},
                                      .bays = {&drive},
                                      .cartridges = {{0x1000, "QOR001L6"}, {0x1001, ""}}});

  Conversation changer{"\\\\.\\scsi0:", library.options()};
};

TEST_F(VirtualChangerTest, ReportsElementsAsTheStandardLaysThemOut) {
  library.element(0x1000).source = 0x1002;
  library.element(0x1001).exception = {0x83, 0x02};
  library.placeCartridge(0x10, makeCartridge("QOR002L6"));
  changer.follow(1);
  ASSERT_EQ(changer.data.size(), 472u);
  const struct {
    std::size_t at;
    const char* bytes;
  } parts[] = {
      // Robot: no cartridge, no label.
      {8, "01 80 00 34 00 00 00 34 00 01 00 00 00 00 00 00 00 00 00 00 00"},
      // Slots: full with a label and a source, full with an exception and without a label, empty.
      {68, "02 80 00 34 00 00 00 9C 10 00 09 00 00 00 00 00 00 80 10 02"},
      {88,
       "51 4F 52 30 30 31 4C 36 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 "
       "00 00 00 00"},
      {128, "10 01 0D 00 83 02 00 00 00 00 00 00"},
      {180, "10 02 08 00 00 00 00 00 00 00 00 00"},
      // Import/export: placed by a person; cartridges may pass both ways.
      {232, "03 80 00 34 00 00 00 34 00 10 3B 00 00 00 00 00 00 00 00 00"},
      // Bays: a drive with its T10 identifier, and none, which is an exception.
      {292, "04 80 00 56 00 00 00 AC 01 00 08 00 00 00 00 00 00 00 00 00"},
      {348,
       "02 01 00 22 51 4F 52 20 20 20 20 20 55 4C 54 52 49 55 4D 2D 50 58 36 20 20 20 20 20 "
       "53 31 32 33 34 35 36 37 38 39"},
      {386, "01 01 04 00 3B 1A 00 00 00 00 00 00"},
      {434, "00 00 00 00"},
  };
  for (const auto& [at, expected] : parts) {
    EXPECT_EQ(toHex(std::span(changer.data).subspan(at)).substr(0, std::string(expected).size()), expected)
        << at;
  }
  changer.follow(2);
  EXPECT_EQ(changer.data.size(), 40u) << "no descriptor in part";
}

TEST_F(VirtualChangerTest, MovesCartridgesAndRefusesWhatCannotBe) {
  changer.follow(1);
  EXPECT_TRUE(drive.loaded());
  EXPECT_EQ(drive.medium()->options().barcode, "");
  EXPECT_EQ(library.element(0x100).source, 0x1001);
  EXPECT_EQ(library.element(0x1000).medium()->options().barcode, "QOR001L6");
  EXPECT_TRUE(library.element(0x1000).inverted);
  EXPECT_EQ(library.element(0x1001).medium(), nullptr);
}

TEST_F(VirtualChangerTest, LiesOnRequest) {
  library.element(0x100).designator = Designator{.identifier = Bytes(4, 'X'), .claimedLength = 252};
  library.lies() = {
      .descriptorLength = 0, .pageByteCount = 0xFFFFFF, .elementCount = 0xFFFF, .reportByteCount = 7};
  changer.follow(1);
}

}  // namespace
}  // namespace simulator
