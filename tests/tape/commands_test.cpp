#include <gmock/gmock.h>

#include <memory>

#include "kiv/tape/data_transfer.h"
#include "kiv/tape/diagnostics.h"
#include "kiv/tape/display_message.h"
#include "kiv/tape/driver_positioning.h"
#include "kiv/tape/driver_unsupported.h"
#include "kiv/tape/information.h"
#include "kiv/tape/medium.h"
#include "kiv/tape/positioning.h"
#include "kiv/tape/reservations.h"
#include "kiv/tape/security.h"
#include "tests/support/captured_output.h"
#include "tests/support/record.h"

namespace {

// clang-format off
TEST(TapeCommands, Position) {
  Record record;
  COMMAND(TapeCmdRewind(false));
  COMMAND(TapeCmdRewind(true));
  COMMAND(TapeCmdRewind(false), c.getCdb()[1] = 0xFE, c.setImmedFlag(true));
  COMMAND(TapeCmdLocate(true, 0xF1020304));
  COMMAND(TapeCmdLocate(true, 1), c.getCdb()[1] = 0xFF, c.setImmedFlag(false), c.setBlockAddr(0xA1B2C3D4));
  COMMAND(TapeCmdLocate16(false, 0x0102030405060708, 0));
  COMMAND(TapeCmdLocate16(true, 5, 0x1FE));
  COMMAND(TapeCmdLocate16(false, 5, 3), c.setPartitionNumber(0), c.setBlockAdr(0xFF00000000000006));
  COMMAND(TapeCmdLocate16(false, 5, 3), c.setImmedFlag(true));
  COMMAND(TapeCmdLocate16(false, 5, 3), c.setImmedFlag(false), c.setPartitionNumber(0));
  COMMAND(TapeCmdLocate16(false, 5, 3), c.setImmedFlag(true), c.setPartitionNumber(2));
  COMMAND(TapeCmdSpace(1, -1));
  COMMAND(TapeCmdSpace(0x0B, 0x01020304));
  COMMAND(TapeCmdSpace(1, 1), c.setMode(0x0A), c.setCount(-0x800000));
  COMMAND(TapeCmdReadPosition());
  TapeCmdLocate16 locate(false, 0x0102030405060708, 0x1FE);
  TELL(locate.getBlockId(), locate.getPartitionNumber());
  locate.setBlockAdr(~0ull), locate.setPartitionNumber(0x101);
  TELL(locate.getBlockId(), locate.getPartitionNumber());
  for (const bool physical : {false, true}) {
    TapeCmdReadPosition position;
    if (physical) position.setBlockFormatPhysical(true);
    const std::unique_ptr<QORScsiCommand> twin(position.createQORCommand());
    TELL(physical, dynamic_cast<QORTapeCmdReadPosition&>(*twin).isBlockFormatPhysical());
  }
}

TEST(TapeCommands, HandleTheCartridge) {
  Record record;
  COMMAND(TapeCmdLoad(true));
  COMMAND(TapeCmdLoad(true), c.getCdb()[1] = 0x81, c.setImmedFlag(false));
  COMMAND(TapeCmdLoad(false), c.getCdb()[4] = 0x0D, c.setRetentionFlag(true));
  COMMAND(TapeCmdLoad(false), c.getCdb()[4] = 0x0F, c.setRetentionFlag(false));
  COMMAND(TapeCmdUnLoad(true, true));
  COMMAND(TapeCmdUnLoad(false, false));
  COMMAND(TapeCmdUnLoad(false, false), c.getCdb()[1] = 0x80, c.setImmedFlag(true));
  COMMAND(TapeCmdUnLoad(false, false), c.getCdb()[4] = 0x0D, c.setRetentionFlag(true));
  COMMAND(TapeCmdUnLoad(false, false), c.getCdb()[4] = 0x0F, c.setRetentionFlag(false));
  COMMAND(TapeCmdPreventAllowMediumRemoval(true));
  COMMAND(TapeCmdPreventAllowMediumRemoval(false));
  COMMAND(TapeCmdPreventAllowMediumRemoval(false), c.setPreventFlag(true));
  COMMAND(TapeCmdPreventAllowMediumRemoval(true), c.setPreventFlag(false));
  COMMAND(TapeCmdFormat(0x1F, true));
  COMMAND(TapeCmdFormat(1, true), c.getCdb()[2] = 0xFF, c.setFormatType(2), c.setImmedFlag(false));
  COMMAND(TapeCmdErase(true, true));
  COMMAND(TapeCmdErase(false, false));
  COMMAND(TapeCmdErase(false, false), c.setLongFlag(false));
  COMMAND(TapeCmdErase(true, true), c.setImmedFlag(false));
  COMMAND(TapeCmdSetCapacity(0x1234, true));
  COMMAND(TapeCmdSetCapacity(0, true), c.setImmedFlag(false), c.setProportionVal(0xFFFE));
  TapeCmdLoad load(true);
  TELL(load.getImmedFlag(), load.getRetentionFlag());
  load.setImmedFlag(false), load.setRetentionFlag(true);
  TELL(load.getImmedFlag(), load.getRetentionFlag());
}

TEST(TapeCommands, MoveData) {
  Record record;
  COMMAND(TapeCmdReadBlockLimits());
  COMMAND(TapeCmdModeSelect6(3, 0xFF020304));
  COMMAND(TapeCmdModeSelect6(1, 512), c.setBufferedMode(2), c.setBlockLength(0x040000));
  COMMAND(TapeCmdRead6(0x0203, 77, true, false));
  COMMAND(TapeCmdRead6(0xFF000002, 1024, false, true));
  COMMAND(TapeCmdRead6(4, 8, true, true), c.setTransferLength(0xFF010203), c.setSiliFlag(false), c.setFixedFlag(false));
  COMMAND(TapeCmdRead6(4, 8, false, false), c.setSiliFlag(true), c.setFixedFlag(true));
  COMMAND(TapeCmdWrite6(0x0203, 77, false));
  COMMAND(TapeCmdWrite6(2, 1024, true));
  COMMAND(TapeCmdWrite6(4, 8, true), c.setTransferLength(0xFF010203), c.setFixedFlag(false));
  COMMAND(TapeCmdWriteFileMarks(true, 0xFF020304));
  COMMAND(TapeCmdWriteFileMarks(true, 1), c.getCdb()[1] = 0xFF, c.setImmedFlag(false));
  COMMAND(TapeCmdVerify(true, false, true, false, false, false, 1));
  COMMAND(TapeCmdVerify(false, true, false, true, false, false, 0));
  COMMAND(TapeCmdVerify(false, false, false, false, true, true, 0));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setBytcmpFlag(true));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setImmedFlag(true));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setVbfFlag(true));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setVlbmpmFlag(true));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setVteFlag(true));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setFixedFlag(false));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setBytcmpFlag(false));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setImmedFlag(false), c.setVbfFlag(false), c.setVlbmpmFlag(false), c.setVteFlag(false));
  COMMAND(TapeCmdVerify(true, true, true, true, true, true, 0xFF123456), c.setVerifyLength(0x010203));
}

