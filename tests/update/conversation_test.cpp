// What the library asks of Windows and of the drives, call by call.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kiv/update/update_firmware.h"
#include "tests/support/captured_output.h"
#include "tests/update/update_test.h"

using simulator::AfterDownload;
using simulator::Fault;
using simulator::Sense;
using testing::Contains;
using testing::ElementsAreArray;

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

const std::string port = R"(\\.\scsi0:)";
const std::string tape = R"(\\.\tape0)";

/// A command to the one drive.
std::string cdb(const std::string& bytes) { return "CDB H0-B0-T5-L0 " + bytes; }
std::string control(const std::string& name, const std::string& request) {
  return "DeviceIoControl " + name + " " + request;
}
std::string create(const std::string& name, const std::string& access = "rw") {
  return "CreateFileA " + name + " " + access;
}
std::string close(const std::string& name) { return "CloseHandle " + name; }

const std::string probe = cdb("00 00 00 00 00 00");
const std::string unload = cdb("1B 00 00 00 00 00");
const std::string inquiry = cdb("12 00 00 00 24 00");
const std::string empty = probe + " -> 2/3A/00";
// A drive that restarted with new firmware reports both once.
const std::string reset = probe + " -> 6/29/00";
const std::string changed = probe + " -> 6/3F/01";
const std::string gone = probe + " -> error 1117";

const Lines openPlain = {create(port), control(port, "SCSI_GET_INQUIRY_DATA"),
                         control(port, "STORAGE_QUERY_PROPERTY")};
const Lines openClaimed = {
    create(port), control(port, "SCSI_GET_INQUIRY_DATA"), close(port),
    create(tape), control(tape, "SCSI_GET_ADDRESS"),      control(tape, "STORAGE_QUERY_PROPERTY")};
const Lines identify = {inquiry, cdb("12 01 80 00 1E 00"), cdb("12 00 00 00 60 00"),
                        cdb("12 01 83 00 64 00")};
/// What a product string takes of a drive with a feature buffer of 81 bytes.
const Lines product = {cdb("3C 03 03 00 00 00 00 00 04 00"), cdb("3C 02 03 00 00 00 00 00 51 00"),
                       cdb("12 01 03 00 2B 00")};
const Lines download = {cdb("3B 02 04 00 00 00 00 80 00 00"), cdb("3B 02 04 00 80 00 00 80 00 00"),
                        cdb("3B 02 04 01 00 00 00 11 70 00")};
const Lines readImage = {create("image.bin", "r"), "GetFileSize image.bin", "ReadFile image.bin 70000",
                         close("image.bin")};

class Conversation : public UpdateTest {
 protected:
  Conversation() { writeImage("C300", 70000); }

  simulator::VirtualDrive& addDrive(simulator::DriveOptions options = {}, bool claimed = false) {
    options.becomingReadySeconds = 0;
    simulator::VirtualDrive& drive =
        room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .level = "B200", .claimed = claimed}, options);
    drive.setBuffer(3, simulator::Bytes(81));
    return drive;
  }
  /// Scans, and forgets what was asked so far.
  void scan() {
    ASSERT_EQ(scanScsiBus(4), FW_NO_ERROR);
    directory.write("Config.txt", "QOR-ULTRIUM-PX6:Fibre image.bin C300\n");
    room.journal().clear();
  }
  void expectUpdate(int result, const Lines& conversation) {
    scan();
    EXPECT_EQ(updateFirmware(0, 0, false), result);
    EXPECT_TRUE(same(room.journal().lines(), conversation));
  }
};

TEST_F(Conversation, OfAScan) {
  addDrive();
  EXPECT_EQ(scanScsiBus(0), FW_NO_ERROR);
  const Lines ask = openPlain + product + Lines{close(port)};
  EXPECT_THAT(
      room.journal().lines(),
      ElementsAreArray(Lines{create(port), close(port), create(R"(\\.\scsi1:)") + " -> error 2", create(port),
                             control(port, "SCSI_GET_CAPABILITIES"), control(port, "SCSI_GET_INQUIRY_DATA")} +
                       openPlain + identify +
                       Lines{close(port), close(port), "QueryDosDeviceA", "Sleep 1000"} + ask + ask));
}

