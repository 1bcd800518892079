// Plans and updates as a host of the C interface sees them.
#include <regex>

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
  kiv_plan_info plan(const char* serial, std::uint32_t flags = 0) {
    auto info = sized<kiv_plan_info>();
    EXPECT_EQ(kiv_plan(kiv_device_find(serial), flags, &info), KIV_OK) << serial;
    return info;
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
  addDrive("CURRENT", {}, "B222");
  addDrive("HIGHER", {}, "C333");
  addDrive("LOADED", {.cartridge = true});
  addDrive("KEPT", {.cartridge = true, .removalPrevented = true});
  addDrive("RESERVED", {.reserved = true});
  room.addFault({.cdb = "00", .device = addDrive("MANUAL").address(), .times = 0, .sense = Sense{2, 4, 3}});
  room.addFault({.cdb = "00", .device = addDrive("BUSY").address(), .nth = 2, .times = 0, .status = 8});
  room.addFault({.cdb = "00", .device = addDrive("STUCK").address(), .times = 0, .sense = Sense{4, 0x44, 0}});
  room.addFault({.cdb = "00", .device = addDrive("LOST").address(), .nth = 2, .times = 0, .error = 1167});
  addDrive("UNKNOWN", {}, "A111", "PX5");
  addDrive("NOIMAGE", {}, "A111", "PX7");
  addDrive("EMPTY", {}, "A111", "PX8");
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  room.journal().clear();

  struct Row {
    const char* serial;
    std::uint32_t flags;
    std::int32_t verdict, result;
    const char* text;
  };
  const Row rows[] = {
      {"DUE", 0, KIV_PLAN_UPDATE, KIV_OK, "from A111 to B222"},
      {"CURRENT", 0, KIV_PLAN_CURRENT, KIV_OK, "B222"},
      {"CURRENT", KIV_FORCE, KIV_PLAN_UPDATE, KIV_OK, ""},
      {"HIGHER", 0, KIV_PLAN_DOWNGRADE, KIV_INVALID_UCODE, "C333"},
      {"HIGHER", KIV_FORCE, KIV_PLAN_UPDATE, KIV_OK, ""},
      {"LOADED", 0, KIV_PLAN_CARTRIDGE_LOADED, KIV_IN_USE, "eject"},
      {"LOADED", KIV_EJECT, KIV_PLAN_UPDATE, KIV_OK, ""},
      {"KEPT", KIV_EJECT, KIV_PLAN_REMOVAL_PREVENTED, KIV_IN_USE, "keeps"},
      {"RESERVED", KIV_FORCE, KIV_PLAN_RESERVED, KIV_IN_USE, "Reserved"},
      {"MANUAL", KIV_FORCE, KIV_PLAN_NOT_READY, KIV_DEVICE_DISCONNECTED, "manual intervention"},
      {"STUCK", 0, KIV_PLAN_UPDATE, KIV_OK, ""},
      {"UNKNOWN", 0, KIV_PLAN_NOT_CONFIGURED, KIV_CONFIG_ERROR, "QOR-ULTRIUM-PX5:SAS"},
      {"NOIMAGE", 0, KIV_PLAN_IMAGE_MISSING, KIV_INVALID_FILE_NAME, "missing.bin"},
      {"EMPTY", 0, KIV_PLAN_IMAGE_UNUSABLE, KIV_FILE_CORRUPTED, "empty.bin"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.serial);
    const kiv_plan_info info = plan(row.serial, row.flags);
    EXPECT_STREQ(kiv_verdict_name(info.verdict), kiv_verdict_name(row.verdict)) << info.text;
    EXPECT_EQ(info.result, row.result);
    EXPECT_THAT(info.text, testing::HasSubstr(row.text));
  }
  EXPECT_EQ(plan("MANUAL").sense.ascq, 3);
  const std::regex reading("^H0-B0-T[0-9]+-L0 (00|12|4D|5E) ");
  for (const std::string& cdb : room.journal().cdbs())
    EXPECT_TRUE(std::regex_search(cdb, reading)) << cdb << " changes something";
  // The drives that stop answering have answered long enough for the scan.
  EXPECT_EQ(plan("BUSY").verdict, KIV_PLAN_NOT_READY);
  EXPECT_EQ(plan("LOST").verdict, KIV_PLAN_NOT_REACHABLE);
  EXPECT_EQ(plan("LOST").windows_error, 1167u);
}

