#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "kiv/update/update_firmware.h"
#include "tests/support/captured_output.h"
#include "tests/update/update_test.h"

using simulator::Fault;
using simulator::Sense;

namespace {

/// The opening tags of one device's entry.
std::string entryStart(const std::string& id, const std::string& address, const std::string& product,
                       const std::string& level) {
  return "  <Device componentID=\"" + id + "\" enum=\"" + address + "\" display=\"" +
         product.substr(0, product.find(':')) + "\">\n    <Application display=\"" + product +
         "\" componentType=\"FRMW\" version=\"" + level + "\">";
}

// The inventory

std::string inventory(const std::string& entries) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SVMInventory lang=\"en\">\n" + entries +
         "</SVMInventory>\n";
}

class Inventory : public UpdateTest {
 protected:
  Inventory() {
    room.addDrive({.target = 5, .model = "ULTRIUM-TD6", .level = "B200"});
    room.addDrive({.adapter = 1,
                   .bus = 1,
                   .target = 14,
                   .lun = 3,
                   .model = "ULT <&\"> TD5",
                   .level = "A1",
                   .interface = simulator::Interface::ParallelScsi});
    room.adapter(1).options().buses = 2;
    room.addChanger({.adapter = 1, .target = 6, .model = "3573-TL", .level = "0200"});
    room.addDisk({.target = 1, .model = "DISK"});
  }

  static std::string drive(const std::string& id) {
    return entryStart(id, "0,0,5,0", "QOR-ULTRIUM-TD6:Fibre", "B200") + "</Application>\n  </Device>\n";
  }
  static std::string changer(const std::string& id) {
    return entryStart(id, "1,0,6,0", "QOR-3573-TL", "0200") + "</Application>\n  </Device>\n";
  }
  static std::string oddDrive() {
    return entryStart("", "1,1,14,3", "QOR-ULT <&\"> TD5:SCSI", "A1  ") + "</Application>\n  </Device>\n";
  }
};

TEST_F(Inventory, ListsWhatTheConfigurationSupports) {
  const std::string unreadable = "# nothing yet\nnothing\n";
  struct {
    const char* config;
    const char* devlist;
    int result;
    std::string entries;
  } const cases[] = {
      {nullptr, nullptr, FW_NO_ERROR, drive("") + changer("") + oddDrive()},
      {"QOR-ULTRIUM-TD6:Fibre image.bin C300\nQOR-ULT other.bin D400\n",
       "4711 QOR-ULTRIUM-TD6:Fibre\n4712 QOR-3573-TL\n", FW_NO_ERROR, drive("4711")},
      {"QOR-ULTRIUM-TD6:Fibre image.bin C300\nQOR-3573-TL x y\n", "4712 QOR-3573-TL\n", FW_NO_ERROR,
       drive("") + changer("4712")},
      {"# nothing yet\n", "4712 QOR-3573-TL\n", FW_NO_ERROR, changer("4712")},
      {"QOR-ULTRIUM-TD6:SAS image.bin C300\n", nullptr, FW_NO_DRIVE_CONNECTED, ""},
  };
  for (const auto& row : cases) {
    std::filesystem::remove(directory.path / "Config.txt");
    std::filesystem::remove(directory.path / "Devlist.txt");
    if (row.config) directory.write("Config.txt", row.config);
    if (row.devlist) directory.write("Devlist.txt", row.devlist);
    directory.write("scsiInv.txt", std::string(10000, 'x'));
    EXPECT_EQ(scanScsiBus(0), row.result);
    EXPECT_EQ(directory.read("scsiInv.txt"), inventory(row.entries));
    EXPECT_EQ(deviceController.getDeviceCount(), 3);
  }
}

TEST_F(Inventory, GoesWhereTheOutputModeSays) {
  const std::string whole = inventory(drive("") + changer("") + oddDrive());
  CapturedOutput output;
  EXPECT_EQ(scanScsiBus(2), FW_NO_ERROR);
  EXPECT_EQ(output.text(), whole + "\n");
  CapturedOutput nothing;
  EXPECT_EQ(scanScsiBus(4), FW_NO_ERROR);
  EXPECT_EQ(nothing.text(), "");
  EXPECT_FALSE(directory.holds("scsiInv.txt"));
  EXPECT_EQ(listOfSupportedDevices.size(), 3u);

  CapturedOutput log;
  for (int mode : {1, 0}) {
    EXPECT_EQ(scanScsiBus(mode), FW_NO_ERROR);
    EXPECT_EQ(directory.read("scsiInv.txt"), whole);
    EXPECT_TRUE(logger->logDebug("TEST", 0, "the level stays"));
  }
  log.text();
}

// The result of an update

std::string execution(const std::string& entries) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SVMExecution lang=\"en\">\n" + entries +
         "</SVMExecution>\n";
}

std::string resultEntry(int code, const std::string& message, const std::string& id = "4711",
                        const std::string& address = "0,0,5,0", const std::string& level = "B200") {
  return entryStart(id, address, "QOR-ULTRIUM-TD6:Fibre", level) + "\n      <SPStatus result=\"" +
         (code == 0 ? "true" : "false") + "\">\n        <Message id=\"" + std::to_string(code) + "\">" +
         message + "</Message>\n      </SPStatus>\n    </Application>\n  </Device>\n";
}

const std::string success = resultEntry(0, "Firmware update successful");

