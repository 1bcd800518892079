#include <gmock/gmock.h>

#include <memory>

#include "kiv/tape/data_transfer.h"
#include "kiv/tape/diagnostics.h"
#include "kiv/tape/display_message.h"
#include "kiv/tape/driver_data_transfer.h"
#include "kiv/tape/driver_medium.h"
#include "kiv/tape/driver_positioning.h"
#include "kiv/tape/driver_security.h"
#include "kiv/tape/driver_unsupported.h"
#include "kiv/tape/information.h"
#include "kiv/tape/medium.h"
#include "kiv/tape/positioning.h"
#include "kiv/tape/reservations.h"
#include "kiv/tape/security.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"

namespace {

using Command = std::shared_ptr<GenericScsiCommand>;

Command made(GenericScsiCommand* command) { return Command(command); }

/// A command changed by setters.
template <typename Kind, typename Change>
Command changed(Kind* command, Change change) {
  change(*command);
  return Command(command);
}

template <typename Twin>
bool is(const QORScsiCommand* twin) {
  return dynamic_cast<const Twin*>(twin) != nullptr;
}
bool isNone(const QORScsiCommand* twin) { return twin == nullptr; }

constexpr auto none = SCSI_DATA_NONE, in = SCSI_DATA_IN, out = SCSI_DATA_OUT;

struct Row {
  Command command;
  const char* cdb;
  ScsiDataDirection direction;
  ulong32 ioLength;
  ulong32 timeOut;
  bool (*hasTwin)(const QORScsiCommand*);
  const char* parameters = nullptr;  // the data buffer; zeros when not given
};

void check(std::span<const Row> rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.cdb);
    GenericScsiCommand& command = *row.command;
    EXPECT_EQ(hex(command.cdbSpan()), row.cdb);
    EXPECT_EQ(command.getDataDirection(), row.direction);
    EXPECT_EQ(command.getTimeOut(), row.timeOut);
    EXPECT_EQ(command.getSenseDataLength(), 32);
    ASSERT_EQ(command.getIoDataLength(), row.ioLength);
    const std::vector<std::uint8_t> data(command.ioDataSpan().begin(), command.ioDataSpan().end());
    if (row.parameters != nullptr) {
      EXPECT_EQ(hex(data), row.parameters);
    } else {
      EXPECT_TRUE(data == std::vector<std::uint8_t>(row.ioLength));
    }
    EXPECT_TRUE(row.hasTwin(std::unique_ptr<QORScsiCommand>(command.createQORCommand()).get()));
  }
}