TEST_F(PlanAndUpdate, TellsEveryPhaseAndReadsTheLevelBack) {
  addDrive("DUE", {.cartridge = true});
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  const kiv_update_result result = update("DUE", KIV_EJECT);
  EXPECT_EQ(result.result, KIV_OK) << result.text;
  EXPECT_TRUE(result.verified && result.ejected && !result.stop_too_late);
  EXPECT_EQ(result.phase, KIV_PHASE_VERIFY);
  EXPECT_EQ(result.bytes_written, 3u * 0x8000 - 5);
  EXPECT_EQ(result.chunks, 3u);
  EXPECT_STREQ(result.before, "A111");
  EXPECT_STREQ(result.after, "B222");

  std::int32_t phase = -1;
  std::uint64_t seconds = 0;
  for (const kiv_progress& step : steps) {
    EXPECT_TRUE(step.phase == phase || step.phase == phase + 1);
    if (step.phase != phase) seconds = 0;
    EXPECT_LE(step.seconds, seconds + 1) << kiv_phase_name(step.phase);
    EXPECT_EQ(step.can_stop,
              step.phase < KIV_PHASE_DOWNLOAD || (step.phase == KIV_PHASE_DOWNLOAD && step.bytes == 0));
    phase = step.phase;
    seconds = step.seconds;
  }
  EXPECT_EQ(phase, KIV_PHASE_VERIFY);
  EXPECT_GE(result.seconds[KIV_PHASE_RESTART], 40u);
  EXPECT_THAT(directory.read("scsiExe.txt"),
              testing::HasSubstr("<Message id=\"0\">Firmware update successful</Message>"));
  EXPECT_EQ(update("DUE").verdict, KIV_PLAN_CURRENT) << "a second update has nothing to do";
}

TEST_F(PlanAndUpdate, FailuresSayWhatFailedAndWhatTheDriveRunsNow) {
  struct Row {
    const char* serial;
    std::function<void(simulator::VirtualDrive&)> stage;
    simulator::DriveOptions options;
    std::int32_t result, phase;
    std::uint32_t chunk;
    const char *after, *text;
  };
  const auto chunk = [this](Fault effect, unsigned nth = 2) {
    return [=, this](simulator::VirtualDrive& drive) {
      Fault fault = effect;
      fault.cdb = "3B";
      fault.device = drive.address();
      fault.nth = nth;
      room.addFault(fault);
    };
  };
  const auto nothing = [](simulator::VirtualDrive&) {};
  const simulator::DriveOptions gone{.afterDownload = simulator::AfterDownload::NeverReturns};
  const Row rows[] = {
      {"IMAGE",
       chunk({.sense = Sense{5, 0x26, 0}}),
       {},
       KIV_UPDATE_FAILED,
       KIV_PHASE_DOWNLOAD,
       2,
       "A111",
       "At chunk 2 of 3 the drive refused the image"},
      {"BROKEN",
       chunk({.sense = Sense{4, 0x44, 0}}, 1),
       {},
       KIV_UPDATE_FAILED,
       KIV_PHASE_DOWNLOAD,
       1,
       "A111",
       "hardware error"},
      {"BUSY", chunk({.status = 0x08}, 1), {}, KIV_UPDATE_FAILED, KIV_PHASE_DOWNLOAD, 1, "A111", "busy"},
      {"TAKEN", chunk({.status = 0x18}), {}, KIV_IN_USE, KIV_PHASE_DOWNLOAD, 2, "A111", "reserved"},
      {"CABLE",
       chunk({.error = 1167}, 3),
       {},
       KIV_UPDATE_FAILED,
       KIV_PHASE_DOWNLOAD,
       3,
       "A111",
       "cannot be reached any more"},
      {"GONE", nothing, gone, KIV_NOT_BACK_IN_TIME, KIV_PHASE_RESTART, 0, "", "not back within 300 seconds"},
      {"LIAR",
       [](simulator::VirtualDrive& drive) { drive.options().level = "A111"; },
       {},
       KIV_LEVEL_NOT_REACHED,
       KIV_PHASE_VERIFY,
       0,
       "A112",
       "came back with A112 instead of B222"},
  };
  for (const Row& row : rows) row.stage(addDrive(row.serial, row.options));
  ASSERT_EQ(kiv_scan(0), KIV_OK);
  ASSERT_EQ(kiv_set_restart_limit(300), KIV_OK);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.serial);
    if (std::string(row.serial) == "LIAR") writeImage("A112", 0x8000);
    const kiv_update_result result = update(row.serial, KIV_REPORT_APPEND);
    EXPECT_STREQ(kiv_result_name(result.result), kiv_result_name(row.result));
    EXPECT_STREQ(kiv_phase_name(result.phase), kiv_phase_name(row.phase));
    EXPECT_EQ(result.chunk, row.chunk);
    EXPECT_STREQ(result.after, row.after);
    EXPECT_FALSE(result.verified);
    EXPECT_THAT(result.text, testing::HasSubstr(row.text));
    auto error = sized<kiv_error>();
    kiv_last_error(&error);
    EXPECT_STREQ(error.text, result.text);
  }
  const std::string report = directory.read("scsiExe.txt");
  std::size_t devices = 0;
  for (std::size_t at = 0; (at = report.find("<Device ", at)) != std::string::npos; ++at) ++devices;
  EXPECT_EQ(devices, std::size(rows));
  EXPECT_EQ(report.find("</SVMExecution>\n"), report.size() - 16) << "one trailer, at the end";
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
  EXPECT_EQ(kiv_update(kiv_device_find("DUE"), 0, nullptr, nullptr, &result), KIV_UNEXPECTED);
  std::filesystem::remove(directory.path / "scsiExe.txt");

  drive.options().serial = "OTHER";
  result = update("DUE");
  EXPECT_EQ(result.result, KIV_STALE_DEVICE);
  EXPECT_THAT(result.text, testing::HasSubstr("OTHER"));
  EXPECT_EQ(chunksSentTo(drive), 0u);
}

}  // namespace