TEST_F(Conversation, OfAScanOfAClaimedDrive) {
  addDrive({}, true);
  EXPECT_EQ(scanScsiBus(4), FW_NO_ERROR);
  EXPECT_TRUE(same(room.journal().lines(),
                   Lines{create(port), close(port), create(R"(\\.\scsi1:)") + " -> error 2", create(port),
                         control(port, "SCSI_GET_CAPABILITIES"), control(port, "SCSI_GET_INQUIRY_DATA")} +
                       openClaimed + identify +
                       Lines{close(tape), close(port), "QueryDosDeviceA", "Sleep 1000"} + openClaimed +
                       product + Lines{close(tape)}));
}

/// What stands before and after the steps of an update.
Lines framed(const Lines& steps, const Lines& open = openPlain, const std::string& name = port) {
  return open + product + steps + Lines{"Sleep 1000", close(name)} + open + product + Lines{close(name)};
}

/// A drive that comes back 40 seconds after the download, while it is probed every five seconds.
const Lines restart = Lines{"Sleep 15000"} + times(5, {gone, gone, "Sleep 5000"}) +
                      Lines{reset, changed, "Sleep 1000", empty, inquiry};

TEST_F(Conversation, OfAnUpdate) {
  addDrive();
  expectUpdate(FW_NO_ERROR, framed(Lines{empty, empty} + readImage + download + restart));
}

TEST_F(Conversation, OfAnUpdateOfAClaimedDrive) {
  addDrive({}, true);
  expectUpdate(FW_NO_ERROR, framed(Lines{empty, empty} + readImage + download + restart, openClaimed, tape));
}

TEST_F(Conversation, OfAnUpdateWithALoadedCartridge) {
  addDrive({.cartridge = true});
  expectUpdate(FW_NO_ERROR, framed(Lines{probe, probe, unload, empty} + readImage + download + restart));
}

TEST_F(Conversation, OfAnUpdateAfterAFailedUnload) {
  addDrive({.cartridge = true});
  room.addFault({.cdb = "1B", .sense = Sense{.key = 5, .asc = 0x53, .ascq = 0x02}});
  expectUpdate(FW_DEVICE_DISCONNECTED, framed({probe, probe, unload + " -> 5/53/02", probe}));
}

TEST_F(Conversation, OfAnUpdateWithAStuckCartridge) {
  addDrive({.cartridge = true, .stuckCartridge = true});
  const std::string stuck = " -> 4/53/00";
  scan();
  EXPECT_EQ(updateFirmware(0, 0, false), FW_NO_ERROR);
  EXPECT_THAT(room.journal().lines(), testing::IsSupersetOf(download))
      << "the download is tried all the same";
  const Lines start =
      openPlain + product + Lines{probe, probe, unload + stuck, probe + stuck} + readImage + download;
  Lines begin = room.journal().lines();
  begin.resize(start.size());
  EXPECT_TRUE(same(begin, start));
}

TEST_F(Conversation, OfARejectedImage) {
  addDrive();
  const Sense refusals[] = {
      {.key = 5, .asc = 0x24}, {.key = 5, .asc = 0x82, .ascq = 0x83}, {.key = 5, .asc = 0x26}};
  const char* texts[] = {" -> 5/24/00", " -> 5/82/83", " -> 5/26/00"};
  for (int i = 0; i < 3; ++i) {
    room.addFault({.cdb = "3B", .nth = 2, .sense = refusals[i]});
    kivFini();
    std::filesystem::remove(directory.path / "Config.txt");
    LogLevel level(LOG_NONE);
    expectUpdate(FW_UPDATE_FAILED,
                 framed(Lines{empty, empty} + readImage + Lines{download[0], download[1] + texts[i]}));
    room.faults().clear();
  }
}

