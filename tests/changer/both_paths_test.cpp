// The same library, asked by CDB and through the maker's driver.
#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <regex>

#include "kiv/changer/driver_commands.h"
#include "kiv/changer/element_status.h"
#include "kiv/device/driver_target.h"
#include "simulator/import_table.h"
#include "simulator/room.h"
#include "tests/support/hex.h"

using testing::HasSubstr;

namespace {

constexpr const char* getElementStatus = "CHANGER_GET_ELEMENT_STATUS";

class BothPaths : public testing::Test {
 protected:
  BothPaths() {
    simulator::takeOverImports();
    std::vector<simulator::VirtualDrive*> bays;
    for (std::uint8_t i = 0; i < 3; ++i)
      bays.push_back(&room.addDrive({.target = static_cast<std::uint8_t>(10 + i),
                                     .lun = i,
                                     .model = "ULTRIUM-PX6",
                                     .serial = "106800007" + std::to_string(i),
                                     .interface = simulator::Interface::ParallelScsi}));
    bays.push_back(nullptr);
    library = &room.addChanger(
        {.target = 6, .model = "LIB-3573", .claimed = true, .driver = simulator::DriverOptions{}},
        {.robots = {0x0001, 1},
         .importExport = {0x0010, 4},
         .drives = {0x0100, 4},
         .slots = {0x1000, 60},
         .bays = bays,
         .cartridges = {{0x0011, "QOR003L6"}, {0x1000, "QOR001L6"}, {0x1007, "QOR002L6"}, {0x103B, ""}}});
    library->element(0x0011).placedByOperator = true;
    library->element(0x1007).source = 0x1008;
    library->element(0x1007).inverted = true;
    library->element(0x1009).accessible = false;
    library->element(0x1000).designator = simulator::Designator{.identifier = {'F', '1', 'C', '1'}};
    EXPECT_EQ(driver.openDevice("\\\\.\\Changer0", OPEN_READ_WRITE), CMD_OK);
    EXPECT_EQ(passThrough.openDevice(0, 6, 0, 0, nullptr, 1), CMD_OK);
    room.journal().clear();
  }
  ~BothPaths() override {
    driver.closeDevice();
    passThrough.closeDevice();
    EXPECT_EQ(room.openHandles(), 0u);
  }
  void run(ChangerCmdReadElementStatus& cmd, bool throughDriver) {
    ScsiTarget& target = throughDriver ? driver : passThrough;
    const std::size_t before = room.journal().count(getElementStatus);
    ASSERT_EQ(target.scsiExecCDB(cmd), CMD_OK);
    EXPECT_EQ(room.journal().count(getElementStatus) > before, throughDriver);
  }

  simulator::Room room;
  simulator::VirtualChanger* library = nullptr;
  QORScsiTarget driver;
  ScsiTarget passThrough;
};

/// A report without what the two paths are free to tell differently: page headers, and the blanks of an
/// absent volume tag.
std::string comparable(const ChangerElementStatusData& status) {
  std::string report = std::regex_replace(status.toString(), std::regex("ChangerElementStatusPage.*"), "");
  return std::regex_replace(report, std::regex(" +\n"), "\n");
}

TEST_F(BothPaths, TellTheSameElements) {
  struct Row {
    ChangerElementTypeCode type;
    std::uint16_t start;
    std::uint16_t count;
    bool volumeTags, identifiers;
    std::uint16_t first, elements;  // reported
  };
  const Row rows[] = {
      {ELEMENT_ALL, 0x0001, 0xFFFF, true, false, 0x0001, 69},
      {ELEMENT_ALL, 0x0001, 0xFFFF, false, false, 0x0001, 69},
      {ELEMENT_ALL, 0x0102, 5, true, false, 0x0102, 5},  // storage pages come before the drives'
      {ELEMENT_ALL, 0x1005, 3, true, false, 0x1005, 3},
      {ELEMENT_MEDIUM_TRANSPORT, 0x0001, 1, true, false, 0x0001, 1},
      {ELEMENT_STORAGE, 0x1000, 60, true, false, 0x1000, 60},
      {ELEMENT_STORAGE, 0x103B, 60, false, false, 0x103B, 1},
      {ELEMENT_STORAGE, 0x0010, 2, true, false, 0x1000, 2},  // from before the first slot
      {ELEMENT_IMPORT_EXPORT, 0x0010, 4, true, false, 0x0010, 4},
      {ELEMENT_DATA_TRANSFER, 0x0100, 4, true, false, 0x0100, 4},
      {ELEMENT_DATA_TRANSFER, 0x0100, 4, true, true, 0x0100, 4},
      {ELEMENT_DATA_TRANSFER, 0x0101, 4, false, true, 0x0101, 3},
      {ELEMENT_DATA_TRANSFER, 0x1000, 4, false, true, 0x0000, 0},  // behind the last drive
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << int{row.type} << " from " << row.start);
    ChangerCmdReadElementStatus commands[] = {
        {row.type, row.start, row.count, row.volumeTags, row.identifiers, 8000},
        {row.type, row.start, row.count, row.volumeTags, row.identifiers, 8000}};
    std::unique_ptr<ChangerElementStatusData> status[2];
    for (int path = 0; path < 2; ++path) {
      run(commands[path], path == 1 && row.elements > 0);
      status[path] =
          std::make_unique<ChangerElementStatusData>(commands[path].getIoData(), 8000, row.identifiers);
      EXPECT_EQ(commands[path].getNumberElementsAvail(), row.elements);
    }
    EXPECT_EQ(comparable(*status[1]), comparable(*status[0]));
    ASSERT_EQ(status[1]->getNumberPages(), status[0]->getNumberPages());
    // Byte for byte: the header but for its byte count, and of a descriptor the twelve bytes that every
    // changer reports.
    EXPECT_EQ(hex(commands[1].ioDataSpan().first(4)), hex(commands[0].ioDataSpan().first(4)));
    std::size_t at[] = {8, 8};
    for (std::uint16_t p = 0; p < status[0]->getNumberPages(); ++p) {
      const ChangerElementStatusPage* pages[] = {status[0]->getElementStatusPage(p),
                                                 status[1]->getElementStatusPage(p)};
      ASSERT_EQ(pages[1]->getNumberDescriptors(), pages[0]->getNumberDescriptors());
      for (int path = 0; path < 2; ++path) {
        EXPECT_EQ(pages[path]->getByteDescAvailable(),
                  ulong32{pages[path]->getDescriptorLength()} * pages[path]->getNumberDescriptors());
        at[path] += 8;
      }
      EXPECT_EQ(hex(commands[1].ioDataSpan().subspan(at[1] - 8, 2)),
                hex(commands[0].ioDataSpan().subspan(at[0] - 8, 2)));
      for (std::uint16_t i = 0; i < pages[0]->getNumberDescriptors(); ++i) {
        EXPECT_EQ(hex(commands[1].ioDataSpan().subspan(at[1], 12)),
                  hex(commands[0].ioDataSpan().subspan(at[0], 12)));
        for (int path = 0; path < 2; ++path) at[path] += pages[path]->getDescriptorLength();
      }
    }
    for (int path = 0; path < 2; ++path)
      EXPECT_EQ(commands[path].getByteCntReportAvail(), row.elements == 0 ? 0 : at[path] - 8);
  }
}

