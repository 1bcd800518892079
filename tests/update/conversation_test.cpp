// What the library asks of Windows and of the drive, call by call, and what it logs on the way.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/captured_output.h"
#include "tests/update/update_test.h"

using simulator::AfterDownload;
using simulator::Fault;
using simulator::Sense;

namespace {

using Lines = std::vector<std::string>;

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Lines times(int count, const Lines& lines) {
  Lines result;
  for (int i = 0; i < count; ++i) result = std::move(result) + lines;
  return result;
}

/// Compares two conversations, and tells where they part.
testing::AssertionResult same(const Lines& actual, const Lines& expected) {
  const auto [at, wanted] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
  if (at == actual.end() && wanted == expected.end()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "line " << at - actual.begin() << " of " << actual.size() << " is "
                                     << (at == actual.end() ? "missing" : *at) << ", expected "
                                     << (wanted == expected.end() ? "the end" : *wanted);
}

/// The log lines of the scan and the update, without those of the floors below.
Lines stepsIn(CapturedOutput& output) {
  Lines result;
  for (const std::string& line : output.lines()) {
    for (const char* component : {"MAIN0000", "DLFW0000", "TSTS0000", "CFGC0000D Product"})
      if (line.starts_with(component)) result.push_back(line);
  }
  return result;
}

const std::string port = R"(\\.\scsi0:)";
const std::string tape = R"(\\.\tape0)";
std::string create(const std::string& name, const std::string& access = "rw") {
  return "CreateFileA " + name + " " + access;
}
std::string control(const std::string& name, const std::string& request) {
  return "DeviceIoControl " + name + " " + request;
}
std::string close(const std::string& name) { return "CloseHandle " + name; }
/// A command to the one drive.
std::string cdb(const std::string& bytes) { return "CDB H0-B0-T5-L0 " + bytes; }

const std::string probe = cdb("00 00 00 00 00 00");
const std::string empty = probe + " -> 2/3A/00";
const std::string gone = probe + " -> error 1117";
const std::string unload = cdb("1B 00 00 00 00 00");
const std::string inquiry = cdb("12 00 00 00 24 00");

const Lines openPlain = {create(port), control(port, "SCSI_GET_INQUIRY_DATA"),
                         control(port, "STORAGE_QUERY_PROPERTY")};
const Lines openClaimed = {
    create(port), control(port, "SCSI_GET_INQUIRY_DATA"), close(port),
    create(tape), control(tape, "SCSI_GET_ADDRESS"),      control(tape, "STORAGE_QUERY_PROPERTY")};
/// What a product string takes of a drive with a feature buffer of 81 bytes, and what it logs.
const Lines product = {cdb("3C 03 03 00 00 00 00 00 04 00"), cdb("3C 02 03 00 00 00 00 00 51 00"),
                       cdb("12 01 03 00 2B 00")};
const Lines productLog = {
    "MAIN0000D BufferLength 81", "MAIN0000D ::getVPDEntryAsUlong failed",
    "MAIN0000B Inquiry Page 0x3 (10 bytes):", "MAIN0000D Inquiry Page 0x3 Load ID A0000001",
    "MAIN0000D Productstring is <QOR-ULTRIUM-PX6:Fibre>"};

class Conversation : public UpdateTest {
 protected:
  Conversation() {
    // From the second dump of a process on, the logger gives lengths in hexadecimal.
    LogLevel level(LOG_INFO);
    CapturedOutput hidden;
    logger->logBinary("TEST", 0, "first dump", "x", 1);
  }

  void addDrive(simulator::DriveOptions options, bool claimed) {
    options.becomingReadySeconds = 0;
    room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .level = "B200", .claimed = claimed}, options)
        .setBuffer(3, simulator::Bytes(81));
  }
};

/// A scan that opens the drive with these calls and asks twice for its product string.
Lines scanOf(const Lines& open, const std::string& name) {
  return Lines{create(port),
               close(port),
               create(R"(\\.\scsi1:)") + " -> error 2",
               create(port),
               control(port, "SCSI_GET_CAPABILITIES"),
               control(port, "SCSI_GET_INQUIRY_DATA")} +
         open +
         Lines{inquiry,
               cdb("12 01 80 00 1E 00"),
               cdb("12 00 00 00 60 00"),
               cdb("12 01 83 00 64 00"),
               close(name),
               close(port),
               "QueryDosDeviceA",
               "Sleep 1000"} +
         times(2, open + product + Lines{close(name)});
}

