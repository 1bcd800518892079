// What the system may lack while the library works: memory, a standard output, a disk with room, a short
// name for the working directory.
#include <functional>
#include <set>

#include "frame/directory.h"
#include "frame/log_dump.h"
#include "frame/log_sink.h"
#include "kiv/changer/commands.h"
#include "kiv/changer/element_status.h"
#include "kiv/config/config_filename.h"
#include "kiv/kiv_c.h"
#include "kiv/library/drive_mapping.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/tape/display_message.h"
#include "kiv/tape/parameters.h"
#include "kiv/tape/partitions.h"
#include "kiv/update/scan_bus.h"
#include "kiv/update/update_firmware.h"
#include "tests/support/hex.h"
#include "tests/support/memory.h"
#include "tests/support/room_test.h"

namespace {

constexpr std::uint8_t SENSE = 32;
/// Of an operation that answers nothing by which a host could tell.
constexpr ReturnCode NO_ANSWER = CMD_NO_MEMORY;

class Adversity : public UpdateTest {
 protected:
  Adversity() {
    directory.write("Config.txt", "QOR-ULTRIUM-PX6:Fibre:Library an-image-of-a-long-name.bin C300\n");
    directory.write("Devlist.txt", "LibraryCheck=true\n4711 QOR-ULTRIUM-PX6:Fibre:Library\n");
    auto& drive = openDrive({.model = "ULTRIUM-PX6", .level = "B200"}, true);
    room.addChanger(
        {.target = 8, .model = "LIBRARY"},
        {.drives = {0x100, 1}, .bays = {&drive}, .cartridges = {{0x1000, "A-TAPE-OF-LONG-NAME"}}});
    openAt(target, 0, 0, 5);
    openAt(library, 0, 0, 8);
    controller.rediscoverSCSIBus(true, "", "", "");
    listOfSupportedDevices = {&target};
    room.journal().clear();
  }
  void TearDown() override {
    library.closeDevice();
    UpdateTest::TearDown();
  }

  /// What the devices got by their commands.
  std::multiset<std::string> sent() {
    std::multiset<std::string> lists;
    for (const auto& entry : room.journal().entries()) {
      if (!entry.dataOut.empty()) lists.insert(entry.text + ": " + hex(entry.dataOut));
    }
    room.journal().clear();
    return lists;
  }

