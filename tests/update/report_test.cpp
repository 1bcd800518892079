#include <functional>

#include "kiv/update/update_firmware.h"
#include "tests/support/room_test.h"

namespace {

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
};

TEST_F(Inventory, ListsWhatTheConfigurationSupports) {
  const std::pair<const char*, const char*> rows[] = {
      {nullptr, nullptr},
      {"QOR-ULTRIUM-TD6:Fibre image.bin C300\nQOR-ULT other.bin D400\n",
       "4711 QOR-ULTRIUM-TD6:Fibre\n4712 QOR-3573-TL\n"},
      {"QOR-ULTRIUM-TD6:Fibre image.bin C300\nQOR-3573-TL x y\n", "4712 QOR-3573-TL\n"},
      {"# nothing yet\n", "4712 QOR-3573-TL\n"},
      {"QOR-ULTRIUM-TD6:SAS image.bin C300\n", nullptr},
  };
  for (const auto& [config, devlist] : rows) {
    std::filesystem::remove("Config.txt");
    std::filesystem::remove("Devlist.txt");
    if (config) directory.write("Config.txt", config);
    if (devlist) directory.write("Devlist.txt", devlist);
    directory.write("scsiInv.txt", std::string(10000, 'x'));
    record("Config.txt, Devlist.txt", config, devlist, scanScsiBus(0), listOfSupportedDevices.size());
    record(directory.read("scsiInv.txt"));
    EXPECT_EQ(deviceController.getDeviceCount(), 3);
  }
}

TEST_F(Inventory, GoesWhereTheOutputModeSays) {
  for (const int mode : {2, 4, 0, 1, 0}) {
    std::filesystem::remove("scsiInv.txt");
    CapturedOutput output;
    EXPECT_EQ(scanScsiBus(mode), FW_NO_ERROR);
    const bool debug = logger->logDebug("TEST", 0, "the level stays");
    record("mode, at debug level", mode, debug);
    record(debug ? "log" : "output \"" + output.text() + '"');
    record("file", directory.read("scsiInv.txt"));
    EXPECT_EQ(listOfSupportedDevices.size(), 3u);
  }
}

TEST_F(Inventory, EveryScanStartsFromEmptyLists) {
  kivInit();
  libraryMode = true;
  room.addFault({.cdb = "1A", .times = 0, .error = ERROR_IO_DEVICE});  // the library stays open
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(scanScsiBus(4), FW_NO_ERROR);
    EXPECT_EQ(listOfSupportedDevices.size(), 3u);
    EXPECT_EQ(deviceController.getDeviceCount(), 3);
    EXPECT_EQ(room.openHandles(), 0u) << "every device is closed, supported or not";
  }
  for (int i = 0; i < 2; ++i) {
    kivFini();
    EXPECT_TRUE(listOfSupportedDevices.empty());
    EXPECT_EQ(deviceController.getDeviceCount(), 0);
  }
}

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
  /// Result, report, and what stands in the log of the outcome.
  template <typename Operation>
  void tell(const std::string& what, Operation operation) {
    directory.write("scsiExe.txt", std::string(10000, 'x'));
    int result = 99;
    const auto log = logOf([&] { result = operation(); });
    record(what, result, drive.level());
    for (const std::string& line : log)
      if (line.starts_with("MAIN0000D")) record("  " + line);
    if (!std::filesystem::is_directory("scsiExe.txt")) record(directory.read("scsiExe.txt"));
  }

  simulator::VirtualDrive& drive = room.addDrive({.target = 5, .model = "ULTRIUM-TD6", .level = "B200"});
};

