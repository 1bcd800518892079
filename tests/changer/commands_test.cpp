#include "kiv/changer/commands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "kiv/changer/driver_commands.h"
#include "kiv/changer/element_status.h"
#include "tests/support/hex.h"

namespace {

struct BuiltCommand {
  const char* name;
  std::shared_ptr<GenericScsiCommand> command;
  std::string cdb;
  ScsiDataDirection direction;
  ulong32 dataLength;
  ulong32 timeOut;
};

TEST(ChangerCommands, BuildTheirCdbs) {
  using std::make_shared;
  const BuiltCommand rows[] = {
      {"move medium", make_shared<ChangerMoveMedium>(0x0102, 0x0304, 0x0506),
       "A5 00 01 02 03 04 05 06 00 00 00 00", SCSI_DATA_NONE, 0, 840},
      {"exchange medium", make_shared<ChangerCmdExchangeMedium>(0x0102, 0x0304, 0x0506, 0x0708),
       "A6 00 01 02 03 04 05 06 07 08 00 00", SCSI_DATA_NONE, 0, 840},
      {"position to element", make_shared<ChangerCmdPositionToElement>(0x0102, 0x0304),
       "2B 00 01 02 03 04 00 00 00 00", SCSI_DATA_NONE, 0, 600},
      {"initialize", make_shared<ChangerCmdInitializeElementStatus>(), "07 00 00 00 00 00", SCSI_DATA_NONE, 0,
       30},
      {"initialize a range", make_shared<ChangerCmdInitializeElementStatusWithRange>(0x0102, 0x0304, 0x37),
       "37 01 01 02 00 00 03 04 00 00", SCSI_DATA_NONE, 0, 1800},
      {"initialize a range, old code",
       make_shared<ChangerCmdInitializeElementStatusWithRange>(0x0102, 0x0304, 0xE7),
       "E7 01 01 02 00 00 03 04 00 00", SCSI_DATA_NONE, 0, 1800},
      {"prevent", make_shared<ChangerCmdPreventAllowMediumRemoval>(true), "1E 00 00 00 01 00", SCSI_DATA_NONE,
       0, 420},
      {"allow", make_shared<ChangerCmdPreventAllowMediumRemoval>(false), "1E 00 00 00 00 00", SCSI_DATA_NONE,
       0, 420},
      {"close the station", make_shared<ChangerOpenCloseImportExportElement>(0x0102, 0xE1),
       "1B 00 01 02 01 00", SCSI_DATA_NONE, 0, 600},
      {"read element status", make_shared<ChangerCmdReadElementStatus>(2, 0x1000, 10, true, false, 0x400),
       "B8 12 10 00 00 0A 00 00 04 00 00 00", SCSI_DATA_IN, 0x400, 900},
      {"read drive identifiers",
       make_shared<ChangerCmdReadElementStatus>(4, 0x0100, 0x0203, false, true, 0x010203),
       "B8 04 01 00 02 03 01 01 02 03 00 00", SCSI_DATA_IN, 0x010203, 900},
      {"element addresses", make_shared<ChangerCmdElementInformation>(), "1A 08 1D 00 18 00", SCSI_DATA_IN,
       24, 30},
      {"cartridge locations", make_shared<ChangerCmdReadCartridgeLocation>(0, 5),
       "B8 10 00 00 00 05 01 00 01 8C 00 00", SCSI_DATA_IN, 396, 900},
  };
  for (const BuiltCommand& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(hex(row.command->cdbSpan()), row.cdb);
    EXPECT_EQ(row.command->getDataDirection(), row.direction);
    EXPECT_EQ(row.command->getIoDataLength(), row.dataLength);
    EXPECT_EQ(row.command->getTimeOut(), row.timeOut);
    const bool readsElementStatus = dynamic_cast<ChangerCmdReadElementStatus*>(row.command.get()) != nullptr;
    const std::unique_ptr<QORScsiCommand> twin(row.command->createQORCommand());
    EXPECT_EQ(dynamic_cast<QORChangerCmdReadElementStatus*>(twin.get()) != nullptr, readsElementStatus);
    EXPECT_EQ(twin != nullptr, readsElementStatus);
  }
}

TEST(ChangerCommands, PatchTheirCdbs) {
  ChangerMoveMedium move(1, 2, 3);
  move.setSourceAddress(0x0A0B);
  move.setDestinationAddress(0x0C0D);
  EXPECT_EQ(hex(move.cdbSpan()), "A5 00 00 01 0A 0B 0C 0D 00 00 00 00");

  ChangerCmdExchangeMedium exchange(1, 2, 3, 4);
  exchange.setTransportElementAddress(0x0A0B);
  exchange.setSourceAddress(0x0C0D);
  exchange.setFirstDestinationAddress(0x0E0F);
  exchange.setSecondDestinationAddress(0x1011);
  EXPECT_EQ(hex(exchange.cdbSpan()), "A6 00 0A 0B 0C 0D 0E 0F 10 11 00 00");

  ChangerCmdPositionToElement position(1, 2);
  position.setTransportElementAddress(0x0A0B);
  position.setDestinationAddress(0x0C0D);
  EXPECT_EQ(hex(position.cdbSpan()), "2B 00 0A 0B 0C 0D 00 00 00 00");

  ChangerCmdInitializeElementStatusWithRange range(1, 2, 0x37);
  range.setStartingElementAddress(0x0A0B);
  range.setNbrOfElements(0x0C0D);
  EXPECT_EQ(hex(range.cdbSpan()), "37 01 0A 0B 00 00 0C 0D 00 00");

  ChangerCmdPreventAllowMediumRemoval removal(true);
  removal.setActionCode(false);
  EXPECT_EQ(hex(removal.cdbSpan()), "1E 00 00 00 00 00");

  ChangerOpenCloseImportExportElement station(1, 0);
  station.setIOElementAddress(0x0A0B);
  station.setActionCode(0xFF);
  EXPECT_EQ(hex(station.cdbSpan()), "1B 00 0A 0B 1F 00");
}

TEST(ReadElementStatus, PatchesItsCdb) {
  ChangerCmdReadElementStatus cmd(2, 1, 1, true, false, 8);
  cmd.setLunId(1);
  EXPECT_EQ(cmd.getCdb()[1], 0x32);
  cmd.setElementTypeCode(4);
  EXPECT_EQ(cmd.getCdb()[1], 0x14) << "the volume tag stays, the LUN is lost";
  cmd.setLunId(7);
  cmd.setPVolTag(false);
  EXPECT_EQ(cmd.getCdb()[1], 0xE4);
  EXPECT_FALSE(cmd.getParamPVolTag());
  EXPECT_FALSE(cmd.getParamDevID());
  cmd.setDvcId(true);
  cmd.setElementAddress(0x0A0B);
  cmd.setNbrOfElements(0x0C0D);
  EXPECT_EQ(cmd.setAllocLength(0x010203), CMD_OK);
  cmd.setPVolTag(true);
  EXPECT_EQ(hex(cmd.cdbSpan()), "B8 F4 0A 0B 0C 0D 01 01 02 03 00 00");
  EXPECT_EQ(cmd.getIoDataLength(), 0x010203u);
  EXPECT_TRUE(cmd.getParamPVolTag());
  EXPECT_TRUE(cmd.getParamDevID());
}

TEST(ReadElementStatus, ReadsTheReportHeader) {
  const auto header = bytes("01 02 03 04 FF 05 06 07");
  ChangerCmdReadElementStatus cmd(2, 1, 1, false, false, 8);
  std::ranges::copy(header, cmd.getIoData());
  EXPECT_EQ(cmd.getFirstElementAddressReported(), 0x0102);
  EXPECT_EQ(cmd.getNumberElementsAvail(), 0x0304);
  EXPECT_EQ(cmd.getByteCntReportAvail(), 0x050607u);
  cmd.setAllocLength(7);
  std::copy_n(header.begin(), 7, cmd.getIoData());
  EXPECT_EQ(cmd.getFirstElementAddressReported(), 0);
  EXPECT_EQ(cmd.getNumberElementsAvail(), 0);
  EXPECT_EQ(cmd.getByteCntReportAvail(), 0u);
}

TEST(ElementInformation, ReadsTheAddressAssignmentPage) {
  ChangerCmdElementInformation cmd;
  std::ranges::copy(bytes("17 00 00 00 1D 12 "        // mode parameter header, page code and length
                          "00 01 00 02 10 00 00 3C "  // robots, slots
                          "00 10 00 04 01 00 00 05 "  // stations, drives
                          "00 00"),
                    cmd.getIoData());
  EXPECT_EQ(cmd.getFirstMediumTransportElementAddress(), 0x0001);
  EXPECT_EQ(cmd.getNumberOfMediumTransportElements(), 2);
  EXPECT_EQ(cmd.getFirstStorageElementAddress(), 0x1000);
  EXPECT_EQ(cmd.getNumberOfStorageElements(), 60);
  EXPECT_EQ(cmd.getFirstIOElementAddress(), 0x0010);
  EXPECT_EQ(cmd.getNumberOfIOElements(), 4);
  EXPECT_EQ(cmd.getFirstDataTransferElementAddress(), 0x0100);
  EXPECT_EQ(cmd.getNumberOfTransferElements(), 5);
  cmd.setIoDataLength(7);
  EXPECT_EQ(cmd.getFirstStorageElementAddress(), 0);
}

TEST(CartridgeLocations, AreTheStorageElementsOfTheFirstPage) {
  ChangerCmdReadCartridgeLocation cmd(0x1000, 2);
  std::string image =
      "10 00 00 02 00 00 00 A0 "   // report: first 1000h, 2 elements, 160 bytes
      "02 80 00 4C 00 00 00 98 ";  // page: storage, volume tags, 76 bytes each, 152 in all
  for (const char* address : {"10 00 ", "10 01 "}) {
    image += address;
    image += "09 00 00 00 00 00 00 00 00 00 ";  // full, accessible
    for (int i = 0; i < 36; ++i) image += "20 ";
    image += "02 00 00 06 46 31 43 32 52 33 ";  // ASCII identifier "F1C2R3"
    for (int i = 6; i < 24; ++i) image += "00 ";
  }
  std::ranges::copy(bytes(image.substr(0, image.size() - 1)), cmd.getIoData());
  EXPECT_EQ(cmd.getNumberOfCartridgeLocations(), 2);
  ASSERT_NE(cmd.getLocationElement(1), nullptr);
  EXPECT_EQ(cmd.getLocationElement(1)->getElementAddress(), 0x1001);
  EXPECT_EQ(cmd.getLocationElement(1)->getBinary_Identifier(), bytes("46 31 43 32 52 33"));
  EXPECT_EQ(cmd.getLocationElement(2), nullptr);
  cmd.getIoData()[8] = 4;
  EXPECT_EQ(cmd.getNumberOfCartridgeLocations(), 2) << "decoded once";
  cmd.doTransformation();
  EXPECT_EQ(cmd.getNumberOfCartridgeLocations(), 0) << "a page of drives";
}

}  // namespace
