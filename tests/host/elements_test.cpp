#include "host/core/elements.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/core/result.h"
#include "kiv/device/target.h"
#include "simulator/room/room.h"

namespace {

struct ElementsTable : testing::Test {
  simulator::Room room;
  simulator::VirtualDrive& drive =
      room.addDrive({.target = 1, .model = "ULTRIUM-PX6", .serial = "S123456789"});
  simulator::VirtualChanger& library =
      room.addChanger({.target = 2, .model = "TAPELIB-40", .serial = "LIB0001"},
                      {.importExport = {0x10, 1},
                       .slots = {0x1000, 6},
                       .bays = {&drive},
                       .cartridges = {{0x100, "QOR003L6"}, {0x1001, "QOR001L6"}, {0x1005, ""}}});
  ScsiTarget target;

  void SetUp() override { ASSERT_EQ(target.openDevice(0, 2, 0, 0, nullptr, 1), CMD_OK); }
  void TearDown() override { EXPECT_EQ(room.openHandles(), 0u) << "the table leaves the library closed"; }
};

TEST_F(ElementsTable, TellsWhatLiesWhereAndJoinsEmptySlots) {
  library.element(0x100).source = 0x1000;
  library.element(0x1001).exception = {0x30, 0x00};
  EXPECT_EQ(host::elementsTable(target),
            "Library TAPELIB-40, serial number LIB0001\n"
            "ADDRESS    ELEMENT        STATE              CARTRIDGE  FROM  DEVICE\n"
            "256        drive          full               QOR003L6   4096  QOR ULTRIUM-PX6 S123456789\n"
            "257        drive          no drive\n"
            "1          robot          empty\n"
            "16         import/export  empty\n"
            "4096       slot           empty\n"
            "4097       slot           full, fault 30/00  QOR001L6\n"
            "4098-4100  slot           empty\n"
            "4101       slot           full\n");
}

TEST_F(ElementsTable, OutlivesUnitAttentionsAndTellsARefusal) {
  library.addUnitAttention(0x28, 0x00);
  library.addUnitAttention(0x29, 0x00);
  EXPECT_THAT(host::elementsTable(target), testing::HasSubstr("QOR001L6"));

  room.addFault({.cdb = "B8", .times = 0, .sense = simulator::Sense{.key = 2, .asc = 4, .ascq = 1}});
  EXPECT_THAT([&] { host::elementsTable(target); },
              testing::ThrowsMessage<host::HostError>(testing::HasSubstr("sense 2/04/01")));
}

}  // namespace
