#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kiv/update/update_firmware.h"
#include "tests/support/captured_output.h"
#include "tests/update/update_test.h"

using simulator::Fault;
using simulator::Sense;
using testing::ElementsAre;

namespace {

TEST_F(UpdateTest, ADriveIsReadyBySense) {
  struct {
    std::vector<Fault> faults;
    int result;
    std::size_t probes;
    std::size_t pauses;
  } const cases[] = {
      {{}, 0, 2, 0},
      {{{.times = 2, .sense = Sense{.key = 2, .asc = 0x04, .ascq = 0x01}},
        {.times = 1, .sense = Sense{.key = 2, .asc = 0x3E}}},
       0,
       5,
       3},
      {{{.times = 3, .sense = Sense{.key = 6, .asc = 0x29}}}, 0, 5, 0},
      {{{.times = 0, .sense = Sense{.key = 2, .asc = 0x04, .ascq = 0x02}}}, 0, 2, 0},
      {{{.times = 0, .sense = Sense{.key = 4, .asc = 0x44}}}, 0, 201, 0},
      {{{.times = 0, .sense = Sense{.key = 2, .asc = 0x04, .ascq = 0x01}}}, 1, 201, 200},
      {{{.times = 0, .error = ERROR_IO_DEVICE}}, 1, 201, 0},
  };
  room.addDrive({.target = 5, .model = "ULTRIUM-TD6", .level = "B200"});
  ScsiTarget target;
  ASSERT_EQ(target.openDevice(0, 5, 0, 0, nullptr, 1), CMD_OK);
  for (const auto& row : cases) {
    unsigned nth = 1;
    for (Fault fault : row.faults) {
      fault.cdb = "00";
      fault.nth = std::exchange(nth, nth + fault.times);
      room.addFault(fault);
    }
    room.journal().clear();
    EXPECT_EQ(UpdateFirmware().wait4DriveReady(&target), row.result);
    EXPECT_EQ(room.journal().count("00"), row.probes);
    EXPECT_EQ(room.journal().count("Sleep"), row.pauses);
    room.faults().clear();
  }
  target.closeDevice();
}

class Image : public UpdateTest {
 protected:
  /// Loads an image and returns its length.
  ulong32 load(const std::string& name, int expectedResult) {
    unsigned char* image = nullptr;
    ulong32 length = 1;
    EXPECT_EQ(UpdateFirmware().loadBinaryMicrocodeFile(name.c_str(), &image, &length), expectedResult);
    EXPECT_EQ(room.openHandles(), 0u);
    std::free(image);
    return length;
  }
};

TEST_F(Image, IsLookedForInThreePlaces) {
  writeImage("C300", 70000);
  std::filesystem::create_directory(directory.path / "below");
  std::filesystem::current_path(directory.path / "below");
  EXPECT_EQ(load("image.bin", FW_NO_ERROR), 70000u);
  EXPECT_THAT(room.journal().lines(),
              ElementsAre("CreateFileA image.bin r -> error 2", R"(CreateFileA ..\image.bin r)",
                          R"(GetFileSize ..\image.bin)", R"(ReadFile ..\image.bin 70000)",
                          R"(CloseHandle ..\image.bin)"));

  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  EXPECT_EQ(load("none.bin", FW_INVALID_FILE_NAME), 0u);
  char name[256];
  const std::string here = _getcwd(name, sizeof name);
  const std::string noSuchFile = "errno: 2 ==>No such file or directory<==";
  EXPECT_THAT(output.lines(), ElementsAre("DLFW0000D Invalid Firmware filename provided <none.bin>",
                                          "SCSI0000D Open File fails " + noSuchFile,
                                          "DLFW0000D Current Working Directory is <" + here + ">",
                                          R"(DLFW0000D Invalid Firmware filename provided <..\none.bin>)",
                                          "SCSI0000D Open File fails " + noSuchFile,
                                          "DLFW0000D Retry with fullname also fails <" + here + "\\none.bin>",
                                          "SCSI0000D Retry fails " + noSuchFile));
}

TEST_F(Image, MustBeAddressableAndArriveWhole) {
  writeImage("C300", 70000);
  const auto resize = [&](std::uintmax_t size) {
    std::filesystem::resize_file(directory.path / "image.bin", size);
  };
  resize(16'777'216);
  EXPECT_EQ(load("image.bin", FW_NO_ERROR), 16'777'216u);
  for (const std::uintmax_t size :
       {std::uintmax_t{0}, std::uintmax_t{16'777'217}, (std::uintmax_t{1} << 32) + 1}) {
    resize(size);
    LogLevel level(LOG_DEBUG);
    CapturedOutput output;
    EXPECT_EQ(load("image.bin", FW_FILE_CORRUPTED), 0u);
    EXPECT_THAT(output.lines(), ElementsAre("DLFW0000D Corrupted Firmware file provided <image.bin>"));
  }
  resize(70000);
  room.addFault({.call = "ReadFile", .transfer = 69999});
  load("image.bin", FW_FILE_CORRUPTED);
}

/// Takes every chunk, and remembers where it stood.
class ChunkRecorder : public ScsiTarget {
 public:
  ReturnCode scsiExecCDB(GenericScsiCommand& command) override {
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
    simulator::Bytes image = simulator::makeFirmwareImage("A1B2", length + simulator::firmwareHeaderSize);
    image.erase(image.begin(), image.begin() + simulator::firmwareHeaderSize);
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