TEST(TapeCommands, ReserveAndSecure) {
  Record record;
  COMMAND(TapeCmdReserveUnit6());
  COMMAND(TapeCmdReleaseUnit6());
  COMMAND(TapeCmdPersistentReserveIn(PERSIST_READ_RESERVATION, 0x0102));
  COMMAND(TapeCmdPersistentReserveIn(PERSIST_READ_KEYS, 8), c.setServiceAction(PERSIST_READ_FULL_STATUS), c.setReservationType(PERSIST_EXCLUSIVE_ACCESS), c.getCdb()[6] = 0xFF, c.setAllocationLength(0x010203));
  COMMAND(TapeCmdPersistentReserveOut(PERSIST_PREEMPT, PERSIST_WRITE_EXCLUSIVE_REGISTRANTS_ONLY, 24));
  COMMAND(TapeCmdPersistentReserveOut(PERSIST_REGISTER, PERSIST_WRITE_EXCLUSIVE, 24), c.setServiceAction(PERSIST_REGISTER_AND_MOVE), c.setReservationType(PERSIST_EXCLUSIVE_ACCESS_ALL_REGISTRANTS), c.getCdb()[6] = 0xFF, c.setAllocationLength(0x0104));
  COMMAND(TapeCmdSecurityProtocolIn(0x20, 0x0121, 0x010203));
  COMMAND(TapeCmdSecurityProtocolIn(0, 0, 4), c.setSecurityProtocol(0x20), c.setSecurityProtocolSpecific(0x0010), c.setSecurityProtocolLength(0x0408));
  COMMAND(TapeCmdSecurityProtocolOut(0x20, 0x0110, 0x0114));
  COMMAND(TapeCmdSecurityProtocolOut(0, 0, 4), c.setSecurityProtocol(0x21), c.setSecurityProtocolSpecific(0x0203), c.setSecurityProtocolLength(16));
  COMMAND(TapeCmdQueryLogicalBlockProtection());
}