TEST_F(Conversation, OfADriveThatComesBackWithABusRescan) {
  addDrive({.afterDownload = AfterDownload::LostUntilRescan});
  expectUpdate(FW_NO_ERROR, framed(Lines{empty, empty} + readImage + download + Lines{"Sleep 15000"} +
                                   times(10, {gone, gone, "Sleep 5000"}) +
                                   Lines{gone, gone, close(port), create(port),
                                         control(port, "SCSI_RESCAN_BUS"), close(port)} +
                                   openPlain + Lines{inquiry, reset, changed, empty, inquiry}));
}

TEST_F(Conversation, OfADriveThatNeverComesBack) {
  addDrive({.afterDownload = AfterDownload::NeverReturns});
  const Lines search = {create(port), control(port, "SCSI_RESCAN_BUS"),       close(port),
                        create(port), control(port, "SCSI_GET_INQUIRY_DATA"), close(port),
                        "Sleep 5000"};
  const Lines missing = {create(port), control(port, "SCSI_GET_INQUIRY_DATA"), close(port)};
  expectUpdate(FW_REBOOT_FAILED, openPlain + product + Lines{empty, empty} + readImage + download +
                                     Lines{"Sleep 15000"} + times(10, {gone, gone, "Sleep 5000"}) +
                                     Lines{gone, gone, close(port)} + times(150 * 20, search) +
                                     Lines{"Sleep 1000"} + missing);
  EXPECT_THAT(directory.read("scsiExe.txt"),
              testing::HasSubstr("<Message id=\"5\">Reboot of tape device failed</Message>"));
}

TEST_F(Conversation, OfADriveAtTheConfiguredLevelEndsThere) {
  addDrive();
  scan();
  directory.write("Config.txt", "QOR-ULTRIUM-PX6:Fibre image.bin B200\n");
  EXPECT_EQ(UpdateFirmware().doUpdateFirmware(0, 0, false), FW_NO_ERROR);
  EXPECT_TRUE(same(room.journal().lines(), openPlain + product));
  EXPECT_TRUE(listOfSupportedDevices[0]->isOpened());
}

// The steps one by one

class DriveReady : public Conversation {};

TEST_F(DriveReady, GoesBySense) {
  const Sense becomingReady{.key = 2, .asc = 0x04, .ascq = 0x01};
  const Sense selfTest{.key = 2, .asc = 0x3E};
  const Sense initRequired{.key = 2, .asc = 0x04, .ascq = 0x02};
  const Sense hardware{.key = 4, .asc = 0x44};
  const Sense attention{.key = 6, .asc = 0x29};
  const std::string second = "Sleep 1000";
  struct {
    std::vector<Fault> faults;
    int result;
    Lines conversation;
  } const cases[] = {
      {{}, 0, {empty, empty}},
      {{{.times = 2, .sense = becomingReady}, {.times = 1, .sense = selfTest}},
       0,
       {probe + " -> 2/04/01", second, probe + " -> 2/04/01", second, probe + " -> 2/3E/00", second, empty,
        empty}},
      {{{.times = 3, .sense = attention}}, 0, times(3, {probe + " -> 6/29/00"}) + Lines{empty, empty}},
      {{{.times = 2, .sense = initRequired}}, 0, times(2, {probe + " -> 2/04/02"})},
      {{{.times = 0, .sense = hardware}}, 0, times(201, {probe + " -> 4/44/00"})},
      {{{.times = 0, .sense = becomingReady}},
       1,
       times(200, {probe + " -> 2/04/01", second}) + Lines{probe + " -> 2/04/01"}},
      {{{.times = 0, .error = ERROR_IO_DEVICE}}, 1, times(201, {gone})},
  };
  addDrive();
  scan();
  ScsiTarget* target = listOfSupportedDevices[0];
  for (const auto& row : cases) {
    target->openDevice();
    unsigned nth = 1;
    for (Fault fault : row.faults) {
      fault.cdb = "00";
      fault.nth = nth;
      nth += fault.times;
      room.addFault(fault);
    }
    room.journal().clear();
    EXPECT_EQ(UpdateFirmware().wait4DriveReady(target), row.result);
    EXPECT_TRUE(same(room.journal().lines(), row.conversation));
    room.faults().clear();
    target->closeDevice();
  }
}

