// Scans, commands, parameters and elements as a host of the C interface sees them, and its mistakes.
#include <algorithm>
#include <thread>

#include "tests/c_interface/c_interface_test.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Devices : public CInterfaceTest {
 protected:
  simulator::VirtualDrive& addDrive(const std::string& serial, bool claimed = false) {
    return room.addDrive({.target = ++targets,
                          .model = "ULTRIUM-PX6",
                          .level = "A111",
                          .serial = serial,
                          .interface = simulator::Interface::Sas,
                          .claimed = claimed});
  }
  /// "SERIAL product string", "- \\.\tape0 error 32".
  static std::vector<std::string> found() {
    std::vector<std::string> lines;
    for (std::uint32_t i = 0; i < kiv_device_count(); ++i) {
      const kiv_info info = infoAt(i);
      lines.push_back(info.reachable
                          ? std::string(info.serial) + " " + info.product_string
                          : "- " + std::string(info.path) + " error " + std::to_string(info.windows_error));
    }
    return lines;
  }

  std::uint8_t targets = 0;
};

TEST_F(Devices, AreFoundWhateverTheConfigurationNames) {
  directory.write("Config.txt", "QOR-ULTRIUM-PX6:SAS image.bin B222\nELSE-THING:SAS image.bin 1\n");
  addDrive("ONE");
  room.addDrive({.target = 9,
                 .vendor = "ELSE",
                 .model = "THING",
                 .serial = "TWO",
                 .interface = simulator::Interface::Sas});
  room.addDrive({.target = 8, .vendor = "ELSE", .model = "OTHER", .serial = "THREE"});
  room.addDrive({.target = 7, .model = "ULTRIUM-PX7", .serial = "FOUR"});
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  EXPECT_THAT(found(),
              ElementsAre("ONE QOR-ULTRIUM-PX6:SAS", "FOUR QOR-ULTRIUM-PX7:Fibre", "TWO ELSE-THING:SAS"));
  EXPECT_EQ(infoAt(0).supported_index, 0);
  EXPECT_EQ(infoAt(1).supported_index, -1);
  EXPECT_EQ(infoAt(2).supported_index, 1);
  EXPECT_EQ(listOfSupportedDevices.size(), 2u);
}

TEST_F(Devices, ThatDoNotOpenAreToldWithWindowsReason) {
  addDrive("ONE", true);
  room.addFault({.call = "CreateFileA", .device = "\\\\.\\Tape1", .times = 0, .error = 32});
  addDrive("TWO", true);
  EXPECT_EQ(kiv_scan(KIV_SCAN_DRIVER), KIV_OK);
  EXPECT_THAT(found(), ElementsAre("ONE QOR-ULTRIUM-PX6:SAS", "- \\\\.\\tape1 error 32"));
  EXPECT_STREQ(infoAt(1).product, "ULTRIUM-PX6") << "the port driver knows it all the same";
  auto plan = sized<kiv_plan_info>();
  EXPECT_EQ(kiv_plan(kiv_device_at(1), 0, &plan), KIV_OK);
  EXPECT_EQ(plan.verdict, KIV_PLAN_NOT_REACHABLE);
  EXPECT_THAT(plan.text, HasSubstr("used by another process"));

  room.addFault({.call = "CreateFileA", .device = "\\\\.\\scsi0:", .times = 0, .error = 5});
  EXPECT_EQ(kiv_scan(0), KIV_OK) << "not elevated";
  EXPECT_THAT(found(), ElementsAre("- \\\\.\\scsi0: error 5"));
}

