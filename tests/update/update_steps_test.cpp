#include "kiv/update/update_firmware.h"

#include "tests/support/room_test.h"

namespace {

/// A drive that answers TEST UNIT READY as a test writes down, one word each: "+" GOOD, "-" no answer,
/// "2/04/01" sense. The last word stays. To INQUIRY, and when it is opened, it answers GOOD from a given time
/// on.
class ScriptedDrive : public ScsiTarget {
 public:
  ScriptedDrive(simulator::Room& tapeRoom, const std::string& answers, unsigned failures = 0)
      : room(tapeRoom), script(answers), opensBefore(failures) {
    setDriverName(R"(\\.\scsi0:)");
  }
  using ScsiTarget::openDevice;
  ReturnCode openDevice() override {
    room.journal().add({.call = "openDevice"});
    return opensBefore == 0 ? CMD_OK : (--opensBefore, CMD_ERROR);
  }
  ReturnCode scsiExecCDB(GenericScsiCommand& command) override {
    std::string answer = "+";
    if (command.getCmdCode() == 0x00) {
      answer = script.substr(0, script.find(' '));
      if (script.size() > answer.size()) script.erase(0, answer.size() + 1);
    }
    room.journal().add({.call = "CDB", .text = hex(command.cdbSpan()), .outcome = answer});
    command.clearSenseData();
    command.clearStatusData();
    if (answer.size() > 1) {
      const unsigned key = static_cast<unsigned>(answer[0] - '0');
      const auto codes = bytes(answer.substr(2, 2) + " " + answer.substr(5));
      const std::uint8_t sense[] = {0x70, 0, static_cast<std::uint8_t>(key)};
      std::copy_n(sense, 3, command.getSenseData());
      std::copy_n(codes.data(), 2, command.getSenseData() + 12);
    }
    const ReturnCode result = answer == "+" ? CMD_OK : CMD_ERROR;
    command.setExecutionStatus(result);
    return result;
  }

 private:
  simulator::Room& room;
  std::string script;
  unsigned opensBefore;
};

TEST_F(UpdateTest, ADriveIsReadyBySense) {
  for (const char* answers : {"+ 2/3A/00", "2/3A/00", "2/04/01 2/04/01 2/3E/00 2/3A/00",
                              "6/29/00 6/29/00 6/29/00 2/3A/00", "2/04/02", "2/04/01 2/04/02", "4/44/00",
                              "2/04/01", "-", "+ + 2/3A/00", "+", "+ + 2/04/02", "+ + 4/53/00"}) {
    ScriptedDrive drive(room, answers);
    room.journal().clear();
    record("log", logOf([&] { record(answers, UpdateFirmware().wait4DriveReady(&drive)); }));
    record("calls", calls());
  }
}

// First phase: two probes a round, of which the second's sense counts. Second phase: one probe a round, and
// an extra one without sense, whose sense counts but whose success does not.
TEST_F(UpdateTest, ARestartEndsBySense) {
  room.addAdapter();
  const std::pair<const char*, unsigned> rows[] = {
      {"- 6/29/00 +", 0},
      {"6/29/00 - - 2/3A/00 +", 0},
      {"- - - 2/3A/00 2/3A/00", 0},
      {"- 6/29/00 2/04/02", 0},
      {"- 6/29/00 2/04/01 2/04/01 2/3E/00 2/3E/00 2/3A/00", 0},
      {"- 6/29/00 - + - + +", 0},
      {"- 6/29/00 - 2/3A/00 - 6/29/00 +", 0},
      {"- 6/29/00 - - +", 0},
      {"- 6/29/00 - - +", 2},
      {"- 6/29/00 - - +", 19},
      {"- 6/29/00 - - +", 20},
      {"4/44/00", 0},
  };
  for (const auto& [answers, failures] : rows) {
    ScriptedDrive drive(room, answers, failures);
    room.journal().clear();
    record("log", logOf([&] { record(answers, failures, UpdateFirmware().wait4RebootComplete(&drive)); }));
    record("calls", calls());
  }
  for (const unsigned failures : {0u, 19u, 20u}) {
    ScriptedDrive drive(room, "+", failures);
    record("looked for, in vain", failures, UpdateFirmware().rescan4Device(&drive));
  }
}

class Image : public UpdateTest {
 protected:
  /// Loads an image and records what comes of it.
  void load(const std::string& name) {
    room.journal().clear();
    unsigned char* image = nullptr;
    ulong32 length = 1;
    record("log", here(logOf([&] {
             record(name, UpdateFirmware().loadBinaryMicrocodeFile(name.c_str(), &image, &length), length);
           })));
    record("calls", here(calls()));
    EXPECT_EQ(room.openHandles(), 0u);
    std::free(image);
  }
  void resize(std::uintmax_t size) const { std::filesystem::resize_file(directory.path / "image.bin", size); }
};

TEST_F(Image, IsLookedForInThreePlaces) {
  writeImage("C300", 70000);
  std::filesystem::create_directory(directory.path / "below");
  std::filesystem::current_path(directory.path / "below");
  load("image.bin");
  load("none.bin");
}

TEST_F(Image, MustBeAddressableAndArriveWhole) {
  writeImage("C300", 70000);
  for (const std::uintmax_t size : {std::uintmax_t{16'777'216}, std::uintmax_t{0}, std::uintmax_t{16'777'217},
                                    (std::uintmax_t{1} << 32) + 1, std::uintmax_t{70000}}) {
    resize(size);
    if (size == 70000) room.addFault({.call = "ReadFile", .transfer = 69999});
    load("image.bin");
  }
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
    Bytes image = simulator::makeFirmwareImage("A1B2", length + simulator::firmwareHeaderSize);
    image.erase(image.begin(), image.begin() + simulator::firmwareHeaderSize);
    ChunkRecorder drive;
    EXPECT_EQ(UpdateFirmware().performFirmwareUpdate(&drive, image.data(), length), FW_NO_ERROR);
    EXPECT_EQ(drive.received, image);
    EXPECT_EQ(drive.buffers.size(), chunks);
    for (unsigned i = 0; i < length / 32768; ++i) EXPECT_EQ(drive.buffers[i], drive.buffers[0]);
  }
}

}  // namespace
