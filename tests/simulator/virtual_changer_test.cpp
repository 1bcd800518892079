#include "simulator/devices/virtual_changer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/room/room.h"

namespace simulator {
namespace {

using testing::ElementsAre;

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

  ScsiRequest send(const Bytes& cdb) {
    ScsiRequest request;
    std::copy(cdb.begin(), cdb.end(), request.cdb.begin());
    request.cdbLength = cdb.size();
    request.dataInCapacity = 0x1000;
    library.execute(request);
    return request;
  }
  /// "good", or the sense of a refusal.
  std::string outcome(const Bytes& cdb) {
    const ScsiRequest request = send(cdb);
    if (request.status == statusGood) return "good";
    return toHex(std::array{request.sense[2], request.sense[12], request.sense[13]});
  }
};

TEST_F(VirtualChangerTest, ReportsElementsAsTheStandardLaysThemOut) {
  library.element(0x1000).source = 0x1002;
  library.element(0x1001).exception = {0x83, 0x02};
  library.placeCartridge(0x10, makeCartridge("QOR002L6"));
  EXPECT_EQ(outcome({0, 0, 0, 0, 0, 0}), "06 28 01");
  const Bytes image = send({0xB8, 0x10, 0, 0, 0, 0xFF, 0x01, 0, 0x10, 0, 0, 0}).dataIn;
  const auto at = [&](std::size_t begin, std::size_t size) {
    return toHex(std::span(image).subspan(begin, size));
  };
  const std::string blanks24 = "20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20";
  EXPECT_EQ(at(0, 8), "00 01 00 07 00 00 01 D0");
  // Robot: no cartridge, no label.
  EXPECT_EQ(at(8, 8), "01 80 00 34 00 00 00 34");
  EXPECT_EQ(at(16, 12), "00 01 00 00 00 00 00 00 00 00 00 00");
  // Slots: full with a label and a source, full with an exception and without a label, empty.
  EXPECT_EQ(at(68, 8), "02 80 00 34 00 00 00 9C");
  EXPECT_EQ(at(76, 12), "10 00 09 00 00 00 00 00 00 80 10 02");
  EXPECT_EQ(at(88, 32 + 4), "51 4F 52 30 30 31 4C 36 " + blanks24 + " 00 00 00 00");
  EXPECT_EQ(at(128, 12), "10 01 0D 00 83 02 00 00 00 00 00 00");
  EXPECT_EQ(at(180, 12), "10 02 08 00 00 00 00 00 00 00 00 00");
  // Import/export: placed by a person; cartridges may pass both ways.
  EXPECT_EQ(at(232, 8), "03 80 00 34 00 00 00 34");
  EXPECT_EQ(at(240, 12), "00 10 3B 00 00 00 00 00 00 00 00 00");
  // Bays: a drive with its T10 identifier, and an empty one.
  EXPECT_EQ(at(292, 8), "04 80 00 56 00 00 00 AC");
  EXPECT_EQ(at(300, 12), "01 00 08 00 00 00 00 00 00 00 00 00");
  EXPECT_EQ(at(348, 4 + 34),
            "02 01 00 22 51 4F 52 20 20 20 20 20 55 4C 54 52 49 55 4D 2D 50 58 36 20 20 20 20 20 "
            "53 31 32 33 34 35 36 37 38 39");
  EXPECT_EQ(at(434, 4), "00 00 00 00");
  EXPECT_EQ(image.size(), 472u);

  struct Selection {
    Bytes cdb;
    std::size_t size;
    std::string header;
  };
  const Selection selections[] = {
      {{0xB8, 0x02, 0x10, 0x01, 0, 9, 0, 0, 0xFF, 0, 0, 0},
       48,
       "10 01 00 02 00 00 00 28"},                                                       // from an address on
      {{0xB8, 0x04, 0, 0, 0, 1, 0, 0, 0xFF, 0, 0, 0}, 32, "01 00 00 01 00 00 00 18"},    // at most one
      {{0xB8, 0x02, 0x20, 0, 0, 9, 0, 0, 0xFF, 0, 0, 0}, 8, "00 00 00 00 00 00 00 00"},  // none
      {{0xB8, 0, 0, 0, 0, 9, 0, 0, 0, 8, 0, 0}, 8, "00 01 00 07 00 00 00 90"},    // room for the header alone
      {{0xB8, 0, 0, 0, 0, 9, 0, 0, 0, 47, 0, 0}, 40, "00 01 00 07 00 00 00 90"},  // no descriptor in part
  };
  for (const Selection& row : selections) {
    const ScsiRequest request = send(row.cdb);
    EXPECT_EQ(request.dataIn.size(), row.size) << toHex(row.cdb);
    EXPECT_EQ(toHex(std::span(request.dataIn).first(8)), row.header) << toHex(row.cdb);
  }
  EXPECT_EQ(outcome({0xB8, 0x05, 0, 0, 0, 9, 0, 0, 0, 8, 0, 0}), "05 24 00");
  EXPECT_EQ(toHex(send({0x1A, 0x08, 0x1D, 0, 24, 0}).dataIn),
            "17 00 00 00 1D 12 00 01 00 01 10 00 00 03 00 10 00 01 01 00 00 02 00 00");
}

TEST_F(VirtualChangerTest, MovesCartridgesAndRefusesWhatCannotBe) {
  const std::pair<Bytes, std::string> steps[] = {
      {{0xA5, 0, 0, 1, 0x10, 2, 1, 0, 0, 0, 0, 0}, "05 3B 0E"},     // an empty slot
      {{0xA5, 0, 0, 1, 0x10, 0, 0x10, 1, 0, 0, 0, 0}, "05 3B 0D"},  // a full one
      {{0xA5, 0, 0, 9, 0x10, 0, 1, 0, 0, 0, 0, 0}, "05 21 01"},     // no such robot
      {{0xA5, 0, 0, 1, 0x10, 9, 1, 0, 0, 0, 0, 0}, "05 21 01"},     // no such slot
      {{0xA5, 0, 0, 1, 0x10, 0, 1, 1, 0, 0, 0, 0}, "05 3B 1A"},     // a bay without a drive
      {{0xA5, 0, 0, 0, 0x10, 0, 1, 0, 0, 0, 1, 0}, "good"},         // into the drive, turned over
      {{0x1E, 0, 0, 0, 1, 0}, "good"},
      {{0xA5, 0, 0, 1, 0x10, 1, 0, 0x10, 0, 0, 0, 0}, "05 53 02"},  // removal is prevented
      {{0x1B, 0, 0, 0x10, 0, 0}, "05 53 02"},
      {{0x1E, 0, 0, 0, 0, 0}, "good"},
      {{0xA6, 0, 0, 1, 0x10, 1, 1, 0, 0x10, 0, 0, 0},
       "good"},  // the other cartridge for the one in the drive
      {{0x1B, 0, 0, 0x10, 0, 0}, "good"},
      {{0xA5, 0, 0, 1, 0x10, 0, 0, 0x10, 0, 0, 0, 0}, "05 3B 11"},  // the station is open
      {{0x1B, 0, 0, 0x10, 1, 0}, "good"},
      {{0x1B, 0, 0x10, 0, 0, 0}, "05 21 01"},
      {{0x2B, 0, 0, 1, 0x10, 0, 0, 0, 0, 0}, "good"},
      {{0x37, 0x01, 0x10, 0, 0, 0, 0, 3, 0, 0}, "good"},
      {{0xE7, 0x01, 0x20, 0, 0, 0, 0, 3, 0, 0}, "05 21 01"},
  };
  EXPECT_FALSE(drive.loaded());
  for (const auto& [cdb, expected] : steps) EXPECT_EQ(outcome(cdb), expected) << toHex(cdb);
  EXPECT_TRUE(drive.loaded());
  EXPECT_EQ(drive.medium()->options().barcode, "");
  EXPECT_EQ(library.element(0x100).source, 0x1001);
  EXPECT_EQ(library.element(0x1000).medium()->options().barcode, "QOR001L6");
  EXPECT_TRUE(library.element(0x1000).inverted);
  EXPECT_EQ(library.element(0x1001).medium(), nullptr);
}

TEST_F(VirtualChangerTest, BecomesReadyAndSaysSoOnce) {
  library.restart(5);
  EXPECT_EQ(outcome({0xB8, 0, 0, 0, 0, 1, 0x02, 0, 0, 8, 0, 0}), "06 29 00");
  EXPECT_EQ(outcome({0x1A, 0x08, 0x1D, 0, 24, 0}), "02 04 01");
  EXPECT_EQ(outcome({0xB8, 0, 0, 0, 0, 1, 0x02, 0, 0, 8, 0, 0}), "good");  // what is known already
  room.clock().advance(5000);
  EXPECT_EQ(outcome({0x1A, 0x08, 0x1D, 0, 24, 0}), "06 28 00");
  EXPECT_EQ(outcome({0x1A, 0x08, 0x1D, 0, 24, 0}), "good");
}

TEST_F(VirtualChangerTest, LiesOnRequest) {
  library.element(0x100).designator = Designator{.identifier = Bytes(4, 'X'), .claimedLength = 252};
  library.lies() = {
      .descriptorLength = 0, .pageByteCount = 0xFFFFFF, .elementCount = 0xFFFF, .reportByteCount = 7};
  const Bytes image = send({0xB8, 0x04, 0, 0, 0, 9, 0x01, 0, 0xFF, 0, 0, 0}).dataIn;
  EXPECT_EQ(toHex(std::span(image).first(16)), "01 00 FF FF 00 00 00 07 04 00 00 00 00 FF FF FF");
  EXPECT_EQ(toHex(std::span(image).subspan(28, 8)), "02 01 00 FC 58 58 58 58");
}

}  // namespace
}  // namespace simulator