TEST_F(Conversation, OfAScan) {
  addDrive({}, false);
  CapturedOutput output;
  EXPECT_EQ(scanScsiBus(1), FW_NO_ERROR);
  EXPECT_TRUE(same(room.journal().lines(), scanOf(openPlain, port)));
  char name[256];
  EXPECT_TRUE(
      same(stepsIn(output),
           Lines{"MAIN0000D QOR LTO KIV Library Version: 1.95 Sep 18 2019",
                 std::string("MAIN0000D Current Working Directory is <") + _getcwd(name, sizeof name) + ">",
                 "MAIN0000D scanScsiBus (1) launched",
                 "MAIN0000D Componet IDs initialization failed (FW_CONFIG_ERROR)",
                 "MAIN0000D Filename table initialization failed (FW_CONFIG_ERROR)"} +
               productLog +
               Lines{"CFGC0000D Product is supported through Devlist.txt==>QOR-ULTRIUM-PX6:Fibre<=="} +
               productLog + Lines{"MAIN0000D scanScsiBus detected 1 devices,return value is (FW_NO_ERROR)"}));
}

TEST_F(Conversation, OfAScanOfAClaimedDrive) {
  addDrive({}, true);
  EXPECT_EQ(scanScsiBus(0), FW_NO_ERROR);
  EXPECT_TRUE(same(room.journal().lines(), scanOf(openClaimed, tape)));
}

struct Update {
  const char* name;
  simulator::DriveOptions drive;
  bool claimed;
  Fault fault;
  int result;
  Lines conversation;
  Lines log;  ///< lines that follow each other
};
void PrintTo(const Update& update, std::ostream* out) { *out << update.name; }

/// What stands before and after the steps of an update.
Lines framed(const Lines& steps, const Lines& open = openPlain, const std::string& name = port) {
  return open + product + steps + Lines{"Sleep 1000", close(name)} + open + product + Lines{close(name)};
}

const Lines readImage = {create("image.bin", "r"), "GetFileSize image.bin", "ReadFile image.bin 70000",
                         close("image.bin")};
const Lines download = {cdb("3B 02 04 00 00 00 00 80 00 00"), cdb("3B 02 04 00 80 00 00 80 00 00"),
                        cdb("3B 02 04 01 00 00 00 11 70 00")};
/// The drive comes back 40 seconds after the download, and reports both a reset and its new firmware.
const Lines restart = Lines{"Sleep 15000"} + times(5, {gone, gone, "Sleep 5000"}) +
                      Lines{probe + " -> 6/29/00", probe + " -> 6/3F/01", "Sleep 1000"};
const Lines restartEmpty = restart + Lines{empty, inquiry};
const Lines lost =
    Lines{"Sleep 15000"} + times(10, {gone, gone, "Sleep 5000"}) + Lines{gone, gone, close(port)};
const Lines rescan = {create(port), control(port, "SCSI_RESCAN_BUS"), close(port)};
const Lines missing = {create(port), control(port, "SCSI_GET_INQUIRY_DATA"), close(port)};
const std::string stuck = " -> 4/53/00";

const Lines loadedLog = {"DLFW0000D Download Firmware: wait4DriveReady",
                         "DLFW0000B TUR Sense Data (20 bytes):",
                         "DLFW0000D Firmware download is not supported with a loaded cartrigde"};
const Lines refusedLog = {"TSTS0000B Write Buffer Sense Data (20 bytes):", "MAIN0000D Error - Update failed"};

