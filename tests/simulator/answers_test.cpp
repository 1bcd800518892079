// What drives and libraries answer, held against the standards (SPC-4, SSC-4, SMC-3, ADC-3) byte by byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/conversation.h"

namespace simulator {
namespace {

constexpr const char* PORT = "\\\\.\\scsi0:";

// clang-format off
class DriveAnswers : public testing::Test {
 protected:
  Room room;
  VirtualDrive& drive = room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .serial = "1068000451"}, {.cartridge = true});
  Conversation tape{PORT, drive.options()};
};

TEST_F(DriveAnswers, ToCommandBlocks) {
  tape.follow(1);
  EXPECT_EQ(toHex(std::span(tape.last.sense).subspan(15, 3)), "C0 00 01") << "the field pointer";
}

TEST_F(DriveAnswers, ToInquiry) {
  tape.follow(1);
  const std::pair<Interface, const char*> descriptors[] = {{Interface::Sas, "0C 60"}, {Interface::ParallelScsi, "0B 40"}};
  for (const auto& [interface, descriptor] : descriptors) {
    drive.options().interface = interface;
    tape.follow({{"12 00 00 00 60 00", descriptor, 58}});
  }
}

TEST_F(DriveAnswers, ToModeCommands) {
  tape.follow(1);
  drive.medium()->options().writeProtected = true;
  tape.follow({{"1A 08 0F 00 FF 00", "90", 2}});
}

TEST_F(DriveAnswers, ToLogSense) {
  drive.setLogPage(0x03, {{1, 3, {0}}, {2, 3, {1}}});
  tape.follow(1);
  drive.remove();
  tape.follow({{"4D 00 51 00 00 00 00 02 00 00", "11 20", 8}});  // empty: DINIT
  VirtualDrive& stuck = room.addDrive({.target = 6, .level = "A1B2"}, {.cartridge = true, .stuckCartridge = true});
  Conversation(PORT, stuck.options()).follow(2);
}

TEST_F(DriveAnswers, ToAttributeCommands) {
  tape.follow(1);
  EXPECT_EQ(tape.send("0A 00 0F F0 00 00", Bytes(0xFF000)) + tape.send("0A 00 01 00 00 00", Bytes(0x10000)), "");
  tape.follow(2);
}

TEST_F(DriveAnswers, ToEncryption) {
  tape.follow(1);
  Conversation(PORT, room.addDrive({.target = 6, .model = "ULTRIUM-PX3"}).options()).follow(2);
}

TEST_F(DriveAnswers, ToTheRest) {
  tape.follow(1);
  EXPECT_EQ(drive.display(), "LOAD    NOW     ");
  EXPECT_TRUE(drive.reserved());
  tape.follow(2);
  EXPECT_FALSE(drive.reserved()) << "reset by diagnostic";

  // Cartridges of other generations, and one for cleaning.
  VirtualDrive& eighth = room.addDrive({.target = 6, .model = "ULTRIUM-PX8"});
  Conversation other(PORT, eighth.options());
  other.follow({{"44 00 00 00 00 00 00 00 FF 00", "00 6A 00 00 5C 5C 80"}});  // it reads two generations
  const std::pair<const char*, const char*> cartridges[] = {{"QOR001L6", "2/30/00"}, {"QOR001L7", ""}, {"CLNU01L1", "2/30/03"}};
  for (const auto& [barcode, ready] : cartridges) {
    eighth.insert(makeCartridge(barcode));
    other.follow({{"00 00 00 00 00 00", "6/28/00"}, {"00 00 00 00 00 00", ready}});
  }
  EXPECT_EQ(other.fetch("1A 00 00 00 FF 00"), "");
  EXPECT_EQ(other.data[1], 0x01) << "medium type: for cleaning";
}

TEST_F(DriveAnswers, WhenAnotherInitiatorHoldsIt) {
  VirtualDrive& held = room.addDrive({.target = 6}, {.cartridge = true, .reserved = true});
  Conversation(PORT, held.options()).follow(1);
  VirtualDrive& prevented = room.addDrive({.target = 7}, {.cartridge = true, .removalPrevented = true});
  Conversation(PORT, prevented.options()).follow(2);
}

TEST(ChangerAnswers, ToWhatDrivesKnowToo) {
  Room room;
  VirtualChanger& library = room.addChanger({.target = 2, .worldWideName = 0x10}, {.importExport = {0x10, 0}});
  Conversation changer(PORT, library.options());
  changer.follow(1);
  // A power cycle is told once by any command but INQUIRY and REPORT LUNS, REQUEST SENSE among them.
  library.restart(5);
  changer.follow(2);  // what is known already
  room.clock().advance(5000);
  changer.follow(3);
}
// clang-format on

}  // namespace
}  // namespace simulator