TEST_F(Result, IsReportedForEveryCode) {
  const auto erase = [](const char* name) { std::filesystem::remove(name); };
  const auto fail = [&](Fault fault) { room.addFault(fault); };
  const struct {
    const char* name;
    std::function<void()> prepare;
    bool force = false;
  } rows[] = {
      {"update", [] {}},
      {"same level", [&] { configure("B200"); }},
      {"never ready",
       [&] { fail({.cdb = "00", .times = 0, .sense = Sense{.key = 2, .asc = 4, .ascq = 1}}); }},
      {"no image", [&] { erase("image.bin"); }},
      {"a directory", [&] { erase("image.bin"), std::filesystem::create_directory("image.bin"); }},
      {"empty image", [&] { erase("image.bin"), directory.write("image.bin", ""); }},
      {"image vanishes", [&] { fail({.call = "ReadFile", .error = ERROR_IO_DEVICE}); }},
      {"rejected", [&] { directory.write("image.bin", std::string(70000, 'x')); }},
      {"silent afterwards", [&] { fail({.cdb = "12 00", .error = ERROR_IO_DEVICE}); }},
      {"lower level", [&] { configure("A100"), writeImage("A100", 70000); }},
      {"forced", [&] { configure("A100"), writeImage("A100", 70000); }, true},
      {"not listed", [&] { directory.write("Config.txt", "QOR-ULTRIUM-TD6 image.bin C300\n"); }, true},
      {"no Config.txt", [&] { erase("Config.txt"); }, true},
      {"no component", [&] { directory.write("Devlist.txt", "4711 QOR-ULTRIUM-TD5:Fibre\n"); }},
      {"report not to be written",
       [&] { erase("scsiExe.txt"), std::filesystem::create_directory("scsiExe.txt"); }},
  };
  for (const auto& row : rows) {
    room.faults().clear();
    drive.options().level = "B200";
    std::filesystem::remove_all("image.bin");
    configure("C300");
    writeImage("C300", 70000);
    scan();
    directory.write("scsiExe.txt", "");
    row.prepare();
    tell(row.name, [&] { return updateFirmware(0, 0, row.force); });
    record("left open", listOfSupportedDevices[0]->isOpened());
  }
}

TEST_F(Result, HasAMessageForEveryCode) {
  scan();
  UpdateFirmware update;
  for (int code = 0; code <= 10; ++code) {
    tell("code", [&] {
      update.showResultHeader(0);
      update.showUpdateResult(0, 0, code);
      update.showResultTrailer(0);
      return code;
    });
  }
}

TEST_F(Result, WithoutADeviceIsTheFrameOfTheReport) {
  tell("all of none", [] { return updateFirmwareAllDevices(0, false); });
  tell("without a scan", [] { return updateFirmware(0, 0, false); });
  scan();
  for (const int index : {1, -1, 2147483647, -2147483647 - 1})
    tell("device " + std::to_string(index), [&] { return updateFirmware(index, 0, true); });
  EXPECT_EQ(room.journal().count("3B"), 0u);
}

TEST_F(Result, GoesToStandardOutputOnRequest) {
  std::filesystem::remove("scsiExe.txt");
  scan();
  for (const bool all : {true, false}) {
    CapturedOutput output;
    EXPECT_EQ(all ? updateFirmwareAllDevices(2, true) : updateFirmware(0, 2, true), FW_NO_ERROR);
    record(output.text());
  }
  EXPECT_FALSE(directory.holds("scsiExe.txt"));
}

TEST_F(Result, OfAllDevicesIsTheLastFailure) {
  room.addDrive({.target = 3, .model = "ULTRIUM-TD5", .level = "B200"});
  room.addDrive({.target = 4, .model = "ULTRIUM-TD6", .level = "B200"});
  room.addDrive({.target = 7, .model = "ULTRIUM-TD6", .level = "D400"});
  room.addDrive({.target = 9, .model = "ULTRIUM-TD6", .level = "C300"});
  directory.write("Devlist.txt", "4711 QOR-ULTRIUM-TD6:Fibre\n4712 QOR-ULTRIUM-TD5:Fibre\n");
  std::filesystem::remove("Config.txt");
  scan();
  ASSERT_EQ(listOfSupportedDevices.size(), 5u);
  configure("C300");
  room.addFault({.cdb = "3B", .device = "H0-B0-T4-L0", .sense = Sense{.key = 5, .asc = 0x26}});
  tell("all", [] { return updateFirmwareAllDevices(0, false); });
}

}  // namespace
