// The same library, asked by CDB and through the maker's driver.
#include <memory>
#include <regex>

#include "kiv/changer/driver_commands.h"
#include "kiv/changer/element_status.h"
#include "tests/support/room_test.h"

using testing::HasSubstr;

namespace {

class BothPaths : public RoomTest {
 protected:
  BothPaths() {
    // No bay is without a drive: Windows tells that exception by a number of its own.
    std::vector<simulator::VirtualDrive*> bays(4);
    for (std::uint8_t i = 0; i < 4; ++i) {
      bays[i] = &room.addDrive({.target = static_cast<std::uint8_t>(10 + i),
                                .lun = i,
                                .model = "ULTRIUM-PX6",
                                .serial = "106800007" + std::to_string(i),
                                .interface = simulator::Interface::ParallelScsi});
    }
    library = &room.addChanger(
        {.target = 6, .model = "LIB-3573", .claimed = true, .driver = simulator::DriverOptions{}},
        {.drives = {0x0100, 4},
         .slots = {0x1000, 60},
         .bays = bays,
         .cartridges = {{0x0011, "QOR003L6"}, {0x1000, "QOR001L6"}, {0x1007, "QOR002L6"}, {0x103B, ""}}});
    library->element(0x0011).placedByOperator = true;
    library->element(0x1007).source = 0x1008;
    library->element(0x1007).inverted = true;
    library->element(0x1009).accessible = false;
    library->element(0x1000).designator = simulator::Designator{.identifier = {'F', '1', 'C', '1'}};
    EXPECT_EQ(driver.openDevice(R"(\\.\Changer0)", OPEN_READ_WRITE), CMD_OK);
    EXPECT_EQ(openAt(target, 0, 0, 6), CMD_OK);
  }

  simulator::VirtualChanger* library = nullptr;
};

/// A report without what the paths may tell differently: page headers, and the blanks of an absent tag.
std::string comparable(const std::string& report) {
  const std::string elements = std::regex_replace(report, std::regex("ChangerElementStatusPage.*"), "");
  return std::regex_replace(elements, std::regex(" +\n"), "\n");
}

/// The image byte for byte, as far as the standard fixes it: the header up to its byte count, of each page
/// the type and the volume tag bit, of each descriptor the first twelve bytes.
std::string fixedBytes(const ChangerCmdReadElementStatus& cmd, const ChangerElementStatusData& status) {
  std::string fixed = hex(cmd.ioDataSpan().first(4));
  std::size_t at = 8;
  for (std::uint16_t p = 0; p < status.getNumberPages(); ++p) {
    const ChangerElementStatusPage& page = *status.getElementStatusPage(p);
    EXPECT_EQ(page.getByteDescAvailable(), ulong32{page.getDescriptorLength()} * page.getNumberDescriptors());
    fixed += "\n" + hex(cmd.ioDataSpan().subspan(at, 2));
    at += 8;
    for (int i = 0; i < page.getNumberDescriptors(); ++i, at += page.getDescriptorLength())
      fixed += "\n  " + hex(cmd.ioDataSpan().subspan(at, 12));
  }
  EXPECT_EQ(cmd.getByteCntReportAvail(), at - 8);
  return fixed;
}

TEST_F(BothPaths, TellTheSameElements) {
  const struct {
    ChangerElementTypeCode type;
    std::uint16_t start, count;
    bool volumeTags, identifiers;
    std::uint16_t first, elements;  // reported
  } rows[] = {
      {ELEMENT_ALL, 0x0001, 0xFFFF, true, false, 0x0001, 69},
      {ELEMENT_ALL, 0x0102, 5, true, false, 0x1000, 5},  // the slots' page comes before the drives'
      {ELEMENT_MEDIUM_TRANSPORT, 0x0001, 1, true, false, 0x0001, 1},
      {ELEMENT_STORAGE, 0x103A, 60, false, false, 0x103A, 2},
      {ELEMENT_STORAGE, 0x0010, 2, true, false, 0x1000, 2},  // from before the first slot
      {ELEMENT_IMPORT_EXPORT, 0x0010, 4, true, false, 0x0010, 4},
      {ELEMENT_DATA_TRANSFER, 0x0100, 4, true, true, 0x0100, 4},
      {ELEMENT_DATA_TRANSFER, 0x0101, 4, false, true, 0x0101, 3},
      {ELEMENT_DATA_TRANSFER, 0x1000, 4, false, true, 0x0000, 0},  // behind the last drive
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << int{row.type} << " from " << row.start);
    std::string reports[2], images[2];
    for (const bool throughDriver : {false, true}) {
      ChangerCmdReadElementStatus cmd(row.type, row.start, row.count, row.volumeTags, row.identifiers, 8000);
      room.journal().clear();
      ScsiTarget& device = throughDriver ? driver : target;
      EXPECT_EQ(device.scsiExecCDB(cmd), CMD_OK);
      EXPECT_EQ(room.journal().count("B8"), throughDriver ? 0u : 1u);
      EXPECT_EQ(cmd.getFirstElementAddressReported(), row.first);
      EXPECT_EQ(cmd.getNumberElementsAvail(), row.elements);
      const ChangerElementStatusData status(cmd.getIoData(), cmd.getIoDataLength(), row.identifiers);
      reports[throughDriver] = comparable(status.toString());
      images[throughDriver] = fixedBytes(cmd, status);
    }
    EXPECT_EQ(reports[1], reports[0]);
    EXPECT_EQ(images[1], images[0]);
  }
}