TEST_F(Devices, ThatAreBusyOrTellOfAResetStayWhatTheyAre) {
  room.addDrive(
      {.target = 5, .model = "ULTRIUM-PX6", .serial = "ONE", .interface = simulator::Interface::Sas},
      {.automationReady = true});
  for (const char* cdb : {"12", "3C", "00"}) {
    for (const Fault& effect : {Fault{.status = 0x08}, Fault{.sense = Sense{6, 0x29, 0}}}) {
      Fault fault = effect;
      fault.cdb = cdb;
      fault.times = 2;
      room.addFault(fault);
      EXPECT_EQ(kiv_scan(0), KIV_OK) << cdb;
      EXPECT_THAT(found(), ElementsAre("ONE QOR-ULTRIUM-PX6:SAS:AutomationReady")) << cdb;
    }
  }
  room.journal().clear();
  room.addFault({.cdb = "12", .status = 0x08});
  ScsiTarget documented;
  EXPECT_EQ(openAt(documented, 0, 0, 5), CMD_BUSY) << "documented calls ask once";
  EXPECT_EQ(room.journal().count("12"), 1u);
}

TEST_F(Devices, StandInLibrariesThatAreAskedOnce) {
  room.addAdapter({.maximumTransferLength = 65536});
  auto& library = room.addChanger({.target = 3, .model = "TAPELIB-40", .serial = "LIB"},
                                  {.importExport = {16, 2}, .drives = {256, 2}, .slots = {1000, 10000}});
  library.element(257).drive = &addDrive("ONE");
  library.element(1000 + 9999).cartridge = simulator::makeCartridge("QOR001L6");
  libraryMode = true;
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  EXPECT_EQ(room.journal().count("B8"), 1u);
  const kiv_device drive = kiv_device_find("ONE");
  auto info = sized<kiv_info>();
  ASSERT_EQ(kiv_device_info(drive, &info), KIV_OK);
  EXPECT_STREQ(info.product_string, "QOR-ULTRIUM-PX6:SAS:Library");
  EXPECT_STREQ(info.library_serial, "LIB");
  EXPECT_EQ(info.element, 257u);

  std::vector<kiv_element> elements;
  const auto take = [](const kiv_element* element, void* user) {
    static_cast<std::vector<kiv_element>*>(user)->push_back(*element);
    return 0;
  };
  ASSERT_EQ(kiv_elements(kiv_device_find("LIB"), take, &elements), KIV_OK);
  ASSERT_EQ(elements.size(), 1u + 10000 + 2 + 2);
  EXPECT_STREQ(elements[10000].barcode, "QOR001L6");
  EXPECT_TRUE(elements[10001].import_enabled && elements[10001].export_enabled);
  EXPECT_STREQ(elements[10004].drive_serial, "ONE");
  EXPECT_EQ(kiv_move_medium(kiv_device_find("LIB"), 0, 10999, 1000), KIV_OK);
  EXPECT_NE(library.element(1000).cartridge, nullptr);
  EXPECT_EQ(kiv_move_medium(kiv_device_find("LIB"), 0, 10999, 1000), KIV_COMMAND_FAILED);
  auto error = sized<kiv_error>();
  kiv_last_error(&error);
  EXPECT_THAT(error.text, HasSubstr("sense 5/3B/0E, Medium source element empty"));
}

