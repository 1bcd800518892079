#include "kiv/changer/commands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "kiv/changer/driver_commands.h"
#include "tests/support/hex.h"

namespace {

using Command = std::shared_ptr<GenericScsiCommand>;

/// A command after some setters were called.
template <class Class, class Setters>
Command patched(Class* command, Setters setters) {
  setters(*command);
  return Command(command);
}

TEST(ChangerCommands, BuildAndPatchTheirCdbs) {
  using Move = ChangerMoveMedium;
  using Exchange = ChangerCmdExchangeMedium;
  using Position = ChangerCmdPositionToElement;
  using Range = ChangerCmdInitializeElementStatusWithRange;
  using Removal = ChangerCmdPreventAllowMediumRemoval;
  using Station = ChangerOpenCloseImportExportElement;
  using Read = ChangerCmdReadElementStatus;
  const auto setMove = [](Move& c) { c.setSourceAddress(0xA0B), c.setDestinationAddress(0xC0D); };
  const auto setExchange = [](Exchange& c) {
    c.setTransportElementAddress(0xA0B), c.setSourceAddress(0xC0D);
    c.setFirstDestinationAddress(0xE0F), c.setSecondDestinationAddress(0x1011);
  };
  const auto setPosition = [](Position& c) {
    c.setTransportElementAddress(0xA0B), c.setDestinationAddress(0xC0D);
  };
  const auto setRange = [](Range& c) { c.setStartingElementAddress(0xA0B), c.setNbrOfElements(0xC0D); };
  const auto setStation = [](Station& c) { c.setIOElementAddress(0xA0B), c.setActionCode(0xFF); };
  const auto setRead = [](Read& c) {
    c.setPVolTag(true), c.setDvcId(true), c.setElementAddress(0xA0B), c.setNbrOfElements(0xC0D);
    c.setLunId(7), c.setAllocLength(0x10203);
  };
  const struct {
    Command command;
    const char* cdb;
    ulong32 dataLength, timeOut;
  } rows[] = {
      {Command(new Move(0x102, 0x304, 0x506)), "A5 00 01 02 03 04 05 06 00 00 00 00", 0, 840},
      {patched(new Move(1, 2, 3), setMove), "A5 00 00 01 0A 0B 0C 0D 00 00 00 00", 0, 840},
      {Command(new Exchange(0x102, 0x304, 0x506, 0x708)), "A6 00 01 02 03 04 05 06 07 08 00 00", 0, 840},
      {patched(new Exchange(1, 2, 3, 4), setExchange), "A6 00 0A 0B 0C 0D 0E 0F 10 11 00 00", 0, 840},
      {Command(new Position(0x102, 0x304)), "2B 00 01 02 03 04 00 00 00 00", 0, 600},
      {patched(new Position(1, 2), setPosition), "2B 00 0A 0B 0C 0D 00 00 00 00", 0, 600},
      {Command(new ChangerCmdInitializeElementStatus()), "07 00 00 00 00 00", 0, 30},
      {Command(new Range(0x102, 0x304, 0xE7)), "E7 01 01 02 00 00 03 04 00 00", 0, 1800},
      {patched(new Range(1, 2, 0x37), setRange), "37 01 0A 0B 00 00 0C 0D 00 00", 0, 1800},
      {Command(new Removal(true)), "1E 00 00 00 01 00", 0, 420},
      {patched(new Removal(true), [](Removal& c) { c.setActionCode(false); }), "1E 00 00 00 00 00", 0, 420},
      {Command(new Station(0x102, 0xE1)), "1B 00 01 02 01 00", 0, 600},
      {patched(new Station(1, 0), setStation), "1B 00 0A 0B 1F 00", 0, 600},
      {Command(new Read(2, 0x1000, 10, true, false, 0x400)), "B8 12 10 00 00 0A 00 00 04 00 00 00", 0x400,
       900},
      {Command(new Read(4, 0x100, 0x203, false, true, 9)), "B8 04 01 00 02 03 01 00 00 09 00 00", 9, 900},
      {patched(new Read(2, 0, 0, false, false, 8), setRead), "B8 F2 0A 0B 0C 0D 01 01 02 03 00 00", 0x10203,
       900},
      {Command(new ChangerCmdElementInformation()), "1A 08 1D 00 18 00", 24, 30},
      {Command(new ChangerCmdReadCartridgeLocation(0, 5)), "B8 10 00 00 00 05 01 00 01 8C 00 00", 396, 900},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(hex(row.command->cdbSpan()), row.cdb);
    EXPECT_EQ(row.command->getDataDirection(), row.dataLength > 0 ? SCSI_DATA_IN : SCSI_DATA_NONE) << row.cdb;
    EXPECT_EQ(row.command->getIoDataLength(), row.dataLength) << row.cdb;
    EXPECT_EQ(row.command->getTimeOut(), row.timeOut) << row.cdb;
    const std::unique_ptr<QORScsiCommand> twin(row.command->createQORCommand());
    EXPECT_EQ(twin != nullptr, row.cdb[0] == 'B') << "only READ ELEMENT STATUS makes its twin";
  }
}

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