// clang-format off
TEST(TapeCommands, Position) {
  using Locate16 = TapeCmdLocate16;
  const Row rows[] = {
    {made(new TapeCmdRewind(false)), "01 00 00 00 00 00", none, 0, 600, is<QORTapeCmdRewind>},
    {made(new TapeCmdRewind(true)), "01 01 00 00 00 00", none, 0, 600, is<QORTapeCmdRewind>},
    {changed(new TapeCmdRewind(false), [](auto& c) { c.getCdb()[1] = 0xFE; c.setImmedFlag(true); }),
     "01 01 00 00 00 00", none, 0, 600, is<QORTapeCmdRewind>},

    {made(new TapeCmdLocate(true, 0xF1020304)),
     "2B 01 00 F1 02 03 04 00 00 00", none, 0, 2300, is<QORTapeCmdLocate>},
    {changed(new TapeCmdLocate(true, 1), [](auto& c) {
       c.getCdb()[1] = 0xFF; c.setImmedFlag(false); c.setBlockAddr(0xA1B2C3D4);
     }), "2B 00 00 A1 B2 C3 D4 00 00 00", none, 0, 2300, is<QORTapeCmdLocate>},

    // A change of partition is always asked for, and the address loses its top byte.
    {made(new Locate16(false, 0x0102030405060708, 0)),
     "92 02 00 00 00 02 03 04 05 06 07 08 00 00 00 00", none, 0, 2300, is<QORTapeCmdLocate16>},
    {made(new Locate16(true, 5, 0x1FE)),
     "92 03 00 FE 00 00 00 00 00 00 00 05 00 00 00 00", none, 0, 2300, is<QORTapeCmdLocate16>},
    {changed(new Locate16(false, 5, 3), [](auto& c) { c.setPartitionNumber(0); c.setBlockAdr(0xFF00000000000006); }),
     "92 02 00 00 00 00 00 00 00 00 00 06 00 00 00 00", none, 0, 2300, is<QORTapeCmdLocate16>},
    {changed(new Locate16(false, 5, 3), [](auto& c) { c.setImmedFlag(true); }),
     "92 01 00 03 00 00 00 00 00 00 00 05 00 00 00 00", none, 0, 2300, is<QORTapeCmdLocate16>},
    {changed(new Locate16(false, 5, 3), [](auto& c) { c.setImmedFlag(false); c.setPartitionNumber(0); }),
     "92 00 00 00 00 00 00 00 00 00 00 05 00 00 00 00", none, 0, 2300, is<QORTapeCmdLocate16>},
    {changed(new Locate16(false, 5, 3), [](auto& c) { c.setImmedFlag(true); c.setPartitionNumber(2); }),
     "92 03 00 02 00 00 00 00 00 00 00 05 00 00 00 00", none, 0, 2300, is<QORTapeCmdLocate16>},

    {made(new TapeCmdSpace(1, -1)), "11 01 FF FF FF 00", none, 0, 2300, is<QORTapeCmdSpace>},
    {made(new TapeCmdSpace(0x0B, 0x01020304)), "11 03 02 03 04 00", none, 0, 2300, is<QORTapeCmdSpace>},
    {changed(new TapeCmdSpace(1, 1), [](auto& c) { c.setMode(0x0A); c.setCount(-0x800000); }),
     "11 02 80 00 00 00", none, 0, 2300, is<QORTapeCmdSpace>},

    {made(new TapeCmdReadPosition), "34 00 00 00 00 00 00 00 00 00", in, 32, 30, is<QORTapeCmdReadPosition>},
  };
  check(rows);

  Locate16 locate(false, 0x0102030405060708, 0x1FE);
  EXPECT_EQ(locate.getBlockId(), 0x0102030405060708u);
  EXPECT_EQ(locate.getPartitionNumber(), 0x1FEu);
  locate.setBlockAdr(~0ull);
  locate.setPartitionNumber(0x101);
  EXPECT_EQ(locate.getBlockId(), ~0ull);
  EXPECT_EQ(locate.getPartitionNumber(), 0x101u);

  for (const bool physical : {false, true}) {
    TapeCmdReadPosition position;
    if (physical) position.setBlockFormatPhysical(true);
    const std::unique_ptr<QORScsiCommand> twin(position.createQORCommand());
    EXPECT_EQ(dynamic_cast<QORTapeCmdReadPosition&>(*twin).isBlockFormatPhysical(), physical);
  }
}