TEST_F(Devices, TakeCommandsAndParameters) {
  auto& drive = addDrive("ONE");
  drive.insertBlank();
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  const kiv_device device = kiv_device_find("ONE");
  std::uint8_t data[96] = {};
  auto request = sized<kiv_request>();
  request.cdb_length = 6;
  request.cdb[0] = 0x12;
  request.cdb[4] = sizeof data;
  request.direction = KIV_DATA_IN;
  request.data = data;
  request.data_length = sizeof data;
  request.seconds = 7;
  room.journal().clear();
  ASSERT_EQ(kiv_command(device, &request), KIV_OK);
  EXPECT_EQ(std::string(data + 8, data + 11), "QOR");
  const auto& entries = room.journal().entries();
  const auto sent =
      std::find_if(entries.begin(), entries.end(), [](auto& entry) { return !entry.cdb.empty(); });
  EXPECT_EQ(sent->timeOut, 7u + 3) << "seconds of its own, and the port driver's margin";
  request.cdb[1] = 0x02;
  EXPECT_EQ(kiv_command(device, &request), KIV_COMMAND_FAILED);
  EXPECT_EQ(request.status, 2);
  EXPECT_EQ(request.sense[12], 0x24);

  EXPECT_EQ(kiv_parameter_set(device, "compression", "off"), KIV_OK);
  std::string told;
  const auto tell = [](const kiv_parameter* parameter, void* user) {
    *static_cast<std::string*>(user) += std::string(parameter->name) + "=" + parameter->text + " ";
    return 0;
  };
  EXPECT_EQ(kiv_parameters(device, tell, &told), KIV_OK);
  EXPECT_THAT(told, HasSubstr("compression=No block-size="));
  EXPECT_EQ(kiv_unload(device), KIV_OK);
  EXPECT_FALSE(drive.loaded());
  EXPECT_EQ(kiv_load(device), KIV_OK);
  EXPECT_TRUE(drive.loaded());
}

TEST_F(Devices, SpeakThroughTheLogFunctionAndReadTheChosenDirectory) {
  addDrive("ONE");
  std::filesystem::create_directory(directory.path / "place");
  directory.write("place/Devlist.txt", "100106 QOR-ULTRIUM-PX6:SAS\n");
  std::vector<std::string> lines;
  const auto take = [](std::int32_t, const char* line, void* user) {
    static_cast<std::vector<std::string>*>(user)->push_back(line);
  };
  CapturedOutput output;
  ASSERT_EQ(kiv_set_log(KIV_LOG_DEBUG, take, &lines), KIV_OK);
  ASSERT_EQ(kiv_set_directory((directory.path / "place").string().c_str()), KIV_OK);
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  EXPECT_EQ(kiv_close(), KIV_OK);
  EXPECT_EQ(output.text(), "");
  EXPECT_THAT(lines, testing::Contains(HasSubstr("Component Map contains 1 entries")));
  EXPECT_THAT(lines, testing::Contains(HasSubstr("(256 bytes):"))) << "dumps, too";
  EXPECT_EQ(kiv_device_count(), 0u);
}