TEST_F(BothPaths, CutTheReportToTheBuffer) {
  ChangerCmdReadElementStatus whole(ELEMENT_ALL, 1, 0xFFFF, true, false, 8000);
  run(whole, true);
  const ulong32 size = whole.getByteCntReportAvail() + 8;
  for (ulong32 length = 0; length <= size + 1; length += length < 80 || length > size - 20 ? 1 : 37) {
    ChangerCmdReadElementStatus cut(ELEMENT_ALL, 1, 0xFFFF, true, false, length);
    run(cut, true);
    EXPECT_EQ(cut.getByteCntReportAvail(), length < 8 ? 0 : size - 8) << "told in full, whatever fits";
    // Page headers stand whole or not at all; everything else is cut where the buffer ends.
    for (std::size_t i = 0; i < length; ++i) {
      const std::uint8_t byte = cut.getIoData()[i];
      EXPECT_TRUE(byte == whole.getIoData()[i] || (byte == 0 && length - i < 8)) << i << " of " << length;
    }
  }
}

TEST_F(BothPaths, TellWhereCartridgesLie) {
  ChangerCmdReadCartridgeLocation cmd(0x1000, 8);
  driver.scsiExecCmd(*std::make_unique<QORChangerCmdReadCartridgeLocation>(&cmd));
  ASSERT_EQ(cmd.getExecutionStatus(), CMD_OK);
  ASSERT_EQ(cmd.getNumberOfCartridgeLocations(), 8);
  EXPECT_EQ(cmd.getFirstElementAddressReported(), 0x1000);
  EXPECT_EQ(cmd.getByteCntReportAvail(), 8u + 8 * 76);
  EXPECT_THAT(cmd.getLocationElement(0)->toString(), HasSubstr("Cartridge Location............. F1C1\n"));
  EXPECT_THAT(cmd.getLocationElement(0)->toString(), HasSubstr("Volume Tag .................... QOR001L6\n"));
  const auto* moved = cmd.getLocationElement(7);
  EXPECT_TRUE(moved->isFull() && moved->isSrcValid() && moved->isInvert());
  EXPECT_EQ(moved->getSrcStorageElemAddress(), 0x1008);
}

TEST_F(BothPaths, MoveTheSameCartridges) {
  const auto holds = [&](std::uint16_t address) { return library->element(address).medium() != nullptr; };
  ChangerMoveMedium load(1, 0x1000, 0x0100);
  EXPECT_EQ(driver.scsiExecCmd(*std::make_unique<QORChangerMoveMedium>(&load)), CMD_OK);
  EXPECT_TRUE(holds(0x0100));
  ChangerMoveMedium unload(1, 0x0100, 0x1001);
  EXPECT_EQ(passThrough.scsiExecCDB(unload), CMD_OK);
  EXPECT_TRUE(holds(0x1001) && !holds(0x0100));
  // The first destination's cartridge goes on to the second.
  ChangerCmdExchangeMedium exchange(1, 0x1001, 0x1007, 0x1020);
  EXPECT_EQ(driver.scsiExecCmd(*std::make_unique<QORChangerCmdExchangeMedium>(&exchange)), CMD_OK);
  EXPECT_TRUE(holds(0x1007) && holds(0x1020) && !holds(0x1001));
  ChangerCmdPreventAllowMediumRemoval prevent(true);
  EXPECT_EQ(driver.scsiExecCmd(*std::make_unique<QORChangerCmdPreventAllowMediumRemoval>(&prevent)), CMD_OK);
  EXPECT_TRUE(library->removalPrevented());
  // These have no twin of their own: the driver target sends their CDBs.
  ChangerOpenCloseImportExportElement station(0x0010, 0);
  prevent.setActionCode(false);
  EXPECT_EQ(driver.scsiExecCDB(prevent), CMD_OK);
  EXPECT_EQ(driver.scsiExecCDB(station), CMD_OK);
  EXPECT_TRUE(library->stationOpen());

  ChangerMoveMedium fromEmpty(1, 0x1001, 0x1002);
  QORChangerMoveMedium twin(&fromEmpty);
  EXPECT_EQ(driver.scsiExecCmd(twin), CMD_ERROR);
}

}  // namespace