TEST(TapeCommands, HandleTheCartridge) {
  using Prevent = TapeCmdPreventAllowMediumRemoval;
  const Row rows[] = {
    {made(new TapeCmdLoad(true)), "1B 01 00 00 01 00", none, 0, 760, is<QORTapeCmdLoad>},
    {changed(new TapeCmdLoad(true), [](auto& c) { c.getCdb()[1] = 0x81; c.setImmedFlag(false); }),
     "1B 80 00 00 01 00", none, 0, 760, is<QORTapeCmdLoad>},
    {changed(new TapeCmdLoad(false), [](auto& c) { c.getCdb()[4] = 0x0D; c.setRetentionFlag(true); }),
     "1B 00 00 00 0F 00", none, 0, 760, is<QORTapeCmdLoad>},
    {changed(new TapeCmdLoad(false), [](auto& c) { c.getCdb()[4] = 0x0F; c.setRetentionFlag(false); }),
     "1B 00 00 00 0D 00", none, 0, 760, is<QORTapeCmdLoad>},
    {made(new TapeCmdUnLoad(true, true)), "1B 01 00 00 02 00", none, 0, 760, is<QORTapeCmdUnLoad>},
    {made(new TapeCmdUnLoad(false, false)), "1B 00 00 00 00 00", none, 0, 760, is<QORTapeCmdUnLoad>},
    {changed(new TapeCmdUnLoad(false, false), [](auto& c) { c.getCdb()[1] = 0x80; c.setImmedFlag(true); }),
     "1B 81 00 00 00 00", none, 0, 760, is<QORTapeCmdUnLoad>},
    {changed(new TapeCmdUnLoad(false, false), [](auto& c) { c.getCdb()[4] = 0x0D; c.setRetentionFlag(true); }),
     "1B 00 00 00 02 00", none, 0, 760, is<QORTapeCmdUnLoad>},
    {changed(new TapeCmdUnLoad(false, false), [](auto& c) { c.getCdb()[4] = 0x0F; c.setRetentionFlag(false); }),
     "1B 00 00 00 0D 00", none, 0, 760, is<QORTapeCmdUnLoad>},

    {made(new Prevent(true)), "1E 00 00 00 01 00", none, 0, 30, is<QORTapeCmdPreventAllowMediumRemoval>},
    {made(new Prevent(false)), "1E 00 00 00 00 00", none, 0, 30, is<QORTapeCmdPreventAllowMediumRemoval>},
    {changed(new Prevent(true), [](auto& c) { c.setPreventFlag(false); }),
     "1E 00 00 00 01 00", none, 0, 30, is<QORTapeCmdPreventAllowMediumRemoval>},

    {made(new TapeCmdFormat(0x1A, true)), "04 01 0A 00 00 00", none, 0, 3100, is<QORTapeCmdFormat>},
    {changed(new TapeCmdFormat(1, true), [](auto& c) { c.getCdb()[2] = 0xFF; c.setFormatType(2); c.setImmedFlag(false); }),
     "04 00 F2 00 00 00", none, 0, 3100, is<QORTapeCmdFormat>},

    {made(new TapeCmdErase(true, true)), "19 03 00 00 00 00", none, 0, 68000, is<QORTapeCmdErase>},
    {made(new TapeCmdErase(false, false)), "19 00 00 00 00 00", none, 0, 68000, is<QORTapeCmdErase>},
    {changed(new TapeCmdErase(false, false), [](auto& c) { c.setLongFlag(false); }),
     "19 01 00 00 00 00", none, 0, 68000, is<QORTapeCmdErase>},
    {changed(new TapeCmdErase(true, true), [](auto& c) { c.setImmedFlag(false); }),
     "19 01 00 00 00 00", none, 0, 68000, is<QORTapeCmdErase>},

    {made(new TapeCmdSetCapacity(0x1234, true)), "0B 01 00 12 34 00", none, 0, 300, isNone},
    {changed(new TapeCmdSetCapacity(0, true), [](auto& c) { c.setImmedFlag(false); c.setProportionVal(0xFFFE); }),
     "0B 00 00 FF FE 00", none, 0, 300, isNone},
  };
  check(rows);

  TapeCmdLoad load(true);
  EXPECT_TRUE(load.getImmedFlag());
  EXPECT_FALSE(load.getRetentionFlag());
  load.setImmedFlag(false);
  load.setRetentionFlag(true);
  EXPECT_FALSE(load.getImmedFlag());
  EXPECT_TRUE(load.getRetentionFlag());
}

