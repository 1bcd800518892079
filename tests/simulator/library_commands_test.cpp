// The library's commands against what simulated drives and libraries answer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/changer/commands.h"
#include "kiv/changer/element_status.h"
#include "kiv/device/target.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/tape/information.h"
#include "kiv/tape/medium.h"
#include "kiv/tape/reservations.h"
#include "kiv/tape/security.h"
#include "simulator/room/room.h"
#include "tests/support/hex.h"

namespace {

struct LibraryCommands : testing::Test {
  simulator::Room room;
  simulator::VirtualDrive& drive = room.addDrive({.target = 5, .model = "ULTRIUM-PX6"}, {.cartridge = true});
  simulator::VirtualChanger& library = room.addChanger({.target = 2}, {.bays = {&drive}});
  ScsiTarget target;

  void TearDown() override {
    target.closeDevice();
    EXPECT_EQ(room.openHandles(), 0u);
  }
  void open(std::uint64_t id) { ASSERT_EQ(target.openDevice(0, id, 0, 0, nullptr, 1), CMD_OK); }
  template <typename Command>
  Command& run(Command&& command, const std::string& out = "") {
    const auto list = bytes(out);
    std::copy(list.begin(), list.end(), command.ioDataSpan().begin());
    EXPECT_EQ(target.scsiExecCDB(command), CMD_OK) << hex(command.cdbSpan());
    return command;
  }
};

TEST_F(LibraryCommands, ReadDrives) {
  open(5);
  using Log = ScsiCmdLogSense;
  EXPECT_EQ(run(ScsiCmdModeSense6(false, 0, 0, 0)).getPageLength(), 11);
  EXPECT_EQ(run(ScsiCmdInquiry(0xB0, true, 64)).getIoData()[4], 0x01) << "WORM";
  EXPECT_EQ(run(Log(1, 0x0D, 0, 64)).getAttributeValue(0), 31u);
  EXPECT_EQ(run(Log(1, 0x11, 0, 64)).getAttributeValue(0), 0x31130000u);
  EXPECT_EQ(run(Log(1, 0x12, 0, 64)).getAttributeValue(0), 0u);
  EXPECT_EQ(run(Log(1, 0x14, 0, 512)).getAttributeValue(0x000C), 1u);
  EXPECT_EQ(run(Log(1, 0x1B, 0, 512)).getAttributeValue(0x0001), 100u);
  EXPECT_EQ(run(Log(1, 0x31, 0, 64)).getAttributeValue(3), 2'384'185u);
  EXPECT_EQ(run(TapeCmdReadAttribute(0, 0, 0, 0x0220, 1024)).getAttributeLength(0x0223), 13u);
  EXPECT_EQ(run(TapeCmdReadAttribute(0, 0, 0, 0x0000, 1024)).isAttributeSupported(0x0407), CMD_OK);
  EXPECT_EQ(run(TapeCmdReportDensitySupport(true, 256)).getAvailableDensitySupportLength(), 54);
  room.clock().advance(1234);
  EXPECT_EQ(run(TapeCmdReportTimeStamp(12)).getTimeStamp(), 1234u);
  run(TapeCmdSecurityProtocolOut(0x20, 0x0010, 52),
      "00 10 00 30 40 00 02 03 01 00 00 00 00 00 00 00 00 00 00 20 00");
  EXPECT_EQ(hex(run(TapeCmdSecurityProtocolIn(0x20, 0x0020, 12)).ioDataSpan()),
            "00 20 00 14 42 02 03 01 00 00 00 01");
  run(TapeCmdSetCapacity(0, false));
  EXPECT_EQ(run(Log(1, 0x31, 0, 64)).getAttributeValue(3), 2'384'185u / 20);
}

TEST_F(LibraryCommands, ReadLibraries) {
  open(2);
  EXPECT_EQ(run(ScsiCmdLogSense(1, 0x2E, 0, 512)).isAttributeSupported(63), CMD_OK);
  run(TapeCmdPersistentReserveOut(PERSIST_REGISTER, PERSIST_EXCLUSIVE_ACCESS, 24),
      "00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34");
  EXPECT_THAT(run(TapeCmdPersistentReserveIn(PERSIST_READ_KEYS, 64)).getReservationsKeys(),
              testing::ElementsAre(0x1234u));
  auto&& status = ChangerCmdReadElementStatus(ELEMENT_DATA_TRANSFER, 0, 2, false, false, 512);
  run(status);
  EXPECT_THAT(ChangerElementStatusData(status.getIoData(), status.getIoDataLength(), false).toString(),
              testing::HasSubstr("ASC/ASCQ ...................... 3B1A"));
  ChangerMoveMedium move(0, 0x1000, 0x0101);
  EXPECT_EQ(target.scsiExecCDB(move), CMD_ERROR) << "the slot is empty";
  library.restart(0);
  ScsiCmdRequestSense sense(18);
  EXPECT_EQ(hex(run(sense).ioDataSpan().subspan(12, 2)), "29 00");
}

}  // namespace