TEST(TapeCommands, ExchangeInformation) {
  Record record;
  COMMAND(TapeCmdReadAttribute(0xE1, 3, 2, 0x0401, 0x010200));
  COMMAND(TapeCmdReadAttribute(0, 0, 0, 0, 0x0304), c.setAction(0x3F), c.setVolumeNumber(7), c.setPartNumber(8), c.setFirstAttributeId(0x0806), c.setAllocLength(0xFF));
  COMMAND(TapeCmdWriteAttribute(3, 2, 0x010200));
  COMMAND(TapeCmdWriteAttribute(0, 0, 0x0304), c.setVolumeNumber(9), c.setPartNumber(1), c.setAllocLength(0x11));
  COMMAND(TapeCmdLogSelect(true, 3, 0x0102));
  COMMAND(TapeCmdLogSelect(true, 3, 0x0102), c.setPcrFlag(false), c.setPageControl(5), c.setAllocLength(9));
  COMMAND(TapeCmdReportDensitySupport(true, 0x0204));
  COMMAND(TapeCmdReportDensitySupport(false, 4), c.setMediaFlag(true));
  COMMAND(TapeCmdReportDensitySupport(true, 4), c.setMediaFlag(false), c.setAllocationLength(0x0103));
  COMMAND(TapeCmdReportTimeStamp(0x01000C));
  COMMAND(TapeCmdReportDynamicRuntimeInformation(0xE1, 0x0102, 0x0304, 0x010203));
  COMMAND(TapeCmdReportDynamicRuntimeInformation(0, 0, 0, 4), c.setServiceAction(1), c.setFirstAttribute(0x1020), c.setLastAttribute(0x3040), c.setAllocationLength(0x0508));
  TELL(TapeCmdReportDynamicRuntimeInformation(5, 0, 0, 0).getServiceAction());
}

TEST(TapeCommands, Diagnose) {
  Record record;
  COMMAND(TapeCmdResetDevice());
  COMMAND(TapeCmdPostA());
  COMMAND(TapeCmdPostA(), c.setCartridgeRequiredFlag(true));
  COMMAND(TapeCmdPostA(), c.setCartridgeRequiredFlag(true), c.setCartridgeRequiredFlag(false));
  COMMAND(TapeCmdPostB());
  COMMAND(TapeCmdPostC(0x0203));
  COMMAND(TapeCmdPostD(0xF1F2));
  COMMAND(TapeCmdForceDump());
  COMMAND(TapeCmdReadThermalSensor());
  COMMAND(TapeCmdChannelCalibration());
  COMMAND(TapeCmdChannelCalibration(), c.setDiagParamByte10(0xAB));
  COMMAND(TapeCmdTestEncryption(), c.prepareEKMSetUp());
  COMMAND(TapeCmdTestEncryption(), c.prepareEKMPath());
  COMMAND(TapeCmdTestEncryption(), c.prepareEKMPath(), c.prepareEKMFullDiagnostic());
}

TEST(TapeCommands, DisplayMessages) {
  Record record;
  COMMAND(TapeCmdDisplayMessage());
  COMMAND(TapeCmdDisplayMessage(), c.updateIoData());
  COMMAND(TapeCmdDisplayMessage("LOADING TAPE", nullptr, 0x60, 0x08));
  COMMAND(TapeCmdDisplayMessage("A", "B", 0xE0, 0x1C), c.setControl(0x04), c.setMessage(1, "CD"));
  COMMAND(TapeCmdDisplayMessage("A", "B", 0xE0, 0x1C), c.setMessage(1, "12345678"), c.setMessage(1, "CD"), c.setMessage(-1, "X"), c.setMessage(2, "X"), c.setControl(0x04), c.setType(0x20));
  COMMAND(TapeCmdDisplayMessage("A", "B", 0xE1, 0x1C), c.setControl(0x04), c.updateIoData());
  COMMAND(TapeCmdDisplayMessage("A", "B", 0xE0, 0x1C), c.initializeMessage(), c.updateIoData());
  for (const std::string& line : logOf([] { delete TapeCmdDisplayMessage("TOO LONG", "B", 0x20, 0x04).createQORCommand(); }))
    record(line);
}
// clang-format on

TEST(TapeCommands, StaySafeWithoutBuffers) {
  TapeCmdLocate16 locate(false, 1, 1);
  locate.setCdbLength(0);
  locate.setBlockAdr(2);
  locate.setPartitionNumber(2);
  locate.setImmedFlag(true);
  EXPECT_EQ(locate.getCdbLength(), 0);

  TapeCmdModeSelect6 select(1, 512);
  select.setIoDataLength(10);
  select.setBlockLength(0x01020304);
  EXPECT_EQ(hex(select.ioDataSpan()), "00 00 00 00 00 00 00 00 00 02");
  TapeCmdDisplayMessage display("A", "B", 0, 0);
  display.setIoDataLength(9);
  display.updateIoData();
  EXPECT_EQ(hex(display.ioDataSpan()), "00 00 00 00 00 00 00 10 41");
  display.setIoDataLength(0);
  display.updateIoData();
}

}  // namespace