const Update updates[] = {
    {"Plain",
     {},
     false,
     {},
     FW_NO_ERROR,
     framed(Lines{empty, empty} + readImage + download + restartEmpty),
     {}},
    {"Claimed",
     {},
     true,
     {},
     FW_NO_ERROR,
     framed(Lines{empty, empty} + readImage + download + restartEmpty, openClaimed, tape),
     {}},
    {"LoadedCartridge",
     {.cartridge = true},
     false,
     {},
     FW_NO_ERROR,
     framed(Lines{probe, probe, unload, empty} + readImage + download + restartEmpty),
     Lines{"MAIN0000D updateFirmware (0,1,0) launched",
           "MAIN0000D START  Firmware Update =============================================="} +
         productLog +
         Lines{"MAIN0000D Product is ==>QOR-ULTRIUM-PX6:Fibre<==",
               "MAIN0000D Microcode Filename is ==>image.bin<== new ucode is ==>C300<=="} +
         loadedLog +
         Lines{"DLFW0000D Media succesfully unloaded",
               "DLFW0000B TUR II Sense Data (20 bytes):", "DLFW0000D Download Firmware: No Media is loaded",
               "DLFW0000D Firmware Filesize <image.bin> is 70000", "TSTS0000D Write Buffer completed!!!",
               "DLFW0000I Sense Data valid, Drive reboot completed", "DLFW0000D TUR Loop 0 ",
               "TSTS0000B Test Unit Ready Sense Data (20 bytes):",
               "DLFW0000D Media is removed after Code Update",
               "DLFW0000D Download Firmware  OK, New Firmware level is C300",
               "MAIN0000D Firmware upgrade succesful"}},
    {"FailedUnload",
     {.cartridge = true},
     false,
     {.cdb = "1B", .sense = Sense{.key = 5, .asc = 0x53}},
     FW_DEVICE_DISCONNECTED,
     framed({probe, probe, unload + " -> 5/53/00", probe}),
     loadedLog +
         Lines{"DLFW0000D Could not unload cartridge",
               "DLFW0000B UnLoad Sense Data (20 bytes):", loadedLog[2],
               "DLFW0000B TUR II Sense Data (20 bytes):", "DLFW0000D Download Firmware: End of TUR Loop",
               "MAIN0000D Warning - DEVICE DISCONNECTED - RESCAN REQUIRED"}},
    {"StuckCartridge",
     {.cartridge = true, .stuckCartridge = true},
     false,
     {},
     FW_NO_ERROR,
     framed(Lines{probe, probe, unload + stuck, probe + stuck} + readImage + download + restart +
            times(150, {probe + stuck}) + Lines{inquiry}),
     {"DLFW0000D Download Firmware: Stuck Cardrigde", "DLFW0000D Firmware Filesize <image.bin> is 70000"}},
    {"InvalidField",
     {},
     false,
     {.cdb = "3B", .nth = 2, .sense = Sense{.key = 5, .asc = 0x24}},
     FW_UPDATE_FAILED,
     framed(Lines{empty, empty} + readImage + Lines{download[0], download[1] + " -> 5/24/00"}),
     Lines{"TSTS0000D Bad Microcode file!", "TSTS0000D Write Buffer Failed at offset 32768"} + refusedLog},
    {"BadMicrocode",
     {},
     false,
     {.cdb = "3B", .sense = Sense{.key = 5, .asc = 0x82, .ascq = 0x83}},
     FW_UPDATE_FAILED,
     framed(Lines{empty, empty} + readImage + Lines{download[0] + " -> 5/82/83"}),
     Lines{"TSTS0000D Bad Microcode file!", "TSTS0000D Write Buffer Failed at offset 0"} + refusedLog},
    {"AnyOtherRefusal",
     {},
     false,
     {.cdb = "3B", .sense = Sense{.key = 5, .asc = 0x26}},
     FW_UPDATE_FAILED,
     framed(Lines{empty, empty} + readImage + Lines{download[0] + " -> 5/26/00"}),
     Lines{"DLFW0000D Firmware Filesize <image.bin> is 70000", "TSTS0000D Write Buffer Failed at offset 0"} +
         refusedLog},
    {"BackAfterARescan",
     {.afterDownload = AfterDownload::LostUntilRescan},
     false,
     {},
     FW_NO_ERROR,
     framed(Lines{empty, empty} + readImage + download + lost + rescan + openPlain +
            Lines{inquiry, probe + " -> 6/29/00", probe + " -> 6/3F/01", empty, inquiry}),
     {"DLFW0000D Update Firmware has detected the Bug in the Windows Port driver. Try workaround",
      "TSTS0000D Windows Work Around Routine",
      "TSTS0000D Firmware Update \\\\.\\scsi0: IOCTL_SCSI_RESCAN_BUS #0",
      "TSTS0000D Windows Work Around Inquiry passed 0", "DLFW0000D TUR Loop 1 "}},
    {"NeverBack",
     {.afterDownload = AfterDownload::NeverReturns},
     false,
     {},
     FW_REBOOT_FAILED,
     openPlain + product + Lines{empty, empty} + readImage + download + lost +
         times(150 * 20, rescan + missing + Lines{"Sleep 5000"}) + Lines{"Sleep 1000"} + missing,
     {"TSTS0000D Firmware Update \\\\.\\scsi0: IOCTL_SCSI_RESCAN_BUS #19",
      "MAIN0000D Error - Rebooting of device failed"}},
};

class UpdateConversation : public Conversation, public testing::WithParamInterface<Update> {};

TEST_P(UpdateConversation, IsExact) {
  const Update& update = GetParam();
  addDrive(update.drive, update.claimed);
  ASSERT_EQ(scanScsiBus(4), FW_NO_ERROR);
  writeImage("C300", 70000);
  directory.write("Config.txt", "QOR-ULTRIUM-PX6:Fibre image.bin C300\n");
  directory.write("Devlist.txt", "4711 QOR-ULTRIUM-PX6:Fibre\n");
  room.addFault(update.fault);
  room.journal().clear();
  CapturedOutput output;
  EXPECT_EQ(updateFirmware(0, 1, false), update.result);
  EXPECT_TRUE(same(room.journal().lines(), update.conversation));
  const Lines steps = stepsIn(output);
  EXPECT_NE(std::search(steps.begin(), steps.end(), update.log.begin(), update.log.end()), steps.end())
      << testing::PrintToString(steps);
}

INSTANTIATE_TEST_SUITE_P(Drives, UpdateConversation, testing::ValuesIn(updates),
                         [](const auto& update) { return update.param.name; });

}  // namespace