  ScsiTarget library;
};

/// No exception leaves an exported operation, whichever of its allocations is refused; no half list is sent;
/// and what was not done has not succeeded.
TEST_F(Adversity, OfMemoryReachesNoHostAsAnException) {
  ChangerCmdReadElementStatus report(ELEMENT_ALL, 0, 0xFFFF, true, true, 65536);
  ASSERT_EQ(library.scsiExecCDB(report), CMD_OK);
  const ChangerElementStatusData whole(report.getIoData(), report.getIoDataLength(), true);
  const auto set = [](ScsiTarget& device, ParamType type, std::uint32_t value) {
    return TapeMetaCmdSetParam(&device, type, value, SENSE).setParameter();
  };
  const auto create = [](ScsiTarget& device) {
    TapeCmdCreatePartition command(&device, SENSE);
    command.setAdditionalPartitionsDefined(1);
    command.setNumberPartitions(2);
    command.setDataPartitionType(1);
    command.setSize(1, 0xFFFF);
    return command.createPartitions();
  };
  const auto shows = [](ScsiTarget& device) {
    TapeCmdDisplayMessage message("A MESSAGE", "ANOTHER", 0, 0);
    message.setType(0x20);
    message.setMessage(1, "A THIRD");
    return device.scsiExecCDB(message);
  };
  const struct {
    const char* name;
    std::function<ReturnCode()> run;
  } operations[] = {
      {"compression", [&] { return set(target, PARAM_COMPRESSION, 1); }},
      {"safe mode", [&] { return set(target, PARAM_DATA_SAFE_MODE, 1); }},
      {"block length", [&] { return set(target, PARAM_BLOCK_LENGTH, 512); }},
      {"write cache", [&] { return set(driver, PARAM_WRITE_CACHE, 1); }},
      {"block length by driver", [&] { return set(driver, PARAM_BLOCK_LENGTH, 512); }},
      {"parameters", [&] { return TapeMetaCmdQueryParam(&target, SENSE).queryParameter(); }},
      {"parameters by driver", [&] { return TapeMetaCmdQueryParam(&driver, SENSE).queryParameter(); }},
      {"partition", [&] { return create(target); }},
      {"partition by driver", [&] { return create(driver); }},
      {"partitions", [&] { return CmdQueryTapePartition(&target, SENSE).getParameters(); }},
      {"message", [&] { return shows(target); }},
      {"message by driver", [&] { return shows(driver); }},
      {"elements",
       [&] {
         const ChangerElementStatusData status(report.getIoData(), report.getIoDataLength(), true);
         status.toString();
         bool torn = false;
         for (std::uint16_t i = 0; i < status.getNumberPages(); ++i) {
           const int found = status.getElementStatusPage(i)->getNumberDescriptors();
           torn |= found != 0 && found != whole.getElementStatusPage(i)->getNumberDescriptors();
         }
         return torn ? CMD_ERROR : NO_ANSWER;
       }},
      {"locations",
       [&] {
         ChangerCmdReadCartridgeLocation locations(0x1000, 4);
         const ReturnCode result = library.scsiExecCDB(locations);
         for (std::uint16_t i = 0; i < locations.getNumberOfCartridgeLocations(); ++i)
           locations.getLocationElement(i);
         return result;
       }},
      {"mapping",
       [&] {
         std::vector<DriveMapping> map;
         ChangerDriveMapping().getMapping(controller, map);
         return NO_ANSWER;
       }},
      {"list",
       [&] {
         std::list<ScsiTarget*> devices;
         controller.convertToList(devices);
         controller.printDeviceListIntoLog();
         controller.addDevice(0, 7, 0, 0, "");
         return NO_ANSWER;
       }},
      {"product",
       [&] {
         std::string product;
         return *getProductString(&target, product) == '\0' ? CMD_NO_MEMORY : CMD_OK;
       }},
      {"configuration",
       [&] {
         ConfigFilename table;
         return table.initialize("Config.txt") ? CMD_OK : table.getStatus() == 3 ? CMD_NO_MEMORY : CMD_ERROR;
       }},
      {"ready",
       [&] { return static_cast<ReturnCode>(UpdateFirmware().wait4DriveReady(&target)), NO_ANSWER; }},
      {"restart", [&] { return UpdateFirmware().wait4RebootComplete(&target), NO_ANSWER; }},
      {"rescan", [&] { return UpdateFirmware().rescan4Device(&target), NO_ANSWER; }},
      {"result", [&] { return UpdateFirmware().showUpdateResult(0, 0, 0), NO_ANSWER; }},
  };
  for (const auto& operation : operations) {
    ReturnCode expected = NO_ANSWER, result = NO_ANSWER;
    const auto run = [&](ReturnCode& answer, unsigned long refused) {
      set(target, PARAM_BLOCK_LENGTH, 0);
      room.journal().clear();
      const MemoryShortage shortage(refused);
      EXPECT_NO_THROW(answer = operation.run());
    };
    run(expected, 0);
    const auto wholly = sent();
    const unsigned long allocations = MemoryShortage::asked();
    EXPECT_GT(allocations, 0u) << operation.name;
    for (unsigned long nth = 1; nth <= allocations; ++nth) {
      SCOPED_TRACE(operation.name + (" " + std::to_string(nth)));
      run(result, nth);
      EXPECT_TRUE(result == expected || result == CMD_NO_MEMORY) << result;
      const auto now = sent();
      EXPECT_TRUE(std::ranges::includes(wholly, now)) << testing::PrintToString(now);
      EXPECT_TRUE(result != CMD_OK || now == wholly);
    }
  }
}

TEST_F(Adversity, OfMemorySendsNoCommandWithoutItsBuffers) {
  for (ScsiTarget* each : std::initializer_list<ScsiTarget*>{&target, &driver}) {
    for (const auto enlarge : std::initializer_list<void (*)(ScsiCommand&)>{
             [](ScsiCommand& command) { command.setCdbLength(16); },
             [](ScsiCommand& command) { command.setSenseDataLength(64); },
             [](ScsiCommand& command) { command.setIoDataLength(128); }}) {
      ScsiCmdReadBuffer command(2, 0, 0, 64);
      {
        const MemoryShortage shortage(1);
        EXPECT_EQ(command.setParameterListLength(8), CMD_OK) << "less needs no memory";
        enlarge(command);
      }
      EXPECT_EQ(each->scsiExecCDB(command), CMD_NO_MEMORY);
      EXPECT_EQ(command.getExecutionStatus(), CMD_NO_MEMORY);
    }
  }
  EXPECT_THAT(calls(), testing::IsEmpty());
}

TEST_F(Adversity, OfMemoryLeavesNoReportWithoutItsTrailer) {
  setDirectory(directory.path.string());
  {
    const MemoryShortage shortage(1);
    UpdateFirmware().showResultTrailer(0);
  }
  setDirectory("");
  EXPECT_EQ(directory.read("scsiExe.txt"), "</SVMExecution>\n");
}

TEST_F(Adversity, OfMemoryIsNotMetByWhatIsNotLogged) {
  const MemoryShortage shortage;
  logDump("SCSI", "a title that does not fit into a string object", std::vector<std::uint8_t>(1));
  EXPECT_EQ(MemoryShortage::asked(), 1u) << "the vector's";
}

TEST_F(Adversity, OfTheOutputLeavesTheLastErrorToItsReader) {
  setLogSink([](int, const char*, void*) { SetLastError(ERROR_INVALID_HANDLE); }, nullptr);
  LogLevel level(LOG_DEBUG);
  const std::function<void()> lines[] = {[] { logger->logDebug("TEST", 0, "a line"); },
                                         [] { logger->logDebug("TEST", 0, "line %d", 2); },
                                         [] { logger->logBinary("TEST", 0, "a dump", "x", 1); }};
  for (const auto& line : lines) {
    SetLastError(ERROR_SEM_TIMEOUT);
    line();
    EXPECT_EQ(GetLastError(), ERROR_SEM_TIMEOUT);
  }
  setLogSink(nullptr, nullptr);
}

/// A log function of the host's own may throw at any line; what was open for the call is closed.
TEST_F(Adversity, OfTheHostLeavesNoDeviceOpen) {
  LogLevel level(LOG_DEBUG);
  int left = 0;
  setLogSink(
      [](int, const char*, void* lines) {
        if (--*static_cast<int*>(lines) == 0) throw 1;
      },
      &left);
  target.closeDevice();
  const std::size_t before = room.openHandles();
  for (const bool classes : {true, false}) {
    int nth = 0;
    do {
      left = ++nth;
      const int result = classes ? scanScsiBus(0) : kiv_scan(0);
      ASSERT_EQ(room.openHandles(), before) << "line " << nth;
      if (left <= 0) {
        ASSERT_EQ(result, classes ? int{FW_NO_DRIVE_CONNECTED} : KIV_UNEXPECTED) << "line " << nth;
      }
    } while (left <= 0);
  }
  setLogSink(nullptr, nullptr);
}

TEST_F(Adversity, OfTheDiskIsLoggedForEachReport) {
  for (const char* const report : {"scsiInv.txt", "scsiExe.txt"}) {
    std::filesystem::remove(report);
    std::filesystem::create_symlink("/dev/full", report);
    EXPECT_THAT(logOf([] { scanScsiBus(0), updateFirmware(0, 0, false); }, LOG_ERROR),
                testing::Contains(std::string("MAIN0000E Report ") + report + " could not be written whole"));
  }
}

TEST_F(Adversity, OfAShortNameLeavesTheImageWhereItIsNot) {
  const std::string part(100, 'd');
  std::filesystem::create_directories(part + "/" + part + "/" + part);
  std::filesystem::current_path(part + "/" + part + "/" + part);
  unsigned char* image = nullptr;
  ulong32 length = 0;
  EXPECT_EQ(UpdateFirmware().loadBinaryMicrocodeFile("image.bin", &image, &length), FW_INVALID_FILE_NAME);
  EXPECT_THAT(calls(), testing::ElementsAre("CreateFileA image.bin r -> error 2",
                                            "CreateFileA ..\\image.bin r -> error 2"));
}

TEST_F(Adversity, OfAListWithAHoleInItIsSkipped) {
  listOfSupportedDevices = {nullptr, &target};
  ComponentId ids;
  ScanBus().showScanResult(0, ids);
  EXPECT_THAT(directory.read("scsiInv.txt"), testing::HasSubstr("QOR-ULTRIUM-PX6"));
}

}  // namespace
