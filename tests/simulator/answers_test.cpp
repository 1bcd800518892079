// What drives and libraries answer, held against the standards (SPC-4, SSC-4, SMC-3, ADC-3) byte by byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/conversation.h"

namespace simulator {
namespace {

constexpr const char* port = "\\\\.\\scsi0:";

// clang-format off
class DriveAnswers : public testing::Test {
 protected:
  Room room;
  VirtualDrive& drive = room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .serial = "1068000451"}, {.cartridge = true});
  Conversation tape{port, drive.options()};
};

TEST_F(DriveAnswers, ToCommandBlocks) {
  tape.follow({
    {"FE 00 00 00 00 00", "5/20/00"},
    {"12 02 00 00 24 00", "5/24/00"},
    {"12 00 80 00 24 00", "5/24/00"},        // a page without EVPD
    {"12 00 00 00 24", "5/24/00"},           // a CDB too short
    {"12 00 00 00 24 00 00 00", "01 80 06"}, // one padded with zeros
    {"A0 00 00 00 00 00 00 00 00 20 00 00", "00 00 00 08 00 00 00 00 00 00 00 00 00 00 00 00"},
    {"03 00 00 00 12 00", "70 00 00"},
    // The operation codes that there are: one with its CDB usage, one of several service actions, with time-outs.
    {"A3 0C 02 5E 00 03 00 00 00 FF 00 00", "00 03 00 0A 5E 03 00 00 00 00 00 FF FF 00"},
    {"A3 0C 81 08 00 00 00 00 00 FF 00 00", "00 83 00 06 08 03 FF FF FF 00 00 0A"},
    {"A3 0C 01 5E 00 00 00 00 00 FF 00 00", "5/24/00"},
    {"A3 0C 02 08 00 00 00 00 00 FF 00 00", "5/24/00"},
    {"A3 0C 03 5F 00 07 00 00 00 FF 00 00", "00 01 00 00"},
    {"A3 0C 03 FE 00 00 00 00 00 FF 00 00", "00 01 00 00"},
    {"A3 0C 00 00 00 00 00 00 08 00 00 00", "00 00 00 00 00 00 00 06 01 00 00 00", 4},
    {"A3 0D 00 00 00 00 00 00 00 FF 00 00", "5/24/00"},
  });
  EXPECT_EQ(toHex(std::span(tape.last.sense).subspan(15, 3)), "C0 00 01") << "the field pointer";
}

TEST_F(DriveAnswers, ToInquiry) {
  tape.follow({
    {"12 00 00 00 60 00", "0A 40 04 60 05 20", 58},  // FCP-4, SPC-4, SSC-4
    {"12 01 00 00 FF 00", "01 00 00 07 00 03 80 83 86 B0 B1"},
    {"12 01 83 00 FF 00", "01 83 00 46 01 03 00 08 50 06 0B 00 00 05 00 00 01 93 00 08 50 06 0B 00 00 05 00 01 "
                          "01 94 00 04 00 00 00 01 02 01 00 22 51 4F 52 20 20 20 20 20 55"},
    {"12 01 86 00 FF 00", "01 86 00 3C 40 01 00 01 00 00 00 00 00 12"},
    {"12 01 B0 00 FF 00", "01 B0 00 02 01 00"},
    {"12 01 B1 00 FF 00", "01 B1 00 0A 31 30 36 38"},
  });
  const std::pair<Interface, const char*> descriptors[] = {{Interface::Sas, "0C 60"}, {Interface::ParallelScsi, "0B 40"}};
  for (const auto& [interface, descriptor] : descriptors) {
    drive.options().interface = interface;
    tape.follow({{"12 00 00 00 60 00", descriptor, 58}});
  }
}

