#include <gmock/gmock.h>

#include <string>

#include "kiv/update/scan_bus.h"
#include "kiv/update/update_firmware.h"
#include "tests/support/captured_output.h"
#include "tests/update/update_test.h"

using simulator::AfterDownload;
using simulator::Sense;
using testing::ElementsAre;

namespace {

constexpr char INVENTORY_START[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<SVMInventory lang=\"en\">\n";
constexpr char INVENTORY_END[] = "</SVMInventory>\n";
constexpr char EXECUTION_START[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<SVMExecution lang=\"en\">\n";
constexpr char EXECUTION_END[] = "</SVMExecution>\n";

/// The one drive of most tests, as an update reports it.
std::string resultEntry(int result, const std::string& message) {
  return "  <Device componentID=\"4711\" enum=\"0,0,5,0\" display=\"QOR-ULTRIUM-TD6\">\n"
         "    <Application display=\"QOR-ULTRIUM-TD6:Fibre\" componentType=\"FRMW\" version=\"B200\">\n"
         "      <SPStatus result=\"" +
         std::string(result == 0 ? "true" : "false") +
         "\">\n"
         "        <Message id=\"" +
         std::to_string(result) + "\">" + message +
         "</Message>\n"
         "      </SPStatus>\n"
         "    </Application>\n"
         "  </Device>\n";
}

std::string execution(const std::string& entries) { return EXECUTION_START + entries + EXECUTION_END; }

class Inventory : public UpdateTest {
 protected:
  Inventory() {
    room.addDrive({.target = 5, .model = "ULTRIUM-TD6", .level = "B200"});
    room.addDrive({.adapter = 2,
                   .bus = 1,
                   .target = 14,
                   .lun = 3,
                   .model = "ULT <&\"> TD5",
                   .level = "A1 ",
                   .interface = simulator::Interface::ParallelScsi});
    room.addChanger({.adapter = 2, .target = 6, .model = "3573-TL", .level = "0200"});
    room.addDisk({.target = 1});
  }
};

TEST_F(Inventory, ListsWhatConfigTxtSupports) {
  directory.write("Devlist.txt", "4711 QOR-ULTRIUM-TD6:Fibre\n4712 QOR-3573-TL\n");
  directory.write("Config.txt", "QOR-ULTRIUM-TD6:Fibre image.bin C300\nQOR-ULT other.bin D400\n");
  EXPECT_EQ(scanScsiBus(0), FW_NO_ERROR);
  EXPECT_EQ(directory.read("scsiInv.txt"),
            std::string(INVENTORY_START) +
                "  <Device componentID=\"4711\" enum=\"0,0,5,0\" display=\"QOR-ULTRIUM-TD6\">\n"
                "    <Application display=\"QOR-ULTRIUM-TD6:Fibre\" componentType=\"FRMW\" version=\"B200\">"
                "</Application>\n"
                "  </Device>\n" +
                INVENTORY_END);
  EXPECT_EQ(listOfSupportedDevices.size(), 1u);
}

/// Every device of the room, without identifiers.
std::string wholeInventory() {
  return std::string(INVENTORY_START) +
         "  <Device componentID=\"\" enum=\"0,0,5,0\" display=\"QOR-ULTRIUM-TD6\">\n"
         "    <Application display=\"QOR-ULTRIUM-TD6:Fibre\" componentType=\"FRMW\" version=\"B200\">"
         "</Application>\n"
         "  </Device>\n"
         "  <Device componentID=\"\" enum=\"2,0,6,0\" display=\"QOR-3573-TL\">\n"
         "    <Application display=\"QOR-3573-TL\" componentType=\"FRMW\" version=\"0200\"></Application>\n"
         "  </Device>\n"
         "  <Device componentID=\"\" enum=\"2,1,14,3\" display=\"QOR-ULT <&\"> TD5\">\n"
         "    <Application display=\"QOR-ULT <&\"> TD5:SCSI\" componentType=\"FRMW\" version=\"A1  \">"
         "</Application>\n"
         "  </Device>\n" +
         INVENTORY_END;
}

TEST_F(Inventory, ListsTheMakersDevicesWithoutAnyConfiguration) {
  directory.write("scsiInv.txt", std::string(100000, 'x'));
  EXPECT_EQ(scanScsiBus(0), FW_NO_ERROR);
  EXPECT_EQ(directory.read("scsiInv.txt"), wholeInventory());
}

TEST_F(Inventory, FallsBackToDevlistTxtWhileConfigTxtIsEmpty) {
  directory.write("Config.txt", "# nothing yet\n");
  directory.write("Devlist.txt", "4712 QOR-3573-TL\n");
  EXPECT_EQ(scanScsiBus(0), FW_NO_ERROR);
  EXPECT_EQ(
      directory.read("scsiInv.txt"),
      std::string(INVENTORY_START) +
          "  <Device componentID=\"4712\" enum=\"2,0,6,0\" display=\"QOR-3573-TL\">\n"
          "    <Application display=\"QOR-3573-TL\" componentType=\"FRMW\" version=\"0200\"></Application>\n"
          "  </Device>\n" +
          INVENTORY_END);
}

TEST_F(Inventory, IsWrittenWithoutADeviceToo) {
  directory.write("Config.txt", "QOR-OTHER:SAS image.bin C300\n");
  EXPECT_EQ(scanScsiBus(0), FW_NO_DRIVE_CONNECTED);
  EXPECT_EQ(directory.read("scsiInv.txt"), std::string(INVENTORY_START) + INVENTORY_END);
  EXPECT_TRUE(listOfSupportedDevices.empty());
  EXPECT_EQ(deviceController.getDeviceCount(), 3);
}

TEST_F(Inventory, GoesWhereTheOutputModeSays) {
  directory.write("scsiInv.txt", "before");
  CapturedOutput output;
  EXPECT_EQ(scanScsiBus(2), FW_NO_ERROR);
  EXPECT_EQ(output.text(), wholeInventory() + "\n");
  EXPECT_EQ(directory.read("scsiInv.txt"), "before");

  CapturedOutput nothing;
  EXPECT_EQ(scanScsiBus(4), FW_NO_ERROR);
  EXPECT_EQ(nothing.text(), "");
  EXPECT_EQ(directory.read("scsiInv.txt"), "before");
  EXPECT_EQ(listOfSupportedDevices.size(), 3u);

  CapturedOutput log;
  EXPECT_EQ(scanScsiBus(1), FW_NO_ERROR);
  EXPECT_EQ(directory.read("scsiInv.txt"), wholeInventory());
  EXPECT_TRUE(logger->logDebug("TEST", 0, "debug level stays on"));
  EXPECT_EQ(scanScsiBus(0), FW_NO_ERROR);
  EXPECT_TRUE(logger->logDebug("TEST", 0, "debug level stays on"));
  log.text();
}

class Result : public UpdateTest {
 protected:
  Result() : drive(room.addDrive({.target = 5, .model = "ULTRIUM-TD6", .level = "B200"})) {
    directory.write("Devlist.txt", "4711 QOR-ULTRIUM-TD6:Fibre\n");
    configure("C300");
    writeImage("C300", 70000);
  }

  void configure(const std::string& level) const {
    directory.write("Config.txt", "QOR-ULTRIUM-TD6:Fibre image.bin " + level + "\n");
  }
  void scan() { ASSERT_EQ(scanScsiBus(4), FW_NO_ERROR); }
  /// Updates the drive, and returns the report.
  std::string update(int expectedResult, int outputMode = 0, bool force = false) {
    scan();
    EXPECT_EQ(updateFirmware(0, outputMode, force), expectedResult);
    return directory.read("scsiExe.txt");
  }

  simulator::VirtualDrive& drive;
};

TEST_F(Result, OfASuccessfulUpdate) {
  directory.write("scsiExe.txt", std::string(100000, 'x'));
  EXPECT_EQ(update(FW_NO_ERROR), execution(resultEntry(0, "Firmware update successful")));
  EXPECT_EQ(drive.level(), "C300");
  EXPECT_EQ(drive.downloaded().size(), 70000u);
}

TEST_F(Result, OfADriveAtTheConfiguredLevel) {
  configure("B200");
  EXPECT_EQ(update(FW_NO_ERROR), execution(resultEntry(0, "Firmware update successful")));
  EXPECT_EQ(room.journal().count("3B"), 0u);
  EXPECT_TRUE(listOfSupportedDevices[0]->isOpened());
}

TEST_F(Result, OfADriveThatIsNeverReady) {
  room.addFault({.cdb = "00", .times = 0, .sense = Sense{.key = 2, .asc = 0x04, .ascq = 0x01}});
  EXPECT_EQ(update(FW_DEVICE_DISCONNECTED),
            execution(resultEntry(1, "Device temporary disconnected - RESCAN REQUIRED")));
}

TEST_F(Result, OfAnImageThatIsMissingOrADirectory) {
  std::filesystem::remove(directory.path / "image.bin");
  EXPECT_EQ(update(FW_INVALID_FILE_NAME), execution(resultEntry(2, "Invalid file name")));
  std::filesystem::create_directory(directory.path / "image.bin");
  EXPECT_EQ(update(FW_INVALID_FILE_NAME), execution(resultEntry(2, "Invalid file name")));
}

TEST_F(Result, OfAnImageThatIsEmptyTooLargeOrVanishes) {
  const std::string corrupted = execution(resultEntry(3, "Firmware file is corrupted"));
  directory.write("image.bin", "");
  EXPECT_EQ(update(FW_FILE_CORRUPTED), corrupted);
  std::filesystem::resize_file(directory.path / "image.bin", 16'777'217);
  EXPECT_EQ(update(FW_FILE_CORRUPTED), corrupted);
  std::filesystem::resize_file(directory.path / "image.bin", (std::uintmax_t{1} << 32) + 1);
  EXPECT_EQ(update(FW_FILE_CORRUPTED), corrupted);
  writeImage("C300", 70000);
  room.addFault({.call = "ReadFile", .error = ERROR_IO_DEVICE});
  EXPECT_EQ(update(FW_FILE_CORRUPTED), corrupted);
  EXPECT_EQ(room.journal().count("3B"), 0u);
}

TEST_F(Result, OfAnImageThatTheDriveRejects) {
  directory.write("image.bin", std::string(70000, 'x'));
  EXPECT_EQ(update(FW_UPDATE_FAILED), execution(resultEntry(4, "Firmware update failed")));
  EXPECT_EQ(drive.level(), "B200");
}

TEST_F(Result, OfALowerLevelAndForce) {
  configure("A100");
  writeImage("A100", 70000);
  EXPECT_EQ(update(FW_INVALID_UCODE), execution(resultEntry(7, "Invalid Microcode level")));
  EXPECT_EQ(room.journal().count("3B"), 0u);
  EXPECT_EQ(update(FW_NO_ERROR, 0, true), execution(resultEntry(0, "Firmware update successful")));
  EXPECT_EQ(drive.level(), "A100");
}

TEST_F(Result, OfADeviceThatConfigTxtDoesNotList) {
  directory.write("Config.txt", "QOR-ULTRIUM-TD6 image.bin C300\n");
  directory.write("Devlist.txt", "");
  std::filesystem::remove(directory.path / "Devlist.txt");
  std::filesystem::remove(directory.path / "Config.txt");
  scan();
  directory.write("Config.txt", "QOR-ULTRIUM-TD6 image.bin C300\n");
  EXPECT_EQ(updateFirmware(0, 0, false), FW_CONFIG_ERROR);
  std::string entry = resultEntry(8, "Configuration invalid");
  entry.replace(entry.find("4711"), 4, "");
  EXPECT_EQ(directory.read("scsiExe.txt"), execution(entry));
}

TEST_F(Result, OfAnIndexOutOfRangeIsTheFrameOfTheReport) {
  scan();
  for (int index : {1, -1, 2147483647, -2147483647 - 1}) {
    directory.write("scsiExe.txt", "before");
    EXPECT_EQ(updateFirmware(index, 0, true), FW_NO_DRIVE_CONNECTED);
    EXPECT_EQ(directory.read("scsiExe.txt"), execution(""));
  }
}

TEST_F(Result, HasAMessageForEveryCode) {
  scan();
  const char* messages[] = {"Firmware update successful",
                            "Device temporary disconnected - RESCAN REQUIRED",
                            "Invalid file name",
                            "Firmware file is corrupted",
                            "Firmware update failed",
                            "Reboot of tape device failed",
                            "Invalid SCSI address selected",
                            "Invalid Microcode level",
                            "Configuration invalid",
                            "Unknown failure"};
  UpdateFirmware update;
  for (int code = 0; code < 10; ++code) {
    update.showResultHeader(0);
    update.showUpdateResult(0, 0, code);
    EXPECT_EQ(directory.read("scsiExe.txt"), EXECUTION_START + resultEntry(code, messages[code]));
  }
}

TEST_F(Result, GoesToStandardOutputOnRequest) {
  scan();
  CapturedOutput output;
  EXPECT_EQ(updateFirmware(0, 2, false), FW_NO_ERROR);
  EXPECT_EQ(output.text(), execution(resultEntry(0, "Firmware update successful")));
  EXPECT_FALSE(directory.holds("scsiExe.txt"));
}

TEST_F(Result, IsNotNeededForAnUpdate) {
  scan();
  std::filesystem::create_directory(directory.path / "scsiExe.txt");
  EXPECT_EQ(updateFirmware(0, 0, false), FW_NO_ERROR);
  EXPECT_EQ(drive.level(), "C300");
}

TEST_F(Result, OfAllDevicesLeavesOutWhatConfigTxtDoesNotList) {
  room.addDrive({.target = 3, .model = "ULTRIUM-TD5", .level = "B200"});
  room.addDrive({.target = 7, .model = "ULTRIUM-TD6", .level = "D400"});
  room.addDrive({.target = 9, .model = "ULTRIUM-TD6", .level = "C300"});
  directory.write("Devlist.txt", "4711 QOR-ULTRIUM-TD6:Fibre\n4712 QOR-ULTRIUM-TD5:Fibre\n");
  std::filesystem::remove(directory.path / "Config.txt");
  scan();
  ASSERT_EQ(listOfSupportedDevices.size(), 4u);
  configure("C300");
  EXPECT_EQ(updateFirmwareAllDevices(0, false), FW_INVALID_UCODE);

  std::string higher = resultEntry(7, "Invalid Microcode level");
  higher.replace(higher.find("0,0,5,0"), 7, "0,0,7,0").replace(higher.find("B200"), 4, "D400");
  std::string same = resultEntry(0, "Firmware update successful");
  same.replace(same.find("0,0,5,0"), 7, "0,0,9,0").replace(same.find("B200"), 4, "C300");
  EXPECT_EQ(directory.read("scsiExe.txt"),
            execution(resultEntry(0, "Firmware update successful") + higher + same));
}

TEST_F(Result, OfNoDevicesIsTheFrameOfTheReport) {
  EXPECT_EQ(updateFirmwareAllDevices(0, false), FW_NO_ERROR);
  EXPECT_EQ(directory.read("scsiExe.txt"), execution(""));
  CapturedOutput output;
  EXPECT_EQ(updateFirmwareAllDevices(2, false), FW_NO_ERROR);
  EXPECT_EQ(output.text(), execution(""));
}

}  // namespace
