// Scans, commands, parameters and elements as a host of the C interface sees them, and its mistakes.
#include <algorithm>
#include <thread>

#include "kiv/scsi/big_endian.h"
#include "tests/c_interface/c_interface_test.h"

namespace {

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
  /// Records an element, unless it is an empty slot; the last is the drive at 257.
  static std::int32_t tellElement(const kiv_element* e, void* user) {
    auto& out = *static_cast<Record*>(user);
    if (e->type != KIV_ELEMENT_STORAGE || e->full)
      out("element", e->type, e->address, e->full, e->access, e->except, e->asc, e->ascq, e->import_enabled,
          e->export_enabled, e->operator_placed, e->source_valid, e->invert, e->lun_valid, e->lun,
          e->id_valid, e->bus_address, e->not_bus, e->source, e->barcode, e->drive_serial);
    return e->address == 257 ? 1 : 0;
  }

  std::uint8_t targets = 0;
};

TEST_F(Devices, AreFoundWhateverTheConfigurationNames) {
  directory.write("Config.txt", "QOR-ULTRIUM-PX6:SAS image.bin B222\nELSE-THING:SAS image.bin 1\n");
  directory.write("Devlist.txt", "100106 QOR-ULTRIUM-PX6:SAS\n");
  addDrive("ONE");
  room.addDrive({.target = 9,
                 .vendor = "ELSE",
                 .model = "THING",
                 .serial = "TWO",
                 .interface = simulator::Interface::Sas});
  room.addDrive({.target = 8, .vendor = "ELSE", .model = "OTHER", .serial = "THREE"});
  room.addDrive({.target = 7, .model = "ULTRIUM-PX7", .serial = "FOUR"});
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  tellDevices("found");
  EXPECT_EQ(listOfSupportedDevices.size(), 2u);
}

TEST_F(Devices, ThatDoNotOpenAreToldWithWindowsReason) {
  addDrive("ONE", true);
  room.addFault({.call = "CreateFileA", .device = "\\\\.\\Tape1", .times = 0, .error = 32});
  addDrive("TWO", true);
  EXPECT_EQ(kiv_scan(KIV_SCAN_DRIVER), KIV_OK);
  tellDevices("the port driver knows what does not open all the same");
  auto plan = sized<kiv_plan_info>();
  EXPECT_EQ(kiv_plan(kiv_device_at(1), 0, &plan), KIV_OK);
  TELL(plan.verdict, plan.windows_error, plan.level, said(plan.text));
  room.addChanger({.target = 3, .model = "TAPELIB-40", .serial = "LIB", .claimed = true});
  room.addFault({.call = "CreateFileA", .device = "\\\\.\\Changer0", .times = 0, .error = 32});
  EXPECT_EQ(kiv_scan(KIV_SCAN_DRIVER), KIV_OK);
  EXPECT_EQ(kiv_plan(kiv_device_at(2), 0, &plan), KIV_NOT_SUPPORTED) << "a library, though it does not open";

  room.addFault({.call = "CreateFileA", .device = "\\\\.\\scsi0:", .times = 0, .error = 5});
  EXPECT_EQ(kiv_scan(0), KIV_OK);
  tellDevices("not elevated");
  room.faults().clear();
  room.addFault({.call = "CreateFileA", .device = "\\\\.\\scsi0:", .nth = 2, .error = 5});
  EXPECT_EQ(kiv_scan(0), KIV_OK);
  tellDevices("the adapter, once counted, does not open any more");
  directory.write("Devlist.txt", "100106 QOR-ULTRIUM-PX6:SAS\n");
  for (const Fault& fault :
       {Fault{.error = 1117}, Fault{.sense = Sense{2, 4, 1}}, Fault{.sense = Sense{5, 0x20, 0}}}) {
    Fault unanswered = fault;
    unanswered.cdb = "3C", unanswered.times = 0;
    room.addFault(unanswered);
    EXPECT_EQ(kiv_scan(KIV_SCAN_DRIVER), KIV_OK);
    tellDevices("a question left open");
    room.faults().clear();
  }
}