TEST_F(DriveAnswers, ToModeCommands) {
  tape.follow({
    {"1A 00 00 00 FF 00", "0B 68 10 08 5A 00 00 00 00 00 00 00"},  // page 0: the header and the block descriptor
    {"5A 08 00 00 00 00 00 00 FF 00", "00 06 68 10 00 00 00 00"},
    {"1A 08 30 40 FF 00", "0B 68 10 00 F0 40 00 04 00 00 00 00"},
    {"1A 08 70 43 FF 00", "F0 43 00 04 02 00 00 00", 4},           // changeable values
    {"15 11 00 00 0C 00", "", 0, "00 00 10 00 70 40 00 04 01 00 00 00"},
    {"1A 08 B0 40 FF 00", "00", 8},                                // default values
    {"5A 08 F0 40 00 00 00 00 FF 00", "01", 12},                   // saved values
    {"55 10 00 00 00 00 00 00 10 00", "", 0, "00 00 00 10 00 00 00 08 00 00 00 00 00 00 02 00"},
    {"1A 00 00 00 FF 00", "00 02 00", 9},
    {"1A 00 3E 00 FF 00", "5/24/00"},
    {"15 10 00 00 04 00", "5/26/00", 0, "01 00 10 00"},                          // mode data length
    {"15 10 00 00 04 00", "5/26/00", 0, "00 00 20 00"},                          // buffered mode 2
    {"15 10 00 00 08 00", "5/26/00", 0, "00 00 10 04 00 00 00 00"},              // length of the block descriptor
    {"15 10 00 00 08 00", "5/1A/00", 0, "00 00 10 08 00 00 00 00"},              // block descriptor cut short
    {"15 10 00 00 0C 00", "5/26/00", 0, "00 00 10 00 F0 40 00 04 01 00 00 00"},  // PS
    {"15 10 00 00 0A 00", "5/1A/00", 0, "00 00 10 00 70 40 00 04 01 00"},        // page cut short
    {"15 10 00 00 0A 00", "5/26/00", 0, "00 00 10 00 70 40 00 02 01 00"},        // page length
    {"15 10 00 00 0C 00", "5/26/00", 0, "00 00 10 00 70 40 00 04 03 00 00 00"},  // a bit that cannot change
    {"15 10 00 00 06 00", "5/26/00", 0, "00 00 10 00 3E 00"},                    // no such page
  });
  drive.medium()->options().writeProtected = true;
  tape.follow({{"1A 08 0F 00 FF 00", "90", 2}});
}

TEST_F(DriveAnswers, ToLogSense) {
  drive.setLogPage(0x03, {{1, 3, {0}}, {2, 3, {1}}});
  tape.follow({
    {"4D 00 40 00 00 00 00 02 00 00", "00 00 00 0F 00 02 03 0C 0D 11 12 14 16 17 1B 2E 31 32 37"},
    {"4D 00 40 FF 00 00 00 02 00 00", "40 FF 00 20 00 00 00 FF 02 00 03 00"},
    {"4D 00 43 00 00 00 02 02 00 00", "03 00 00 05 00 02 03 01 01"},
    {"4D 00 43 00 00 00 03 02 00 00", "5/24/00"},  // beyond the last parameter
    {"4D 00 51 00 00 00 00 02 00 00", "11 00 00 08 00 00 03 04 31 13 00 00"},  // MACC CMPR DINIT, MPRSNT MTHRD MOUNTED
    {"4D 00 54 00 00 00 0C 02 00 00", "00 0C 00 04 00 00 00 01 00 0D 00 04 00 00 00 01", 4},  // power cycles, loads
    {"4D 00 71 00 00 00 03 02 00 00", "31 00 00 10 00 03 00 04 00 24 61 39"},  // mebibytes
    {"1E 00 00 00 01 00", ""},
    {"4D 00 51 00 00 00 00 02 00 00", "B1 13", 8},  // PAMR
    {"1E 00 00 00 00 00", ""},
    {"1B 00 00 00 00 00", ""},
    {"4D 00 51 00 00 00 00 02 00 00", "11 30", 8},  // the cartridge stands in the mouth: RAA, MPRSNT
  });
  drive.remove();
  tape.follow({{"4D 00 51 00 00 00 00 02 00 00", "11 20", 8}});  // empty: DINIT
  VirtualDrive& stuck = room.addDrive({.target = 6, .level = "A1B2"}, {.cartridge = true, .stuckCartridge = true});
  Conversation(port, stuck.options()).follow({
    {"1B 00 00 00 00 00", "4/53/00"},
    {"4D 00 52 00 00 00 00 02 00 00", "00 00 00 04", 8},  // TapeAlert 30
    {"4D 00 56 00 00 00 00 02 00 00", "16 00 00 48 00 00 03 44 00 00 5A 68 00 00 00 00 00 04 53 00 00 00 00 00 "
                                      "41 31 42 32 00 00 00 00 1B"},
  });
}

