#include <algorithm>

#include "tests/iscsi/target_room.h"

using testing::ElementsAre;

namespace {

class Drive : public TargetRoom {
 protected:
  void SetUp() override { open(drive, FIRST_DRIVE); }
  ~Drive() override { drive.closeDevice(); }

  std::string run(GenericScsiCommand&& command) { return outcome(drive, command); }
  std::string write(const std::string& block) {
    TapeCmdWrite6 command(static_cast<std::uint32_t>(block.size()), 0, false);
    std::ranges::copy(block, command.getIoData());
    return outcome(drive, command);
  }
  /// The block read with room for 16 bytes, or how that ended.
  std::string read() {
    TapeCmdRead6 command(16, 0, false, false);
    const std::string result = outcome(drive, command);
    if (result != "good" && command.getASCQ() == 0 && (command.getSenseData()[2] & 0x20) == 0) return result;
    if (result != "good" && command.getASCQ() != 0) return result;
    // A shorter block comes with ILI and the difference as the residual.
    const auto residual = readBe32(command.senseSpan(), 3);
    const auto data =
        command.ioDataSpan().first(result == "good" ? 16 : 16 - std::min<std::uint32_t>(residual, 16));
    return {data.begin(), data.end()};
  }

  ScsiTarget drive;
};

TEST_F(Drive, TellsWhoItIs) {
  EXPECT_STREQ(drive.getVendorName(), "QOR     ");
  EXPECT_STREQ(drive.getModelName(), "ULTRIUM-PX6     ");
  EXPECT_STREQ(drive.getFirmwareVersion(), "A1B1");
  EXPECT_EQ(drive.getDeviceTyp(), 1);
  EXPECT_STREQ(drive.getInterfaceType(), "Fibre");

  ScsiCmdInquiry pages(0x00, true, 100);
  EXPECT_EQ(outcome(drive, pages), "good");
  EXPECT_EQ(hex(pages.ioDataSpan().first(drive.GetTransferredDataLength())), "01 00 00 06 00 80 83 B0 B1 B2");
  ScsiCmdInquiry serial(0x80, true, 100);
  EXPECT_EQ(outcome(drive, serial), "good");
  const auto data = serial.ioDataSpan().first(drive.GetTransferredDataLength());
  EXPECT_THAT(std::string(data.begin(), data.end()), testing::EndsWith("1013000001"));

  ScsiCmdReportLuns luns(256);
  EXPECT_EQ(outcome(drive, luns), "good");
  ASSERT_EQ(luns.getNumberOfAttachedLuns(), 4u);
  EXPECT_EQ(luns.getLunViaAddressMethod(3), 3);
}

TEST_F(Drive, WritesAndReadsBack) {
  EXPECT_EQ(run(TapeCmdRewind(false)), "good");
  for (const char* block : {"first block 0001", "short", "third block 0003"}) EXPECT_EQ(write(block), "good");
  EXPECT_EQ(run(TapeCmdWriteFileMarks(false, 1)), "good");
  EXPECT_EQ(write("behind the mark!"), "good");
  EXPECT_EQ(run(TapeCmdRewind(false)), "good");

  EXPECT_EQ(read(), "first block 0001");
  EXPECT_EQ(read(), "short");
  EXPECT_EQ(read(), "third block 0003");
  EXPECT_EQ(read(), "00 00 01") << "the mark: no sense, filemark detected";
  EXPECT_EQ(read(), "behind the mark!");
  TapeCmdRead6 end(16, 0, false, false);
  EXPECT_NE(outcome(drive, end), "good");
  EXPECT_EQ(end.getSenseKey(), 8) << "blank check at the end of data";

  EXPECT_EQ(run(TapeCmdRewind(false)), "good");
  EXPECT_EQ(run(TapeCmdSpace(1, 1)), "good");
  EXPECT_EQ(read(), "behind the mark!");
  EXPECT_EQ(run(TapeCmdSpace(0, -1)), "good");
  EXPECT_EQ(read(), "behind the mark!");
  EXPECT_EQ(run(TapeCmdSpace(1, -1)), "good");
  EXPECT_EQ(run(TapeCmdSpace(0, -1)), "good");
  EXPECT_EQ(read(), "short")
      << "going back over the mark, the target also goes back over the block before it";
}

// The target answers READ POSITION with all positions unknown, and knows neither LOCATE, ERASE, reservations
// by RESERVE(6), attributes, log pages nor firmware.
TEST_F(Drive, RefusesWithSense) {
  TapeCmdReadPosition position;
  EXPECT_EQ(outcome(drive, position), "good");
  EXPECT_EQ(position.getIoData()[0] & 0x14, 0x14) << "block and byte counts unknown, block position unknown";
  EXPECT_EQ(run(TapeCmdLocate(false, 0)), "05 20 00");
  EXPECT_EQ(run(TapeCmdLocate16(false, 0, 0)), "05 20 00");
  EXPECT_EQ(run(TapeCmdErase(false, false)), "05 20 00");
  EXPECT_EQ(run(ScsiCmdLogSense(1, 0, 0, 255)), "05 20 00");
  EXPECT_EQ(run(ScsiCmdWriteBuffer(2, 4, 0, 32)), "05 20 00");
  EXPECT_EQ(run(ScsiCmdModeSense6(true, 0, 0x1A, 255)), "05 24 00");
  EXPECT_EQ(run(TapeCmdReadAttribute(0, 0, 0, 0, 1024)), "05 20 00");
  EXPECT_EQ(run(TapeCmdReserveUnit6()), "05 20 00");
}

TEST_F(Drive, ReservesLoadsAndUnloads) {
  EXPECT_EQ(run(TapeCmdPreventAllowMediumRemoval(true)), "good");
  EXPECT_EQ(run(TapeCmdUnLoad(false, false)), "good");
  EXPECT_EQ(run(TapeCmdLoad(false)), "good");
  TapeCmdReadBlockLimits limits;
  EXPECT_EQ(outcome(drive, limits), "good");
  EXPECT_GT(limits.getMaxBlockLength(), limits.getMinBlockLength());
}

TEST_F(Drive, SensesAndSelectsModes) {
  TapeMetaCmdQueryParam query(&drive, 32);
  bool on = false;
  EXPECT_EQ(query.getCompression(&on), CMD_OK);
  ulong32 length = 99;
  EXPECT_EQ(query.getBlockLength(length), CMD_OK);
  TapeMetaCmdSetParam set(&drive, 32);
  EXPECT_EQ(set.setBlockLength(512, nullptr), CMD_OK);
  EXPECT_EQ(query.getBlockLength(length), CMD_OK);
  EXPECT_EQ(length, 512u);
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  EXPECT_EQ(set.setCompression(true), CMD_ERROR) << "the target lets no page change";
  EXPECT_THAT(
      output.lines(),
      testing::Contains("SCSI0000D setCompression ModeSelect Data Failed SK:(05h) ASC:(26h) ASCQ:(00h)"));
}

}  // namespace