class Result : public UpdateTest {
 protected:
  Result() {
    directory.write("Devlist.txt", "4711 QOR-ULTRIUM-TD6:Fibre\n");
    configure("C300");
    writeImage("C300", 70000);
  }

  void configure(const std::string& level) const {
    directory.write("Config.txt", "QOR-ULTRIUM-TD6:Fibre image.bin " + level + "\n");
  }
  void scan() { ASSERT_EQ(scanScsiBus(4), FW_NO_ERROR); }

  simulator::VirtualDrive& drive = room.addDrive({.target = 5, .model = "ULTRIUM-TD6", .level = "B200"});
};

TEST_F(Result, IsReportedForEveryCode) {
  const auto path = directory.path / "image.bin";
  struct {
    const char* name;
    std::function<void()> prepare;
    bool force;
    int code;
    const char* message;
    const char* levelAfterwards;
  } const cases[] = {
      {"update", [] {}, false, 0, "Firmware update successful", "C300"},
      {"same level", [&] { configure("B200"); }, false, 0, "Firmware update successful", "B200"},
      {"never ready",
       [&] { room.addFault({.cdb = "00", .times = 0, .sense = Sense{.key = 2, .asc = 4, .ascq = 1}}); },
       false, 1, "Device temporary disconnected - RESCAN REQUIRED", "B200"},
      {"no image", [&] { std::filesystem::remove(path); }, false, 2, "Invalid file name", "B200"},
      {"a directory", [&] { std::filesystem::create_directory(path); }, false, 2, "Invalid file name",
       "B200"},
      {"empty image", [&] { std::filesystem::remove(path), directory.write("image.bin", ""); }, false, 3,
       "Firmware file is corrupted", "B200"},
      {"image vanishes",
       [&] { writeImage("C300", 70000), room.addFault({.call = "ReadFile", .error = ERROR_IO_DEVICE}); },
       false, 3, "Firmware file is corrupted", "B200"},
      {"rejected", [&] { directory.write("image.bin", std::string(70000, 'x')); }, false, 4,
       "Firmware update failed", "B200"},
      {"silent afterwards",
       [&] { writeImage("C300", 70000), room.addFault({.cdb = "12 00", .error = ERROR_IO_DEVICE}); }, false,
       5, "Reboot of tape device failed", "C300"},
      {"lower level", [&] { configure("A100"), writeImage("A100", 70000); }, false, 7,
       "Invalid Microcode level", "B200"},
      {"forced", [&] { configure("A100"); }, true, 0, "Firmware update successful", "A100"},
      {"not listed", [&] { directory.write("Config.txt", "QOR-ULTRIUM-TD6 image.bin C300\n"); }, true, 8,
       "Configuration invalid", "B200"},
      {"no Config.txt", [&] { std::filesystem::remove(directory.path / "Config.txt"); }, true, 8,
       "Configuration invalid", "B200"},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    room.faults().clear();
    drive.options().level = "B200";
    configure("C300");
    scan();
    row.prepare();
    directory.write("scsiExe.txt", std::string(10000, 'x'));
    EXPECT_EQ(updateFirmware(0, 0, row.force), row.code);
    EXPECT_EQ(directory.read("scsiExe.txt"), execution(resultEntry(row.code, row.message)));
    EXPECT_EQ(drive.level(), row.levelAfterwards);
    EXPECT_EQ(listOfSupportedDevices[0]->isOpened(), std::string(row.name) == "same level");
  }
}

TEST_F(Result, HasAMessageForCodesThatAreHardToProvoke) {
  scan();
  UpdateFirmware update;
  for (const auto& [code, message] :
       {std::pair{6, "Invalid SCSI address selected"}, {9, "Unknown failure"}}) {
    update.showResultHeader(0);
    update.showUpdateResult(0, 0, code);
    update.showResultTrailer(0);
    EXPECT_EQ(directory.read("scsiExe.txt"), execution(resultEntry(code, message)));
  }
}

TEST_F(Result, WithoutADeviceIsTheFrameOfTheReport) {
  EXPECT_EQ(updateFirmwareAllDevices(0, false), FW_NO_ERROR);
  EXPECT_EQ(directory.read("scsiExe.txt"), execution(""));
  scan();
  for (int index : {1, -1, 2147483647, -2147483647 - 1}) {
    directory.write("scsiExe.txt", "before");
    EXPECT_EQ(updateFirmware(index, 0, true), FW_NO_DRIVE_CONNECTED);
    EXPECT_EQ(directory.read("scsiExe.txt"), execution(""));
  }
  EXPECT_EQ(room.journal().count("3B"), 0u);
}

TEST_F(Result, GoesToStandardOutputOnRequest) {
  CapturedOutput empty;
  EXPECT_EQ(updateFirmwareAllDevices(2, false), FW_NO_ERROR);
  EXPECT_EQ(empty.text(), execution(""));
  scan();
  CapturedOutput output;
  EXPECT_EQ(updateFirmware(0, 2, false), FW_NO_ERROR);
  EXPECT_EQ(output.text(), execution(success));
  EXPECT_FALSE(directory.holds("scsiExe.txt"));
}

TEST_F(Result, ThatCannotBeWrittenDoesNotStopTheUpdate) {
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
  EXPECT_EQ(directory.read("scsiExe.txt"),
            execution(success + resultEntry(7, "Invalid Microcode level", "4711", "0,0,7,0", "D400") +
                      resultEntry(0, "Firmware update successful", "4711", "0,0,9,0", "C300")));
}

}  // namespace