TEST_F(DriveAnswers, ToAttributeCommands) {
  tape.follow({
    {"8C 00 00 00 00 00 00 00 00 00 00 00 00 FF 00 00", "00 00 80 00 08 00 00 00 00 00 24 61 39 00 01 80", 4},
    {"8C 01 00 00 00 00 00 00 00 00 00 00 00 FF 00 00",
     "00 00 00 36 00 00 00 01 00 02 00 03 00 04 00 05 00 06 00 07 00 09 02 0A 02 0B 02 0C 02 0D 02 20 02 21 02 22 02 23 04 00 "
     "04 01 04 02 04 03 04 04 04 05 04 06 04 07 04 08 08 06"},
    {"8C 05 00 00 00 00 00 00 08 00 00 00 00 FF 00 00", "00 00 00 16 08 00 08 01"},
    {"8C 00 00 00 00 00 00 00 02 0A 00 00 00 FF 00 00", "02 0A 81 00 28 51 4F 52 20 20 20 20 20 31 30 36 38", 4},
    {"8C 00 00 00 00 00 00 00 08 00 00 00 00 FF 00 00", "5/24/00"},  // not there yet
    {"8C 00 00 00 00 00 00 01 00 00 00 00 00 40 00 00", "5/24/00"},  // no such partition
    {"8D 00 00 00 00 00 00 00 00 00 00 00 00 0B 00 00", "", 0, "00 00 00 07 08 00 01 00 02 41 42"},
    {"8D 00 00 00 00 00 00 00 00 00 00 00 00 0A 00 00", "5/26/00", 0, "00 00 00 06 04 05 00 00 01 46"},
    {"8C 00 00 00 00 00 00 00 08 00 00 00 00 0B 00 00", "08 00 01 00 02 41 42", 4},
  });
  EXPECT_EQ(tape.send("0A 00 0F F0 00 00", Bytes(0xFF000)) + tape.send("0A 00 01 00 00 00", Bytes(0x10000)), "");
  tape.follow({
    {"8C 00 00 00 00 00 00 00 02 20 00 00 00 FF 00 00", "02 20 80 00 08 00 00 00 00 00 00 00 01", 4},
    {"8C 00 00 00 00 00 00 00 00 09 00 00 00 FF 00 00", "00 09 80 00 04 00 00 00 01", 4},  // changed in this load
  });
}