TEST(TapeCommands, MoveData) {
  using Read = TapeCmdRead6;
  using Write = TapeCmdWrite6;
  using Verify = TapeCmdVerify;
  const auto all = [] { return new Verify(true, true, true, true, true, true, 0xFF123456); };
  const Row rows[] = {
    {made(new TapeCmdReadBlockLimits), "05 00 00 00 00 00", in, 6, 30, is<QORTapeCmdReadBlockLimits>},

    {made(new TapeCmdModeSelect6(3, 0xFF020304)), "15 10 00 00 0C 00", out, 12, 30, is<QORTapeCmdModeSelect6>,
     "00 00 10 08 00 00 00 00 00 02 03 04"},
    {changed(new TapeCmdModeSelect6(1, 512), [](auto& c) { c.setBufferedMode(2); c.setBlockLength(0x040000); }),
     "15 10 00 00 0C 00", out, 12, 30, is<QORTapeCmdModeSelect6>, "00 00 00 08 00 00 00 00 00 04 00 00"},

    {made(new Read(0x0203, 77, true, false)), "08 02 00 02 03 00", in, 0x0203, 2100, is<QORTapeCmdRead6>},
    {made(new Read(0xFF000002, 1024, false, true)), "08 01 00 00 02 00", in, 1024, 2100, is<QORTapeCmdRead6>},
    {changed(new Read(4, 8, true, true), [](auto& c) {
       c.setTransferLength(0xFF010203); c.setSiliFlag(false); c.setFixedFlag(false);
     }), "08 00 01 02 03 00", in, 8, 2100, is<QORTapeCmdRead6>},
    {changed(new Read(4, 8, false, false), [](auto& c) { c.setSiliFlag(true); c.setFixedFlag(true); }),
     "08 03 00 00 04 00", in, 4, 2100, is<QORTapeCmdRead6>},
    {made(new Write(0x0203, 77, false)), "0A 00 00 02 03 00", out, 0x0203, 1500, is<QORTapeCmdWrite6>},
    {made(new Write(2, 1024, true)), "0A 01 00 00 02 00", out, 1024, 1500, is<QORTapeCmdWrite6>},
    {changed(new Write(4, 8, true), [](auto& c) { c.setTransferLength(0xFF010203); c.setFixedFlag(false); }),
     "0A 00 01 02 03 00", out, 8, 1500, is<QORTapeCmdWrite6>},

    {made(new TapeCmdWriteFileMarks(true, 0xFF020304)),
     "10 01 02 03 04 00", none, 0, 1400, is<QORTapeCmdWriteFileMarks>},
    {changed(new TapeCmdWriteFileMarks(true, 1), [](auto& c) { c.getCdb()[1] = 0xFF; c.setImmedFlag(false); }),
     "10 00 00 00 01 00", none, 0, 1400, is<QORTapeCmdWriteFileMarks>},

    {made(new Verify(true, false, true, false, false, false, 1)),
     "13 05 00 00 01 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {made(new Verify(false, true, false, true, false, false, 0)),
     "13 0A 00 00 00 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {made(new Verify(false, false, false, false, true, true, 0)),
     "13 30 00 00 00 00", none, 0, 1600, is<QORTapeCmdVerify>},
    // A flag set later drops the others; cleared, it leaves them alone.
    {changed(all(), [](auto& c) { c.setBytcmpFlag(true); }), "13 02 12 34 56 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {changed(all(), [](auto& c) { c.setImmedFlag(true); }), "13 04 12 34 56 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {changed(all(), [](auto& c) { c.setVbfFlag(true); }), "13 08 12 34 56 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {changed(all(), [](auto& c) { c.setVlbmpmFlag(true); }), "13 10 12 34 56 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {changed(all(), [](auto& c) { c.setVteFlag(true); }), "13 20 12 34 56 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {changed(all(), [](auto& c) { c.setFixedFlag(false); }), "13 01 12 34 56 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {changed(all(), [](auto& c) { c.setBytcmpFlag(false); }), "13 3D 12 34 56 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {changed(all(), [](auto& c) { c.setImmedFlag(false); c.setVbfFlag(false); c.setVlbmpmFlag(false); c.setVteFlag(false); }),
     "13 03 12 34 56 00", none, 0, 1600, is<QORTapeCmdVerify>},
    {changed(all(), [](auto& c) { c.setVerifyLength(0x010203); }), "13 3F 01 02 03 00", none, 0, 1600, is<QORTapeCmdVerify>},
  };
  check(rows);
}

TEST(TapeCommands, ReserveAndSecure) {
  using ReserveIn = TapeCmdPersistentReserveIn;
  using ReserveOut = TapeCmdPersistentReserveOut;
  const Row rows[] = {
    {made(new TapeCmdReserveUnit6), "16 00 00 00 00 00", none, 0, 30, is<QORTapeCmdReserveUnit6>},
    {made(new TapeCmdReleaseUnit6), "17 00 00 00 00 00", none, 0, 30, is<QORTapeCmdReleaseUnit6>},
    {made(new ReserveIn(PERSIST_READ_RESERVATION, 0x0102)),
     "5E 01 00 00 00 00 00 01 02 00", in, 0x0102, 60, is<QORTapeCmdPersistentReserveIn>},
    {changed(new ReserveIn(PERSIST_READ_KEYS, 8), [](auto& c) {
       c.setServiceAction(PERSIST_READ_FULL_STATUS); c.setReservationType(PERSIST_EXCLUSIVE_ACCESS);
       c.getCdb()[6] = 0xFF; c.setAllocationLength(0x010203);
     }), "5E 03 03 00 00 00 00 02 03 00", in, 0x010203, 60, is<QORTapeCmdPersistentReserveIn>},
    {made(new ReserveOut(PERSIST_PREEMPT, PERSIST_WRITE_EXCLUSIVE_REGISTRANTS_ONLY, 24)),
     "5F 04 05 00 00 00 00 00 18 00", out, 24, 60, is<QORTapeCmdPersistentReserveOut>},
    {changed(new ReserveOut(PERSIST_REGISTER, PERSIST_WRITE_EXCLUSIVE, 24), [](auto& c) {
       c.setServiceAction(PERSIST_REGISTER_AND_MOVE); c.setReservationType(PERSIST_EXCLUSIVE_ACCESS_ALL_REGISTRANTS);
       c.getCdb()[6] = 0xFF; c.setAllocationLength(0x0104);
     }), "5F 07 08 00 00 00 00 01 04 00", out, 0x0104, 60, is<QORTapeCmdPersistentReserveOut>},

    {made(new TapeCmdSecurityProtocolIn(0x20, 0x0121, 0x010203)),
     "A2 20 01 21 00 00 00 01 02 03 00 00", in, 0x010203, 30, is<QORTapeCmdSecurityProtocolIn>},
    {changed(new TapeCmdSecurityProtocolIn(0, 0, 4), [](auto& c) {
       c.setSecurityProtocol(0x20); c.setSecurityProtocolSpecific(0x0010); c.setSecurityProtocolLength(0x0408);
     }), "A2 20 00 10 00 00 00 00 04 08 00 00", in, 0x0408, 30, is<QORTapeCmdSecurityProtocolIn>},
    {made(new TapeCmdSecurityProtocolOut(0x20, 0x0110, 0x0114)),
     "B5 20 01 10 00 00 00 00 01 14 00 00", out, 0x0114, 30, is<QORTapeCmdSecurityProtocolOut>},
    {changed(new TapeCmdSecurityProtocolOut(0, 0, 4), [](auto& c) {
       c.setSecurityProtocol(0x21); c.setSecurityProtocolSpecific(0x0203); c.setSecurityProtocolLength(16);
     }), "B5 21 02 03 00 00 00 00 00 10 00 00", out, 16, 30, is<QORTapeCmdSecurityProtocolOut>},
    {made(new TapeCmdQueryLogicalBlockProtection),
     "1A 08 0A F0 FF 00", in, 255, 300, is<QORTapeCmdQueryLogicalBlockProtection>},
  };
  check(rows);
}

TEST(TapeCommands, ExchangeInformation) {
  using ReadAttribute = TapeCmdReadAttribute;
  using WriteAttribute = TapeCmdWriteAttribute;
  using Runtime = TapeCmdReportDynamicRuntimeInformation;
  const Row rows[] = {
    {made(new ReadAttribute(0xE1, 3, 2, 0x0401, 0x010200)),
     "8C 01 00 00 00 03 00 02 04 01 00 01 02 00 00 00", in, 0x010200, 30, is<QORTapeCmdReadAttribute>},
    {changed(new ReadAttribute(0, 0, 0, 0, 0x0304), [](auto& c) {
       c.setAction(0x3F); c.setVolumeNumber(7); c.setPartNumber(8); c.setFirstAttributeId(0x0806); c.setAllocLength(0xFF);
     }), "8C 1F 00 00 00 07 00 08 08 06 00 00 00 FF 00 00", in, 255, 30, is<QORTapeCmdReadAttribute>},
    {made(new WriteAttribute(3, 2, 0x010200)),
     "8D 00 00 00 00 03 00 02 00 00 00 01 02 00 00 00", out, 0x010200, 30, is<QORTapeCmdWriteAttribute>},
    {changed(new WriteAttribute(0, 0, 0x0304), [](auto& c) {
       c.setVolumeNumber(9); c.setPartNumber(1); c.setAllocLength(0x11);
     }), "8D 00 00 00 00 09 00 01 00 00 00 00 00 11 00 00", out, 0x11, 30, is<QORTapeCmdWriteAttribute>},

    {made(new TapeCmdLogSelect(true, 3, 0x0102)),
     "4C 02 C0 00 00 00 00 01 02 00", out, 0x0102, 30, is<QORTapeCmdLogSelect>},
    {changed(new TapeCmdLogSelect(true, 3, 0x0102), [](auto& c) {
       c.setPcrFlag(false); c.setPageControl(5); c.setAllocLength(9);
     }), "4C 00 40 00 00 00 00 00 09 00", out, 9, 30, is<QORTapeCmdLogSelect>},
    {made(new TapeCmdReportDensitySupport(true, 0x0204)),
     "44 01 00 00 00 00 00 02 04 00", in, 0x0204, 30, is<QORTapeCmdReportDensitySupport>},
    {changed(new TapeCmdReportDensitySupport(true, 4), [](auto& c) { c.setMediaFlag(false); c.setAllocationLength(0x0103); }),
     "44 00 00 00 00 00 00 01 03 00", in, 0x0103, 30, is<QORTapeCmdReportDensitySupport>},
    {made(new TapeCmdReportTimeStamp(0x01000C)),
     "A3 0F 00 00 00 00 00 01 00 0C 00 00", in, 0x01000C, 30, is<QORTapeCmdReportTimeStamp>},
    {made(new Runtime(0xE1, 0x0102, 0x0304, 0x010203)),
     "D1 01 01 02 03 04 00 01 02 03 00 00", in, 0x010203, 30, is<QORTapeCmdReportDynamicRuntimeInformation>},
    {changed(new Runtime(0, 0, 0, 4), [](auto& c) {
       c.setServiceAction(1); c.setFirstAttribute(0x1020); c.setLastAttribute(0x3040); c.setAllocationLength(0x0508);
     }), "D1 01 10 20 30 40 00 00 05 08 00 00", in, 0x0508, 30, is<QORTapeCmdReportDynamicRuntimeInformation>},
  };
  check(rows);
  EXPECT_EQ(Runtime(5, 0, 0, 0).getServiceAction(), 5);
}

TEST(TapeCommands, Diagnose) {
  using Encryption = TapeCmdTestEncryption;
  const Row rows[] = {
    {made(new TapeCmdResetDevice), "1D 12 00 00 08 00", out, 8, 180, is<QORTapeCmdResetDevice>, "80 00 00 04 20 02 00 00"},
    {made(new TapeCmdPostA), "1D 12 00 00 08 00", out, 8, 2100, is<QORTapeCmdPostA>, "80 00 00 04 01 00 00 00"},
    {changed(new TapeCmdPostA, [](auto& c) { c.setCartridgeRequiredFlag(true); }),
     "1D 12 00 00 08 00", out, 8, 2100, is<QORTapeCmdPostA>, "80 00 00 04 01 00 01 00"},
    {changed(new TapeCmdPostA, [](auto& c) { c.setCartridgeRequiredFlag(true); c.setCartridgeRequiredFlag(false); }),
     "1D 12 00 00 08 00", out, 8, 2100, is<QORTapeCmdPostA>, "80 00 00 04 01 00 00 00"},
    {made(new TapeCmdPostB), "1D 13 00 00 08 00", out, 8, 3600, is<QORTapeCmdPostB>, "80 00 00 04 01 01 01 00"},
    {made(new TapeCmdPostC(0x0203)), "1D 13 00 00 08 00", out, 8, 3600, is<QORTapeCmdPostC>, "80 00 00 04 02 03 01 00"},
    {made(new TapeCmdPostD(0xF1F2)), "1D 13 00 00 08 00", out, 8, 2700, is<QORTapeCmdPostD>, "80 00 00 04 F1 F2 01 00"},
    {made(new TapeCmdForceDump), "1D 10 00 00 08 00", out, 8, 300, is<QORTapeCmdForceDump>, "80 00 00 04 01 60 00 00"},
    {made(new TapeCmdReadThermalSensor),
     "1D 12 00 00 08 00", out, 8, 300, is<QORTapeCmdReadThermalSensor>, "80 00 00 04 10 02 00 00"},
    {made(new TapeCmdChannelCalibration),
     "1D 12 00 00 0B 00", out, 11, 300, is<QORTapeCmdChannelCalibration>, "80 00 00 07 02 05 01 00 07 00 28"},
    {changed(new TapeCmdChannelCalibration, [](auto& c) { c.setDiagParamByte10(0xAB); }),
     "1D 12 00 00 0B 00", out, 11, 300, is<QORTapeCmdChannelCalibration>, "80 00 00 07 02 05 01 00 07 AB 28"},
    {changed(new Encryption, [](auto& c) { c.prepareEKMSetUp(); }),
     "1D 10 00 00 0A 00 00 00 00 00", none, 10, 30, is<QORTapeCmdTestEncryption>, "80 00 00 06 E0 00 00 00 20 0F"},
    {changed(new Encryption, [](auto& c) { c.prepareEKMPath(); }),
     "1D 10 00 00 0A 00 00 00 00 00", none, 10, 30, is<QORTapeCmdTestEncryption>, "80 00 00 06 E0 00 00 00 20 01"},
    {changed(new Encryption, [](auto& c) { c.prepareEKMPath(); c.prepareEKMFullDiagnostic(); }),
     "1D 10 00 00 0A 00 00 00 00 00", none, 10, 30, is<QORTapeCmdTestEncryption>, "80 00 00 06 E0 00 00 00 20 00"},
  };
  check(rows);
}

TEST(TapeCommands, DisplayMessages) {
  using Display = TapeCmdDisplayMessage;
  const auto twin = is<QORTapeCmdDisplayMessage>;
  const char* cdb = "C0 00 00 00 18 00";
  const Row rows[] = {
    {made(new Display), cdb, none, 24, 30, twin},
    {changed(new Display, [](auto& c) { c.updateIoData(); }), cdb, none, 24, 30, twin,
     "00 00 00 00 00 00 00 10 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20"},
    {made(new Display("LOADING TAPE", nullptr, 0x60, 0x08)), cdb, out, 24, 30, twin,
     "00 68 00 00 00 00 00 10 4C 4F 41 44 49 4E 47 20 20 20 20 20 20 20 20 20"},
    // The control waits for the next update; a type keeps the control, a control the type.
    {changed(new Display("A", "B", 0xE0, 0x1C), [](auto& c) { c.setControl(0x04); c.setMessage(1, "CD"); }), cdb, out, 24, 30, twin,
     "00 FC 00 00 00 00 00 10 41 20 20 20 20 20 20 20 42 20 20 20 20 20 20 20"},
    {changed(new Display("A", "B", 0xE0, 0x1C), [](auto& c) {
       c.setMessage(1, "12345678"); c.setMessage(1, "CD"); c.setMessage(-1, "X"); c.setMessage(2, "X"); c.setControl(0x04); c.setType(0x20);
     }), cdb, out, 24, 30, twin,
     "00 24 00 00 00 00 00 10 41 20 20 20 20 20 20 20 43 44 20 20 20 20 20 20"},
    {changed(new Display("A", "B", 0xE0, 0x1C), [](auto& c) { c.initializeMessage(); c.updateIoData(); }), cdb, out, 24, 30, twin,
     "00 00 00 00 00 00 00 10 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20"},
  };
  check(rows);

  CapturedOutput output;
  {
    LogLevel level(LOG_DEBUG);
    Display display("TOO LONG", "B", 0x20, 0x04);
    delete display.createQORCommand();
  }
  std::vector<std::string> entries;
  for (const std::string& line : output.lines())
    if (line.starts_with("SCSI0000")) entries.push_back(line.substr(8, line.find(" (") - 8));
  EXPECT_THAT(entries, testing::ElementsAre(
    "B TapeCmdDisplayMessage Initial message: ",
    "D TapeCmdDisplayMessage, msg 1 TOO LONG, msg 2         ",
    "D TapeCmdDisplayMessage, msg 1 TOO LONG, msg 2 B       ",
    "D TapeCmdDisplayMessage, Msg Processing 20h",
    "D TapeCmdDisplayMessage before memcpy, ", "D TapeCmdDisplayMessage after memcpy, ",
    "B TapeCmdDisplayMessage in updateIoData, outPut:",
    "D TapeCmdDisplayMessage, Msg Processing 24h",
    "D TapeCmdDisplayMessage before memcpy, ", "D TapeCmdDisplayMessage after memcpy, ",
    "B TapeCmdDisplayMessage in updateIoData, outPut:",
    "D TapeCmdDisplayMessage, createQORCommand"));
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