TEST_F(Devices, ThatAreBusyOrTellOfAResetStayWhatTheyAre) {
  room.addDrive(
      {.target = 5, .model = "ULTRIUM-PX6", .serial = "ONE", .interface = simulator::Interface::Sas},
      {.automationReady = true});
  for (const char* cdb : {"12", "3C", "00"}) {
    for (const Fault& effect : {Fault{.status = 0x08}, Fault{.status = 0x28}, Fault{.error = 170},
                                Fault{.sense = Sense{6, 0x29, 0}}}) {
      Fault fault = effect;
      fault.cdb = cdb;
      fault.times = 2;
      room.addFault(fault);
      EXPECT_EQ(kiv_scan(0), KIV_OK) << cdb;
      EXPECT_STREQ(infoAt(0).product_string, "QOR-ULTRIUM-PX6:SAS:AutomationReady") << cdb;
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
  library.element(1000 + 9999).cartridge = simulator::makeCartridge({"QOR001\0L6", 9});
  for (std::uint32_t asked = 0; asked < 3; ++asked) {
    libraryMode = asked == 2;
    ASSERT_EQ(kiv_scan(asked == 1 ? KIV_SCAN_LIBRARIES : 0), KIV_OK);
    EXPECT_EQ(room.journal().count("B8"), asked);
  }
  tellDevices("found");
  const kiv_device tapeLibrary = kiv_device_find("LIB");
  tellResult("elements", kiv_elements(tapeLibrary, tellElement, &record));
  room.addFault({.cdb = "B8 14", .sense = Sense{5, 0x24, 0}});
  tellResult("elements without identifiers", kiv_elements(tapeLibrary, tellElement, &record));
  for (int i = 0; i < 2; ++i) tellResult("move", kiv_move_medium(tapeLibrary, 0, 10999, 1000));
  EXPECT_NE(library.element(1000).cartridge, nullptr);
  room.addFault({.cdb = "A5", .sense = Sense{5, 0x53, 2}});
  tellResult("kept", kiv_move_medium(tapeLibrary, 1, 1000, 10999));
  room.addFault({.cdb = "A5", .status = 0x18});
  tellResult("reserved", kiv_move_medium(tapeLibrary, 1, 1000, 10999));
}

TEST_F(Devices, TellEveryBitOfAnElement) {
  const std::uint16_t first[] = {0, 0, 1000, 16, 256};
  room.addChanger({.target = 3, .model = "TAPELIB-40", .serial = "LIB"},
                  {.importExport = {first[3], 24}, .drives = {first[4], 24}, .slots = {first[2], 24}});
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  for (const std::uint8_t type : std::initializer_list<std::uint8_t>{2, 3, 4}) {
    Bytes report(16 + 24 * 12);
    writeBigEndian(report, 0, 8, std::uint64_t{first[type]} << 48 | std::uint64_t{24} << 32 | (8 + 24 * 12));
    report[8] = type, report[11] = 12;
    writeBigEndian(report, 13, 3, 100 * 12);  // of which so many arrive
    for (std::size_t k = 0; k < 24; ++k) {    // one bit of byte 2, 6 or 9 each
      writeBigEndian(report, 16 + k * 12, 2, first[type] + k);
      report[16 + k * 12 + std::array{2, 6, 9}[k / 8]] = static_cast<std::uint8_t>(1u << k % 8);
    }
    room.addFault({.cdb = "B8 1" + std::to_string(type), .times = 0, .reply = report});
  }
  const auto all = [](const kiv_element* e, void* user) { return tellElement(e, user) & 0; };
  tellResult("elements", kiv_elements(kiv_device_find("LIB"), all, &record));
}

TEST_F(Devices, TakeCommandsAndParameters) {
  auto& drive = addDrive("ONE");
  drive.insertBlank();
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  const kiv_device device = kiv_device_find("ONE");
  std::uint8_t data[96] = {};
  const auto command = [&](const std::string& what, const char* cdb, std::int32_t direction,
                           std::uint32_t length, std::uint32_t seconds) {
    auto request = sized<kiv_request>();
    const Bytes written = bytes(cdb);
    std::ranges::copy(written, request.cdb);
    request.cdb_length = static_cast<std::uint32_t>(written.size());
    request.direction = direction, request.seconds = seconds;
    request.data = data, request.data_length = length;
    room.journal().clear();
    tellResult(what, kiv_command(device, &request));
    record("  answer", request.transferred, request.status, request.timed_out, request.windows_error,
           hex(std::span(request.sense).first(request.sense_length)), hex(std::span(data).first(length)));
    // Seconds of its own, and the port driver's margin.
    for (const auto& entry : room.journal().entries())
      if (!entry.cdb.empty()) record("  " + entry.line(), entry.timeOut, entry.dataOut);
  };
  command("INQUIRY", "12 00 00 00 24 00", KIV_DATA_IN, 36, 7);
  command("more room than data", "12 00 00 00 08 00", KIV_DATA_IN, 40, 0);
  command("refused", "12 02 00 00 24 00", KIV_DATA_IN, 36, 0);
  std::ranges::copy(bytes("00 00 10 00"), data);
  command("MODE SELECT", "15 10 00 00 04 00", KIV_DATA_OUT, 4, 0);
  command("none", "00 00 00 00 00 00", KIV_DATA_NONE, 0, 0x7FFFFFFF);
  command("too long", "00 00 00 00 00 00", KIV_DATA_NONE, 0, 0x80000000);
  command("direction", "12 00 00 00 24 00", 3, 36, 0);
  command("direction", "12 00 00 00 24 00", -1, 36, 0);
  command("no data", "12 00 00 00 24 00", KIV_DATA_IN, 0, 0);
  room.addFault({.cdb = "12", .delay = 100});
  command("late", "12 00 00 00 24 00", KIV_DATA_IN, 36, 7);
  room.addFault({.cdb = "12", .error = 1167});
  command("gone", "12 00 00 00 24 00", KIV_DATA_IN, 36, 0);
  room.addFault({.cdb = "12", .status = 0x08});
  command("busy", "12 00 00 00 24 00", KIV_DATA_IN, 36, 0);

  const std::pair<const char*, const char*> settings[] = {{"compression", "off"},
                                                          {"compression", "YES"},
                                                          {"compression", "1"},
                                                          {"compression", "2"},
                                                          {"compression", "ons"},
                                                          {"block-size", "16777215"},
                                                          {"block-size", "16777216"},
                                                          {"block-size", "12x"},
                                                          {"block-size", ""},
                                                          {"block-size", "on"},
                                                          {"sleep-mode-timer", "429496729"},
                                                          {"sleep-mode-timer", "429496730"},
                                                          {"skip-sync", "true"},
                                                          {"skip-sync", "False"},
                                                          {"data-safe-mode", "no"},
                                                          {"archive-mode-unthread", "0"},
                                                          {"buffered-mode", "on"},
                                                          {"colour", "on"}};
  for (const auto& [name, value] : settings) {
    tellResult(std::string("check ") + name + " " + value, kiv_parameter_check(name, value));
    tellResult(std::string("set ") + name + " " + value, kiv_parameter_set(device, name, value));
  }
  const auto tell = [](const kiv_parameter* p, void* user) {
    (*static_cast<Record*>(user))("parameter", p->name, p->title, p->text, p->value, p->choices);
    return std::string(p->name) == "skip-sync" ? 1 : 0;
  };
  for (const bool removed : {false, true}) {
    if (removed) drive.modes().remove(0x30, 0x40);
    tellResult("parameters", kiv_parameters(device, tell, &record));
  }
  tellResult("set", kiv_parameter_set(device, "skip-sync", "on"));
  room.addFault({.cdb = "1A", .times = 0, .sense = Sense{4, 0x44, 0}});
  tellResult("parameters", kiv_parameters(device, tell, &record));
  tellResult("set", kiv_parameter_set(device, "skip-sync", "on"));
  room.faults().clear();
  room.journal().clear();
  room.addFault({.cdb = "00", .sense = Sense{6, 0x29, 0}});
  tellResult("unload", kiv_unload(device));
  tellResult("load", kiv_load(device));
  record("commands", room.journal().cdbs());
  EXPECT_TRUE(drive.loaded());
  room.addFault({.cdb = "1B", .sense = Sense{2, 4, 3}});
  tellResult("unload", kiv_unload(device));
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
  const auto wrong = [](auto structure, auto change) {
    change(structure);
    return structure;
  };
  auto smallInfo = wrong(info, [](auto& it) { it.size = 8; });
  auto largeResult = wrong(result, [](auto& it) { it.size = 0xCCCCCCCC; });
  auto cdb = wrong(request, [](auto& it) { it.cdb_length = 7; });
  auto noBuffer = wrong(request, [](auto& it) { it.direction = KIV_DATA_IN, it.data_length = 1; });
  auto noDirection = wrong(request, [](auto& it) { it.data_length = 4; });
  const auto nested = [](const kiv_element*, void* user) -> std::int32_t {
    *static_cast<std::int32_t*>(user) =
        kiv_scan(0) +
        static_cast<std::int32_t>(kiv_device_count() + kiv_device_at(0) + kiv_device_find("ONE"));
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
    std::int32_t answer;
  };
  const Row rows[] = {
      {"no structure", kiv_device_info(drive, nullptr)},
      {"small structure", kiv_device_info(drive, &smallInfo)},
      {"uninitialised size", kiv_update(drive, 0, nullptr, nullptr, &largeResult)},
      {"no device", kiv_device_info(0, &info)},
      {"stale device", kiv_plan(stale, 0, &plan)},
      {"device beyond", kiv_load(drive + 7)},
      {"library to update", kiv_update(library, 0, nullptr, nullptr, nullptr)},
      {"library to load", kiv_load(library)},
      {"elements of a drive", kiv_elements(drive, nested, nullptr)},
      {"no function", kiv_elements(library, nullptr, nullptr)},
      {"no function for parameters", kiv_parameters(drive, nullptr, nullptr)},
      {"unknown scan flag", kiv_scan(64)},
      {"unknown update flag", kiv_plan(drive, 64, &plan)},
      {"log level", kiv_set_log(9, nullptr, nullptr)},
      {"no such directory", kiv_set_directory("nowhere/at/all")},
      {"CDB length", kiv_command(drive, &cdb)},
      {"no buffer", kiv_command(drive, &noBuffer)},
      {"no direction", kiv_command(drive, &noDirection)},
      {"element address", kiv_move_medium(library, 0, 65536, 1)},
      {"the highest address", kiv_move_medium(library, 0, 65535, 1)},
      {"parameter", kiv_parameter_check("colour", "on")},
      {"parameter value", kiv_parameter_check("block-size", "big")},
      {"parameter without name", kiv_parameter_set(drive, nullptr, "on")},
      {"good parameter", kiv_parameter_check("sleep-mode-timer", "600")},
      {"scan inside", kiv_elements(library, nested, &scanInside) + scanInside},
      {"second thread", kiv_parameters(drive, fromThread, &otherThread) + otherThread},
      {"no error structure", kiv_last_error(nullptr)},
      {"no entry", kiv_report_add(nullptr)},
  };
  for (const Row& row : rows) record(row.what, kiv_result_name(row.answer));
  tellResult("no log at all", kiv_set_log(KIV_LOG_NONE, nullptr, nullptr));
  directory.write("file", "");
  for (const char* name : {"file", "nowhere", ""}) tellResult(name, kiv_set_directory(name));
  for (const char* name : {static_cast<const char*>(nullptr), "", " ", "NOBODY"})
    EXPECT_EQ(kiv_device_find(name), 0u);
  EXPECT_EQ(kiv_device_at(99), 0u);
  EXPECT_EQ(kiv_device_info(drive, &info), KIV_OK) << "none of it did harm";
  room.addFault({.call = "CreateFileA", .times = 0, .error = 2});
  scanScsiBus(KIV_OUTPUT_NONE);
  EXPECT_EQ(kiv_load(drive), KIV_STALE_DEVICE) << "the classes have scanned meanwhile, and found nothing";

  for (int number = -1; number < 72; ++number) record(kiv_result_name(number), kiv_result_text(number));
  for (int number = -1; number < 14; ++number) record(kiv_verdict_name(number), kiv_phase_name(number));
  for (unsigned key = 0; key < 16; ++key) record(kiv_sense_text(static_cast<std::uint8_t>(key), 0x7F, 0xFF));
  for (unsigned code = 0; code < 0x10000; ++code) {
    const std::string text =
        kiv_sense_text(15, static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code));
    if (text != kiv_sense_text(15, 0x7F, 0xFF)) record(hex(bytesOf(code)), text);
  }
}

}  // namespace