class Image : public Conversation {
 protected:
  /// Loads an image and returns its length.
  ulong32 load(const std::string& name, int expectedResult) {
    unsigned char* image = nullptr;
    ulong32 length = 1;
    room.journal().clear();
    EXPECT_EQ(UpdateFirmware().loadBinaryMicrocodeFile(name.c_str(), &image, &length), expectedResult);
    std::free(image);
    return length;
  }
};

TEST_F(Image, IsLookedForInThreePlaces) {
  std::filesystem::create_directory(directory.path / "below");
  std::filesystem::current_path(directory.path / "below");
  EXPECT_EQ(load("image.bin", FW_NO_ERROR), 70000u);
  EXPECT_TRUE(
      same(room.journal().lines(), {create("image.bin", "r -> error 2"), create("..\\image.bin", "r"),
                                    std::string("GetFileSize ..\\image.bin"),
                                    std::string("ReadFile ..\\image.bin 70000"), close("..\\image.bin")}));

  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  EXPECT_EQ(load("none.bin", FW_INVALID_FILE_NAME), 0u);
  char name[256];
  const std::string here = _getcwd(name, sizeof name);
  EXPECT_THAT(output.lines(),
              ElementsAreArray({"DLFW0000D Invalid Firmware filename provided <none.bin>",
                                "SCSI0000D Open File fails errno: 2 ==>No such file or directory<==",
                                ("DLFW0000D Current Working Directory is <" + here + ">").c_str(),
                                "DLFW0000D Invalid Firmware filename provided <..\\none.bin>",
                                "SCSI0000D Open File fails errno: 2 ==>No such file or directory<==",
                                ("DLFW0000D Retry with fullname also fails <" + here + "\\none.bin>").c_str(),
                                "SCSI0000D Retry fails errno: 2 ==>No such file or directory<=="}));
}

TEST_F(Image, MustArriveWhole) {
  EXPECT_EQ(load("image.bin", FW_NO_ERROR), 70000u);
  std::filesystem::resize_file(directory.path / "image.bin", 16'777'216);
  EXPECT_EQ(load("image.bin", FW_NO_ERROR), 16'777'216u);
  std::filesystem::resize_file(directory.path / "image.bin", 16'777'217);
  EXPECT_EQ(load("image.bin", FW_FILE_CORRUPTED), 0u);
  std::filesystem::resize_file(directory.path / "image.bin", 70000);
  room.addFault({.call = "ReadFile", .transfer = 69999});
  load("image.bin", FW_FILE_CORRUPTED);
  EXPECT_EQ(room.openHandles(), 0u);
}

/// Takes every chunk, and remembers where it stood.
class ChunkRecorder : public ScsiTarget {
 public:
  ReturnCode scsiExecCDB(GenericScsiCommand& command) override {
    EXPECT_EQ(command.getDataDirection(), SCSI_DATA_OUT);
    buffers.push_back(command.getIoData());
    received.insert(received.end(), command.getIoData(), command.getIoData() + command.getIoDataLength());
    return CMD_OK;
  }
  std::vector<const void*> buffers;
  std::vector<unsigned char> received;
};

TEST(Download, SendsEachByteOnceFromOneBuffer) {
  for (const auto& [length, chunks] :
       {std::pair{0u, 0u}, {1u, 1u}, {32768u, 1u}, {32769u, 2u}, {98304u, 3u}}) {
    const simulator::Bytes noise =
        simulator::makeFirmwareImage("A1B2", length + simulator::firmwareHeaderSize);
    std::vector<unsigned char> image(noise.end() - length, noise.end());
    ChunkRecorder drive;
    EXPECT_EQ(UpdateFirmware().performFirmwareUpdate(&drive, image.data(), length), FW_NO_ERROR);
    EXPECT_EQ(drive.received, image);
    EXPECT_EQ(drive.buffers.size(), chunks);
    if (length == 98304) {
      EXPECT_THAT(drive.buffers, testing::Each(drive.buffers[0]));
    }
  }
}

}  // namespace
