#include "kiv/changer/commands.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "kiv/changer/driver_commands.h"
#include "tests/support/record.h"

namespace {

// clang-format off
TEST(ChangerCommands, BuildTheirCdbs) {
  Record record;
  COMMAND(ChangerMoveMedium(0x102, 0x304, 0x506));
  COMMAND(ChangerMoveMedium(1, 2, 3), c.setSourceAddress(0xA0B), c.setDestinationAddress(0xC0D));
  COMMAND(ChangerCmdExchangeMedium(0x102, 0x304, 0x506, 0x708));
  COMMAND(ChangerCmdExchangeMedium(1, 2, 3, 4), c.setTransportElementAddress(0xA0B), c.setSourceAddress(0xC0D),
          c.setFirstDestinationAddress(0xE0F), c.setSecondDestinationAddress(0x1011));
  COMMAND(ChangerCmdPositionToElement(0x102, 0x304));
  COMMAND(ChangerCmdPositionToElement(1, 2), c.setTransportElementAddress(0xA0B), c.setDestinationAddress(0xC0D));
  COMMAND(ChangerCmdInitializeElementStatus());
  COMMAND(ChangerCmdInitializeElementStatusWithRange(0x102, 0x304, 0xE7));
  COMMAND(ChangerCmdInitializeElementStatusWithRange(1, 2, 0x37), c.setStartingElementAddress(0xA0B), c.setNbrOfElements(0xC0D));
  COMMAND(ChangerCmdPreventAllowMediumRemoval(false), c.setActionCode(true));
  COMMAND(ChangerCmdPreventAllowMediumRemoval(true), c.setActionCode(false));
  COMMAND(ChangerOpenCloseImportExportElement(0x102, 0xE1));
  COMMAND(ChangerOpenCloseImportExportElement(1, 0), c.setIOElementAddress(0xA0B), c.setActionCode(0xFF));
  COMMAND(ChangerCmdReadElementStatus(2, 0x1000, 10, true, false, 0x400));
  COMMAND(ChangerCmdReadElementStatus(4, 0x100, 0x203, false, true, 9));
  COMMAND(ChangerCmdReadElementStatus(2, 0, 0, false, false, 8), c.setPVolTag(true), c.setDvcId(true),
          c.setElementAddress(0xA0B), c.setNbrOfElements(0xC0D), c.setLunId(7), c.setAllocLength(0x10203));
  COMMAND(ChangerCmdElementInformation());
  COMMAND(ChangerCmdReadCartridgeLocation(0, 5));
}
// clang-format on

TEST(ReadElementStatus, ReadsItsOwnFields) {
  ChangerCmdReadElementStatus cmd(2, 1, 1, true, false, 8);
  cmd.setLunId(1);
  EXPECT_EQ(cmd.getCdb()[1], 0x32);
  cmd.setElementTypeCode(4);
  EXPECT_EQ(cmd.getCdb()[1], 0x14) << "the LUN is lost";
  EXPECT_TRUE(cmd.getParamPVolTag());
  EXPECT_FALSE(cmd.getParamDevID());
  cmd.setPVolTag(false);
  cmd.setDvcId(true);
  EXPECT_FALSE(cmd.getParamPVolTag());
  EXPECT_TRUE(cmd.getParamDevID());

  std::ranges::copy(bytes("01 02 03 04 FF 05 06 07"), cmd.getIoData());
  EXPECT_EQ(cmd.getFirstElementAddressReported(), 0x0102);
  EXPECT_EQ(cmd.getNumberElementsAvail(), 0x0304);
  EXPECT_EQ(cmd.getByteCntReportAvail(), 0x050607u);
  cmd.setAllocLength(7);
  std::ranges::fill(cmd.ioDataSpan(), std::uint8_t{0xFF});
  EXPECT_EQ(cmd.getNumberElementsAvail() + cmd.getByteCntReportAvail(), 0u) << "no whole header";
}

}  // namespace
