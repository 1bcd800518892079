// Plans and updates as a host of the C interface sees them.
#include "tests/c_interface/c_interface_test.h"

namespace {

constexpr char CONFIG[] =
    "QOR-ULTRIUM-PX6:SAS image.bin B222\n"
    "QOR-ULTRIUM-PX7:SAS missing.bin B222\n"
    "QOR-ULTRIUM-PX8:SAS empty.bin B222\n";

class PlanAndUpdate : public CInterfaceTest {
 protected:
  PlanAndUpdate() {
    directory.write("Config.txt", CONFIG);
    directory.write("empty.bin", "");
    writeImage("B222", 3 * 0x8000 - 5);
  }
  simulator::VirtualDrive& addDrive(const std::string& serial, simulator::DriveOptions options = {},
                                    const std::string& level = "A111", const std::string& model = "PX6") {
    return room.addDrive({.target = ++targets,
                          .model = "ULTRIUM-" + model,
                          .level = level,
                          .serial = serial,
                          .interface = simulator::Interface::Sas},
                         options);
  }
  void plan(const std::string& serial, std::uint32_t flags = 0) {
    auto p = sized<kiv_plan_info>();
    tellResult("plan " + serial + " " + std::to_string(flags),
               kiv_plan(kiv_device_find(serial.c_str()), flags, &p));
    record("  plan", kiv_verdict_name(p.verdict), kiv_result_name(p.result), p.windows_error,
           senseOf(p.sense), p.cartridge, p.image_bytes, p.level, p.wanted, p.image, *p.image_path != 0);
    record("   ", said(p.text));
  }
  /// Updates; `stopAt` is the first progress to answer "stop" to, counted from 1.
  kiv_update_result update(const char* serial, std::uint32_t flags = 0, unsigned stopAt = 0) {
    auto result = sized<kiv_update_result>();
    steps.clear();
    stop = stopAt;
    const auto progress = [](const kiv_progress* now, void* user) -> std::int32_t {
      auto& test = *static_cast<PlanAndUpdate*>(user);
      test.steps.push_back(*now);
      return test.stop != 0 && test.steps.size() >= test.stop;
    };
    EXPECT_EQ(kiv_update(kiv_device_find(serial), flags, progress, this, &result), result.result);
    EXPECT_EQ(room.openHandles(), 0u);
    return result;
  }
  /// Records an update, what it told on the way, and the log's word on it.
  void tellUpdate(const std::string& serial, std::uint32_t flags = 0, unsigned stopAt = 0) {
    const kiv_update_result r = update(serial.c_str(), flags, stopAt);
    record("update " + serial, flags, kiv_result_name(r.result), kiv_verdict_name(r.verdict),
           kiv_phase_name(r.phase), r.verified, r.stop_too_late, r.ejected, r.chunk, r.chunks,
           r.windows_error, senseOf(r.sense), r.scsi_status, r.bytes_written);
    std::string seconds;
    for (const auto each : r.seconds) seconds += " " + std::to_string(each);
    record("  levels, seconds", r.before, r.wanted, r.after, seconds);
    record("   ", said(r.text));
    std::vector<std::string> told;
    for (const kiv_progress& step : steps)
      told.push_back(std::string(kiv_phase_name(step.phase)) + " " + std::to_string(step.bytes) + "/" +
                     std::to_string(step.total) + " " + std::to_string(step.seconds) + " s" +
                     (step.can_stop ? ", can stop" : ""));
    if (told.size() > 60) told.erase(told.begin() + 40, told.end() - 20);
    record("  told", steps.size(), told);
  }
  std::size_t chunksSentTo(const simulator::VirtualDrive& drive) {
    std::size_t count = 0;
    for (const auto& cdb : room.journal().cdbs(drive.address())) count += cdb.starts_with("3B");
    return count;
  }