TEST_F(Devices, MisuseHasCodes) {
  room.addChanger({.target = 3, .model = "TAPELIB-40", .serial = "LIB"});
  addDrive("ONE");
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  const kiv_device stale = kiv_device_find("ONE");
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  const kiv_device drive = kiv_device_find("ONE");
  const kiv_device library = kiv_device_find("LIB");
  auto info = sized<kiv_info>();
  auto plan = sized<kiv_plan_info>();
  auto result = sized<kiv_update_result>();
  auto request = sized<kiv_request>();
  request.cdb_length = 6;
  auto error = sized<kiv_error>();
  const auto wrong = [](auto structure, auto change) {
    change(structure);
    return structure;
  };
  auto smallInfo = wrong(info, [](auto& it) { it.size = 8; });
  auto largeResult = wrong(result, [](auto& it) { it.size = 0xCCCCCCCC; });
  auto cdb = wrong(request, [](auto& it) { it.cdb_length = 7; });
  auto noBuffer = wrong(request, [](auto& it) { it.direction = KIV_DATA_IN, it.data_length = 4; });
  auto noDirection = wrong(request, [](auto& it) { it.data_length = 4; });
  const auto nested = [](const kiv_element*, void* user) -> std::int32_t {
    *static_cast<std::int32_t*>(user) = kiv_scan(0);
    return 1;
  };
  std::int32_t scanInside = 0;
  std::int32_t otherThread = 0;
  const auto fromThread = [](const kiv_parameter*, void* user) -> std::int32_t {
    std::thread([=] { *static_cast<std::int32_t*>(user) = kiv_close(); }).join();
    return 1;
  };

  struct Row {
    const char* what;
    std::int32_t answer, expected;
  };
  const Row rows[] = {
      {"no structure", kiv_device_info(drive, nullptr), KIV_BAD_ARGUMENT},
      {"small structure", kiv_device_info(drive, &smallInfo), KIV_BAD_ARGUMENT},
      {"uninitialised size", kiv_update(drive, 0, nullptr, nullptr, &largeResult), KIV_BAD_ARGUMENT},
      {"no device", kiv_device_info(0, &info), KIV_STALE_DEVICE},
      {"stale device", kiv_plan(stale, 0, &plan), KIV_STALE_DEVICE},
      {"device beyond", kiv_load(drive + 7), KIV_STALE_DEVICE},
      {"library to update", kiv_update(library, 0, nullptr, nullptr, nullptr), KIV_NOT_SUPPORTED},
      {"library to load", kiv_load(library), KIV_NOT_SUPPORTED},
      {"elements of a drive", kiv_elements(drive, nested, nullptr), KIV_NOT_SUPPORTED},
      {"no function", kiv_elements(library, nullptr, nullptr), KIV_BAD_ARGUMENT},
      {"unknown scan flag", kiv_scan(64), KIV_BAD_ARGUMENT},
      {"unknown update flag", kiv_plan(drive, 64, &plan), KIV_BAD_ARGUMENT},
      {"log level", kiv_set_log(9, nullptr, nullptr), KIV_BAD_ARGUMENT},
      {"no such directory", kiv_set_directory("nowhere/at/all"), KIV_NOT_FOUND},
      {"CDB length", kiv_command(drive, &cdb), KIV_BAD_ARGUMENT},
      {"no buffer", kiv_command(drive, &noBuffer), KIV_BAD_ARGUMENT},
      {"no direction", kiv_command(drive, &noDirection), KIV_BAD_ARGUMENT},
      {"element address", kiv_move_medium(library, 0, 65536, 1), KIV_BAD_ARGUMENT},
      {"parameter", kiv_parameter_check("colour", "on"), KIV_NOT_FOUND},
      {"parameter value", kiv_parameter_check("block-size", "big"), KIV_BAD_ARGUMENT},
      {"parameter without name", kiv_parameter_set(drive, nullptr, "on"), KIV_BAD_ARGUMENT},
      {"good parameter", kiv_parameter_check("sleep-mode-timer", "600"), KIV_OK},
      {"scan inside", kiv_elements(library, nested, &scanInside) + scanInside, KIV_CALL_RUNNING},
      {"second thread", kiv_parameters(drive, fromThread, &otherThread) + otherThread, KIV_CALL_RUNNING},
      {"no error structure", kiv_last_error(nullptr), KIV_BAD_ARGUMENT},
  };
  for (const Row& row : rows)
    EXPECT_STREQ(kiv_result_name(row.answer), kiv_result_name(row.expected)) << row.what;
  EXPECT_EQ(kiv_device_find(nullptr), 0u);
  EXPECT_EQ(kiv_device_at(99), 0u);
  EXPECT_EQ(kiv_last_error(&error), KIV_OK);
  EXPECT_EQ(error.result, KIV_BAD_ARGUMENT);
  EXPECT_EQ(kiv_device_info(drive, &info), KIV_OK) << "none of it did harm";
  scanScsiBus(KIV_OUTPUT_NONE);
  EXPECT_EQ(kiv_load(drive), KIV_STALE_DEVICE) << "the classes have scanned meanwhile";

  for (int number = 0; number < 80; ++number) EXPECT_GT(std::string(kiv_result_text(number)).size(), 4u);
  EXPECT_STREQ(kiv_result_name(4), "FW_UPDATE_FAILED");
  EXPECT_STREQ(kiv_result_name(-1), "UNKNOWN");
  EXPECT_STREQ(kiv_sense_text(5, 0x24, 0), "Invalid field in CDB");
  EXPECT_STREQ(kiv_sense_text(3, 0x7F, 0xFF), "Medium error");
}

}  // namespace