TEST_F(DriveAnswers, ToEncryption) {
  const std::string key = " 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11";
  const std::string on = "00 10 00 35 40 00 02 03 01 00 00 00 00 00 00 00 00 00 00 20" + key + " 00 00 00 01 41";
  const char* off = "00 10 00 10 40 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00";
  const char* badAlgorithm = "00 10 00 10 40 00 02 03 02 00 00 00 00 00 00 00 00 00 00 00";
  const char* status = "A2 20 00 20 00 00 00 00 00 FF 00 00";
  const char* next = "A2 20 00 21 00 00 00 00 00 FF 00 00";
  const char* rewind = "01 00 00 00 00 00";
  tape.follow({
    {"A2 00 00 00 00 00 00 00 00 FF 00 00", "00 00 00 00 00 00 00 02 00 20"},
    {"A2 20 00 00 00 00 00 00 00 FF 00 00", "00 00 00 0E 00 00 00 01 00 10 00 11 00 12 00 20 00 21"},
    {"A2 20 00 01 00 00 00 00 00 FF 00 00", "00 01 00 02 00 10"},
    {"A2 20 00 10 00 00 00 00 00 FF 00 00", "00 10 00 28 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                            "01 00 00 14 9A 90 00 20 00 0C 00 20 18 00 00 00 00 00 00 00 00 01 00 14"},
    {"A2 20 00 11 00 00 00 00 00 FF 00 00", "00 11 00 01 00"},
    {"A2 20 00 12 00 00 00 00 00 FF 00 00", "00 12 00 0C 00 04 00 07"},
    {"A2 20 00 13 00 00 00 00 00 FF 00 00", "5/24/00"},
    {status, "00 20 00 14 00 00 00 00 00 00 00 00 10"},
    {"B5 20 00 10 00 00 00 00 00 14 00 00", "5/26/00", 0, badAlgorithm},
    {"B5 20 00 10 00 00 00 00 00 39 00 00", "", 0, on.c_str()},
    {status, "00 20 00 19 42 02 03 01 00 00 00 01 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 41"},
    {next, "00 21 00 0C 00 00 00 00 00 00 00 00 22"},  // no block here
    {"0A 00 00 00 02 00", "", 0, "AA BB"},
    {rewind, ""},
    {next, "00 21 00 11 00 00 00 00 00 00 00 00 15 01 00 00 00 00 00 01 41"},
    {"08 00 00 00 02 00", "AA BB"},
    {rewind, ""},
    {"B5 20 00 10 00 00 00 00 00 14 00 00", "", 0, off},
    {status, "00 20 00 14 42 00 00 01 00 00 00 02"},
    {next, "16 01", 12},  // a key is missing
    {"08 00 00 00 02 00", "7/74/01"},
  });
  Conversation(port, room.addDrive({.target = 6, .model = "ULTRIUM-PX3"}).options()).follow({
    {"A2 20 00 00 00 00 00 00 00 FF 00 00", "5/20/00"},
    {"B5 20 00 10 00 00 00 00 00 14 00 00", "5/20/00", 0, off},
  });
}

TEST_F(DriveAnswers, ToTheRest) {
  const char* position = "34 08 00 00 00 00 00 00 20 00";
  tape.follow({
    {"44 01 00 00 00 00 00 00 FF 00", "00 36 00 00 5A 5A A0 00 00 00 3B 27 00 7F 08 80 00 26 25 A0"},
    {"44 03 00 00 00 00 00 00 FF 00", "00 3A 00 00 68 00 00 34 01 5A"},  // its medium type
    {"C0 00 00 00 18 00", "", 0, "00 00 00 00 00 00 00 10 4C 4F 41 44 20 20 20 20 4E 4F 57 20 20 20 20 20"},
    {"A4 0F 00 00 00 00 00 00 00 0C 00 00", "", 0, "00 00 00 00 00 00 00 01 00 00 00 00"},
    {"A3 0F 00 00 00 00 00 00 00 0C 00 00", "00 0A 02 00 00 00 00 01 00 00 00 00"},
    {"10 00 00 00 03 00", ""},
    {"91 01 00 00 FF FF FF FF FF FF FF FE 00 00 00 00", ""},  // two filemarks back
    {position, "01", 15},
    {"91 01 00 00 00 00 00 01 00 00 00 00 00 00 00 00", "8/00/05"},
    // In append-only mode nothing is overwritten unless it was allowed.
    {"15 10 00 00 24 00", "", 0, "00 00 10 00 50 01 00 1C 00 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                 "00 00 00 00 00 00 00 00"},
    {"01 00 00 00 00 00", ""},
    {"10 00 00 00 01 00", "7/30/0C"},
    {"82 00 01 00 00 00 00 00 00 00 00 01 00 00 00 00", "5/24/00"},  // the tape is not there
    {"82 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00", ""},
    {"10 00 00 00 01 00", ""},
    {"10 00 00 00 01 00", ""},
    {"01 00 00 00 00 00", ""},
    {"0B 00 00 00 00 00", "7/30/0C"},
    {"82 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00", ""},
    {"0B 00 00 00 00 00", ""},
    {"4D 00 71 00 00 00 03 02 00 00", "31 00 00 10 00 03 00 04 00 01 D1 A9", 0},  // SET CAPACITY leaves a twentieth
    {"56 00 00 00 00 00 00 00 00 00", ""},
    {"57 00 00 00 00 00 00 00 00 00", ""},
    {"16 00 00 00 00 00", ""},
  });
  EXPECT_EQ(drive.display(), "LOAD    NOW     ");
  EXPECT_TRUE(drive.reserved());
  tape.follow({{"1D 12 00 00 08 00", "", 0, "80 00 00 04 20 02 00 00"}, {"00 00 00 00 00 00", "error 1117"}});
  EXPECT_FALSE(drive.reserved()) << "reset by diagnostic";

  // Cartridges of other generations, and one for cleaning.
  VirtualDrive& eighth = room.addDrive({.target = 6, .model = "ULTRIUM-PX8"});
  Conversation other(port, eighth.options());
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
  Conversation(port, held.options()).follow({
    {"00 00 00 00 00 00", "status 18"}, {"5E 00 00 00 00 00 00 00 FF 00", "status 18"}, {"12 00 00 00 24 00", "01"},
    {"03 00 00 00 12 00", "70"}, {"A0 00 00 00 00 00 00 00 00 20 00 00", "00"}, {"4D 00 51 00 00 00 00 02 00 00", "11"},
    {"1E 00 00 00 00 00", ""}, {"1E 00 00 00 01 00", "status 18"}, {"17 00 00 00 00 00", ""},
  });
  VirtualDrive& prevented = room.addDrive({.target = 7}, {.cartridge = true, .removalPrevented = true});
  Conversation(port, prevented.options()).follow({
    {"1E 00 00 00 00 00", ""}, {"1B 00 00 00 00 00", "5/53/02"}, {"00 00 00 00 00 00", ""},
  });
}

TEST(ChangerAnswers, ToWhatDrivesKnowToo) {
  Room room;
  VirtualChanger& library = room.addChanger({.target = 2, .worldWideName = 0x10}, {.importExport = {0x10, 0}});
  Conversation changer(port, library.options());
  const char* keys = "00 00 00 00 00 00 00 00 11 22 33 44 55 66 77 88 00 00 00 00 00 00 00 00";
  const char* again = "11 22 33 44 55 66 77 88 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
  changer.follow({
    {"12 00 00 00 60 00", "0A 40 04 60 04 80", 58},
    {"12 01 00 00 FF 00", "08 00 00 04 00 80 83 86"},
    {"5A 08 3F FF 00 00 00 00 FF 00", "00 32 00 00 00 00 00 00 1D 12 00 01 00 01 10 00 00 18 00 10 00 00 01 00 00 02 00 00 "
                                      "1E 02 01 00 1F 12 0A 00 00 0A 00 0A 00 00 00 00 00 0A 00 0A 00 00 00 00"},
    {"1A 08 FF 00 FF 00", "5/39/00"},  // nothing is saved
    {"4D 00 40 00 00 00 00 00 FF 00", "00 00 00 02 00 2E"},
    {"4D 00 6E 00 00 00 40 00 FF 00", "2E 00 00 05 00 40 03 01 00"},
    {"A3 0C 01 A5 00 00 00 00 00 FF 00 00", "00 03 00 0C A5 00 FF FF FF FF FF FF 00 00 01 00"},
    {"1E 00 00 00 02 00", "5/24/00"},
    {"5F 00 00 00 00 00 00 00 18 00", "", 0, keys},
    {"5F 01 03 00 00 00 00 00 18 00", "status 18", 0, keys},  // the key does not fit
    {"5F 01 03 00 00 00 00 00 18 00", "", 0, again},
    {"5E 00 00 00 00 00 00 00 FF 00", "00 00 00 01 00 00 00 08 11 22 33 44 55 66 77 88"},
    {"5E 01 00 00 00 00 00 00 FF 00", "00 00 00 01 00 00 00 10 11 22 33 44 55 66 77 88 00 00 00 00 00 03 00 00"},
    {"5E 03 00 00 00 00 00 00 FF 00", "00 00 00 01 00 00 00 30 11 22 33 44 55 66 77 88 00 00 00 00 01 03 00 00 00 00 00 01 "
                                      "00 00 00 18 00 00 00 00 00 00 00 00 10 00 00 00 C9 00 00 00"},
    {"5F 02 01 00 00 00 00 00 18 00", "5/26/04", 0, again},
    {"5F 03 00 00 00 00 00 00 18 00", "", 0, again},
    {"5E 01 00 00 00 00 00 00 FF 00", "00 00 00 02 00 00 00 00"},
    {"5F 07 00 00 00 00 00 00 18 00", "5/24/00", 0, again},
  });
  // A power cycle is told once by any command but INQUIRY and REPORT LUNS, REQUEST SENSE among them.
  library.restart(5);
  changer.follow({{"12 00 00 00 24 00", "08"}, {"03 00 00 00 12 00", "29 00", 12}, {"00 00 00 00 00 00", "2/04/01"},
                  {"B8 00 00 00 00 01 02 00 00 08 00 00", "00 01 00 01"}});  // what is known already
  room.clock().advance(5000);
  changer.follow({{"16 00 00 00 00 00", "6/28/00"}, {"00 00 00 00 00 00", ""}});
}
// clang-format on

}  // namespace
}  // namespace simulator