  std::uint8_t targets = 0;
  unsigned stop = 0;
  std::vector<kiv_progress> steps;
};

TEST_F(PlanAndUpdate, PlansTellWhatStandsInTheWayAndTouchNothing) {
  addDrive("DUE");
  auto& current = addDrive("CURRENT");
  const auto& taken = addDrive("TAKEN");
  addDrive("HIGHER", {}, "C333");
  addDrive("LOADED", {.cartridge = true});
  addDrive("KEPT", {.cartridge = true, .removalPrevented = true});
  addDrive("DONE", {.cartridge = true, .removalPrevented = true}, "B222");
  addDrive("RESERVED", {.reserved = true});
  room.addFault({.cdb = "00", .device = addDrive("MANUAL").address(), .times = 0, .sense = Sense{2, 4, 3}});
  room.addFault({.cdb = "00", .device = addDrive("BUSY").address(), .nth = 2, .times = 0, .status = 8});
  room.addFault({.cdb = "00", .device = addDrive("STUCK").address(), .times = 0, .sense = Sense{4, 0x44, 0}});
  room.addFault({.cdb = "00", .device = addDrive("LOST").address(), .nth = 2, .times = 0, .error = 1167});
  addDrive("UNKNOWN", {}, "A111", "PX5");
  // Whether removal is prevented: an empty parameter, and the shortest page that tells.
  for (const auto& [serial, page] :
       {std::pair{"VAGUE", "11 00 00 05 00 00 03 00 80"}, {"BRIEF", "11 00 00 05 00 00 03 01 80"}})
    room.addFault({.cdb = "4D",
                   .device = addDrive(serial, {.cartridge = true}).address(),
                   .times = 0,
                   .reply = bytes(page)});
  addDrive("NOIMAGE", {}, "A111", "PX7");
  addDrive("EMPTY", {}, "A111", "PX8");
  room.addFault(
      {.cdb = "12 00 00 00 24", .device = addDrive("SHORT").address(), .nth = 2, .times = 0, .transfer = 35});
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  current.options().level = "B222";  // updated behind our back
  room.addFault({.cdb = "00", .device = taken.address(), .times = 0, .status = 0x18});
  room.journal().clear();

  const std::pair<const char*, std::uint32_t> rows[] = {{"DUE", 0},
                                                        {"CURRENT", 0},
                                                        {"CURRENT", KIV_FORCE},
                                                        {"HIGHER", 0},
                                                        {"HIGHER", KIV_FORCE},
                                                        {"LOADED", 0},
                                                        {"LOADED", KIV_EJECT},
                                                        {"KEPT", KIV_EJECT},
                                                        {"VAGUE", KIV_EJECT},
                                                        {"BRIEF", KIV_EJECT},
                                                        {"DONE", KIV_EJECT},
                                                        {"RESERVED", KIV_FORCE},
                                                        {"TAKEN", 0},
                                                        {"MANUAL", KIV_FORCE},
                                                        {"STUCK", 0},
                                                        {"UNKNOWN", 0},
                                                        {"NOIMAGE", 0},
                                                        {"EMPTY", 0}};
  for (const auto& [serial, flags] : rows) plan(serial, flags);
  record("commands", room.journal().cdbs());
  const std::regex reading("^H0-B0-T[0-9]+-L0 (00|12|4D|5E) ");
  for (const std::string& cdb : room.journal().cdbs())
    EXPECT_TRUE(std::regex_search(cdb, reading)) << cdb << " changes something";
  // The drives that stop answering have answered long enough for the scan.
  for (const char* serial : {"BUSY", "LOST", "SHORT"}) plan(serial);
}

TEST_F(PlanAndUpdate, TellsEveryPhaseAndReadsTheLevelBack) {
  addDrive("DUE", {.cartridge = true});
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  tellUpdate("DUE", KIV_EJECT);
  tellUpdate("DUE");  // a second one has nothing to do
  tellDevices("afterwards");
  record("scsiExe.txt", directory.read("scsiExe.txt"));
}

TEST_F(PlanAndUpdate, FailuresSayWhatFailedAndWhatTheDriveRunsNow) {
  struct Row {
    const char* serial;
    std::function<void(simulator::VirtualDrive&)> stage;
    simulator::DriveOptions options = {};
  };
  const auto chunk = [this](Fault effect, unsigned nth = 2) {
    return [=, this](simulator::VirtualDrive& drive) {
      Fault fault = effect;
      if (fault.cdb.empty()) fault.cdb = "3B";
      fault.device = drive.address();
      fault.nth = nth;
      room.addFault(fault);
    };
  };
  const auto nothing = [](simulator::VirtualDrive&) {};
  const simulator::DriveOptions gone{.afterDownload = simulator::AfterDownload::NeverReturns};
  const Row rows[] = {
      {"IMAGE", chunk({.sense = Sense{5, 0x26, 0}})},
      {"MICROCODE", chunk({.sense = Sense{5, 0x82, 0x83}})},
      {"BROKEN", chunk({.sense = Sense{4, 0x44, 0}}, 1)},
      {"WORN", chunk({.sense = Sense{3, 0x30, 1}}, 1)},
      {"BUSY", chunk({.status = 0x08}, 1)},
      {"TAKEN", chunk({.status = 0x18})},
      {"CABLE", chunk({.error = 1167}, 3)},
      {"RESET", chunk({.sense = Sense{6, 0x29, 0}})},
      {"READY-BUSY", chunk({.cdb = "00", .times = 0, .status = 0x08}, 3)},
      {"READY-RESET", chunk({.cdb = "00", .times = 0, .sense = Sense{6, 0x29, 0}}, 3)},
      {"READY-CABLE", chunk({.cdb = "00", .times = 0, .error = 1167}, 3)},
      {"KEEPS", chunk({.cdb = "1B", .sense = Sense{5, 0x24, 0}}, 1), {.cartridge = true}},
      {"SLOW", chunk({.cdb = "12 00 00 00 24", .times = 2, .error = 1167}, 4)},
      {"GONE", nothing, gone},
      {"STUCK", nothing, {.cartridge = true, .stuckCartridge = true}},
      {"LIAR", [](simulator::VirtualDrive& drive) { drive.options().level = "A111"; }},
  };
  for (const Row& row : rows) row.stage(addDrive(row.serial, row.options));
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  ASSERT_EQ(kiv_set_restart_limit(300), KIV_OK);
  for (const Row& row : rows) {
    if (std::string(row.serial) == "LIAR") writeImage("A112", 0x8000);
    tellUpdate(row.serial, KIV_REPORT_APPEND | KIV_EJECT);
  }
  record("scsiExe.txt", directory.read("scsiExe.txt"));
}

TEST_F(PlanAndUpdate, StopsUpToTheFirstChunkAndNoLater) {
  auto& drive = addDrive("DUE");
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  kiv_update_result result = update("DUE");
  const auto first = std::find_if(steps.begin(), steps.end(), [](auto& step) { return step.bytes != 0; });
  const auto stoppable = static_cast<unsigned>(first - steps.begin());
  room.journal().clear();
  for (unsigned stopAt = 1; stopAt <= stoppable; ++stopAt) {
    result = update("DUE", KIV_FORCE, stopAt);
    EXPECT_EQ(result.result, KIV_INTERRUPTED) << stopAt;
    EXPECT_EQ(chunksSentTo(drive), 0u) << stopAt;
  }
  result = update("DUE", KIV_FORCE, stoppable + 1);
  EXPECT_EQ(result.result, KIV_OK);
  EXPECT_TRUE(result.stop_too_late);
}

TEST_F(PlanAndUpdate, NothingIsWrittenToAnotherDriveOrWithoutAReport) {
  auto& drive = addDrive("DUE");
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  std::filesystem::create_directory(directory.path / "scsiExe.txt");
  auto result = sized<kiv_update_result>();
  result.verified = 1;  // of an earlier update
  EXPECT_EQ(kiv_update(kiv_device_find("DUE"), 0, nullptr, nullptr, &result), KIV_UNEXPECTED);
  EXPECT_EQ(result.result, KIV_UNEXPECTED);
  EXPECT_FALSE(result.verified);
  EXPECT_THAT(result.text, testing::HasSubstr("scsiExe.txt cannot be written"));
  const auto entry = sized<kiv_report_entry>();
  EXPECT_EQ(kiv_report_start(), KIV_UNEXPECTED);
  EXPECT_EQ(kiv_report_add(&entry), KIV_UNEXPECTED);
  std::filesystem::remove(directory.path / "scsiExe.txt");

  drive.options().serial = "OTHER";
  result = update("DUE");
  EXPECT_EQ(result.result, KIV_STALE_DEVICE);
  EXPECT_THAT(result.text, testing::HasSubstr("serial number \"OTHER\" stands in its place"));
  EXPECT_EQ(chunksSentTo(drive), 0u);
  EXPECT_EQ(update("DUE", 0x80).result, KIV_BAD_ARGUMENT);
  EXPECT_EQ(update("DUE", 0x80).scsi_status, 0xFFu);
  EXPECT_EQ(update("NONE").result, KIV_STALE_DEVICE);
}

TEST_F(PlanAndUpdate, ReportsTellOfDevicesThatWereNeverHandedOver) {
  constexpr std::uint32_t SIZE = sizeof(kiv_report_entry);
  const kiv_report_entry refused{SIZE, KIV_CONFIG_ERROR,     UINT32_MAX, 0,  1,
                                 0,    "A<&\">\x01\xFC:SAS", "4711 ",    "1"};
  const kiv_report_entry told{SIZE, KIV_UNEXPECTED, 0, 0, 1, 0, nullptr, nullptr, nullptr};
  addDrive("DUE");
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  ASSERT_EQ(kiv_report_add(&refused), KIV_OK);
  ASSERT_EQ(kiv_report_start(), KIV_OK);
  EXPECT_EQ(update("DUE", KIV_REPORT_APPEND).result, KIV_OK);
  const std::string whole = directory.read("scsiExe.txt");
  for (const auto& before :
       {whole, whole.substr(0, whole.find("<SPStatus")), std::string("<SVMExecution/>")}) {
    directory.write("scsiExe.txt", before);
    for (const kiv_report_entry* entry : {&refused, &told, &refused})
      EXPECT_EQ(kiv_report_add(entry), KIV_OK);
    record("report", directory.read("scsiExe.txt"));
  }
}

}  // namespace