TEST_F(BothPaths, CutTheReportToTheBuffer) {
  ChangerCmdReadElementStatus whole(ELEMENT_ALL, 1, 0xFFFF, true, false, 8000);
  EXPECT_EQ(driver.scsiExecCDB(whole), CMD_OK);
  const ulong32 size = whole.getByteCntReportAvail() + 8;
  for (ulong32 length = 0; length <= size + 1; length += length < 80 || length > size - 20 ? 1 : 37) {
    ChangerCmdReadElementStatus cut(ELEMENT_ALL, 1, 0xFFFF, true, false, length);
    EXPECT_EQ(driver.scsiExecCDB(cut), CMD_OK);
    EXPECT_EQ(cut.getByteCntReportAvail(), length < 8 ? 0 : size - 8) << "told in full, whatever fits";
    // Headers stand whole or not at all; everything else ends where the buffer ends.
    for (std::size_t i = 0; i < length; ++i) {
      const std::uint8_t byte = cut.getIoData()[i];
      EXPECT_TRUE(byte == whole.getIoData()[i] || (byte == 0 && length - i < 8)) << i << " of " << length;
    }
  }
}

TEST_F(BothPaths, TellWhereCartridgesLie) {
  ChangerCmdReadCartridgeLocation cmd(0x1000, 8);
  EXPECT_EQ(driver.scsiExecCmd(*std::make_unique<QORChangerCmdReadCartridgeLocation>(&cmd)), CMD_OK);
  ASSERT_EQ(cmd.getNumberOfCartridgeLocations(), 8);
  EXPECT_EQ(cmd.getFirstElementAddressReported(), 0x1000);
  EXPECT_EQ(cmd.getByteCntReportAvail(), 8u + 8 * 76);
  EXPECT_THAT(
      cmd.getLocationElement(0)->toString(),
      HasSubstr("\n Volume Tag .................... QOR001L6\n Cartridge Location............. F1C1\n"));
  const auto& moved = *cmd.getLocationElement(7);
  EXPECT_TRUE(moved.isFull() && moved.isSrcValid() && moved.isInvert());
  EXPECT_EQ(moved.getSrcStorageElemAddress(), 0x1008);
  EXPECT_EQ(cmd.getLocationElement(8), nullptr);
  cmd.getIoData()[8] = ELEMENT_DATA_TRANSFER;
  EXPECT_EQ(cmd.getNumberOfCartridgeLocations(), 8) << "decoded once";
  cmd.doTransformation();
  EXPECT_EQ(cmd.getNumberOfCartridgeLocations(), 0) << "a page of drives";
}

TEST_F(BothPaths, MoveTheSameCartridges) {
  const auto holds = [&](std::uint16_t address) { return library->element(address).medium() != nullptr; };
  ChangerMoveMedium load(1, 0x1000, 0x0100), unload(1, 0x0100, 0x1001);
  EXPECT_EQ(driver.scsiExecCmd(*std::make_unique<QORChangerMoveMedium>(&load)), CMD_OK);
  EXPECT_TRUE(holds(0x0100) && !holds(0x1000));
  EXPECT_EQ(target.scsiExecCDB(unload), CMD_OK);
  EXPECT_EQ(driver.scsiExecCmd(*std::make_unique<QORChangerMoveMedium>(&unload)), CMD_ERROR)
      << "nothing left there";
  ChangerCmdExchangeMedium exchange(1, 0x1001, 0x1007, 0x1020);
  EXPECT_EQ(driver.scsiExecCmd(*std::make_unique<QORChangerCmdExchangeMedium>(&exchange)), CMD_OK);
  EXPECT_TRUE(holds(0x1007) && holds(0x1020) && !holds(0x1001));
  // Without a twin of their own: the driver target sends the CDBs.
  ChangerCmdPreventAllowMediumRemoval prevent(true);
  EXPECT_EQ(driver.scsiExecCDB(prevent), CMD_OK);
  EXPECT_TRUE(library->removalPrevented());
}

}  // namespace
