#include <algorithm>

#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/scsi/standard_driver_commands.h"
#include "tests/support/twin_test.h"

namespace {

// The driver's control codes.
constexpr DWORD TAPE_SENSE = 0x001F6064, CHANGER_SENSE = 0x00306064, TAPE_LOG_SENSE = 0x001F60CC,
                MODE_SENSE = 0x4D1BC00C;

/// `data` continued with zeros.
std::vector<std::uint8_t> padded(std::vector<std::uint8_t> data, std::size_t size) {
  data.resize(size);
  return data;
}

class EchoTwin : public QORScsiCommand {
 public:
  using QORScsiCommand::copyIoData;
  using QORScsiCommand::QORScsiCommand;
};

TEST(DriverTwin, BorrowsAndHandsBack) {
  Record record;
  ScsiCmdInquiry inquiry(0x80, true, 8);
  inquiry.setTimeOut(77), inquiry.setTargetStatus(2);
  {
    QORScsiCmdInquiry twin(&inquiry);
    TELL(twin.getIoData() == inquiry.getIoData(), twin.getSenseData() == inquiry.getSenseData());
    TELL(twin.cdbSpan(), twin.getTimeOut(), twin.getTargetStatus());
    twin.getIoData()[7] = 9;
    twin.getSenseData()[31] = 0x70;
    twin.setTimeOut(88), twin.setDataDirection(SCSI_DATA_OUT), twin.setExecutionStatus(CMD_BUSY);
    twin.setTargetStatus(8), twin.setHostStatus(5), twin.setTimeoutOccured(true);
    twin.setAdditionalFailureCode(121);
    // Both see the same buffers already; nothing may be freed under the twin.
    TELL(inquiry.takeoverCmdData(twin));
  }
  TELL(inquiry.ioDataSpan(), inquiry.getSenseData()[31], inquiry.getTimeOut(), inquiry.getDataDirection());
  TELL(inquiry.getExecutionStatus(), inquiry.getTargetStatus(), inquiry.getHostStatus());
  TELL(inquiry.getTimeoutOccured(), inquiry.getAdditionalFailureCode());
}

TEST(DriverTwin, ResizesTheBuffersThatItBorrows) {
  Record record;
  ScsiCmdRequestSense generic(18);
  {
    QORScsiCmdRequestSense twin(&generic);
    TELL(twin.setIoDataLength(40), twin.setSenseDataLength(96), twin.setCdbLength(10));
    TELL(twin.getIoData() == generic.getIoData(), twin.getSenseData() == generic.getSenseData(),
         twin.getCdb() == generic.getCdb());
    TELL(twin.setIoDataLength(0), twin.getIoData() == nullptr);
  }
  TELL(generic.getIoDataLength(), generic.senseSpan(), generic.cdbSpan());
}

TEST(DriverTwin, StandsAlone) {
  Record record;
  QORScsiCmdInquiry fromNothing(nullptr);
  TELL(fromNothing.getTimeOut(), fromNothing.getExecutionStatus(), fromNothing.getCmdCode());
  TELL(fromNothing.setIoDataLength(4), fromNothing.setSenseDataLength(4), fromNothing.setCdbLength(6));
  TELL(fromNothing.cdbSpan(), fromNothing.ioDataSpan(), fromNothing.senseSpan());
  QORScsiCommand withCdb(CDB_10);
  TELL(withCdb.cdbSpan(), withCdb.senseSpan());
  QORScsiCmdRequestSense sense(0), longer(ulong32{96});
  TELL(sense.cdbSpan(), sense.getIoDataLength(), longer.getIoDataLength());
  // What is copied stays within the buffer, and clears it behind.
  const std::uint8_t source[] = {1, 2, 3, 4, 5};
  EchoTwin echo;
  echo.copyIoData(source, 5);
  echo.setIoDataLength(4);
  for (const ulong32 length : {5u, 2u}) {
    echo.copyIoData(source, length);
    TELL(length, echo.ioDataSpan());
  }
}

TEST(DriverTwin, ReadsCdbFields) {
  Record record;
  ScsiCmdWriteBuffer write(7, 3, 0x123456, 16);
  write.getCdb()[1] = 0xFE;
  QORScsiCmdWriteBuffer out(&write);
  TELL(out.getCDBMode(), out.getCDBBufferId(), out.getCDBOffset(), out.getCDBParamListLength());
  QORScsiCmdReadBuffer in(&write);
  TELL(in.getCDBMode(), in.getCDBBufferId(), in.getCDBOffset(), in.getCDBParamListLength());
  ScsiCmdModeSense6 sensing(true, 2, 0x0F, 0);
  sensing.setSubPageCode(0x21);
  QORScsiCmdModeSense6 mode(&sensing);
  TELL(mode.getDisableBlockDescriptor(), mode.getCDBPageControl(), mode.getCDBSubpageCode());
  QORScsiCmdLogSense empty;
  TELL(empty.getCDBPageControl(), empty.getCDBSubpageCode());
}

class DriverRequest : public TwinTest {};

TEST_F(DriverRequest, IsNotMadeByTwinsWithoutOne) {
  RUN(ScsiCmdTestUnitReady());
  RUN(ScsiCmdInquiry(0, false, 36));
  RUN(ScsiCmdModeSelect6(12));
  RUN(ScsiCmdReadCapacity());
  RUN(ScsiCmdReportLuns(16));
  RUN(ScsiCmdReceiveDiagnostic(16));
  RUN(ScsiCmdSendDiagnostic(false, true, 0));
  RUN(ScsiCmdReadBuffer(2, 0, 0, 16));
  RUN(ScsiCmdWriteBuffer(5, 0, 0, 16));
  RUN(ScsiCmdLogSense(1, 0x37, 0, 16));
  RUN(ScsiCmdLogSense(1, 0x17, 0, 16), c.setForcePassthrough(true));
}

TEST_F(DriverRequest, ReadsALogPage) {
  RUN(ScsiCmdLogSense(1, 0x17, 0, 8), c.setSubpageCode(0x21));  // refused
  auto answer =
      padded(bytes("17 21 01 00 00 00 00 00 06 00 00 00 00 00 00 00 57 21 00 02 AB CD EE EE EE"), 1040);
  script.answers(TAPE_LOG_SENSE, answer);
  RUN(ScsiCmdLogSense(1, 0x17, 0, 8), c.setSubpageCode(0x21));
  // A length beyond the block, and a buffer beyond that.
  std::fill(answer.begin() + 8, answer.end(), std::uint8_t{0xFF});
  script.answers(TAPE_LOG_SENSE, answer);
  RUN(ScsiCmdLogSense(1, 0x17, 0, 2000));
}

TEST_F(DriverRequest, HandsOutSenseData) {
  for (const char* answer :
       {"04 00 00 00 70 00 06 00 11 22", "60 00 00 00 F1 00 06 00 00 00 00 0A", "FF FF FF FF 70 00 06",
        "00 00 00 00 70 00 06", "12 00 00 00 80 00 06", "12", ""}) {
    script.answers(TAPE_SENSE, bytes(answer));
    script.answers(CHANGER_SENSE, bytes(answer));
    record(answer);
    RUN(QORScsiCmdRequestSense(ulong32{6}));
    RUN(QORScsiCmdChangerRequestSense(ulong32{6}));
  }
  script.answers(TAPE_SENSE, std::vector<std::uint8_t>(100, 0xFF));
  RUN(QORScsiCmdRequestSense(ulong32{255}));
  script.refuses(TAPE_SENSE, ERROR_GEN_FAILURE);
  script.refuses(CHANGER_SENSE, ERROR_GEN_FAILURE);
  RUN(QORScsiCmdRequestSense(ulong32{6}));
  RUN(QORScsiCmdChangerRequestSense(ulong32{6}));
}

TEST_F(DriverRequest, TurnsModeDataIntoSixByteForm) {
  const struct {
    const char* name;
    bool dbd;
    std::uint8_t allocation;
    const char* answer;
  } rows[] = {
      {"as the device gives it", false, 14, "1A 0B 00 90 08 58 00 00 00 00 00 00 00 0F 02 C0"},
      {"descriptors taken out", true, 8, "1A 0F 00 90 08 58 00 00 00 00 00 00 00 0F 02 C0 80 00"},
      {"no descriptors there", true, 8, "1A 07 00 90 00 0F 02 C0 80"},
      {"room for the header alone", true, 3, "1A 0F 00 90 08 58 00 00"},
      {"ten-byte form", true, 10, "5A 00 0A 01 90 00 00 00 00 0F 02 C0 80 EE EE EE"},
      {"ten-byte form with descriptors", true, 10,
       "5A 00 12 01 90 00 00 00 08 58 00 00 00 00 00 00 00 0F 02 C0 80 EE EE"},
      {"ten-byte header alone", false, 6, "5A 00 06 01 90 00 00 00 00 EE"},
      {"ten-byte header cut short", false, 6, "5A 00 01 01 90 00 00 00 00 EE"},
      {"descriptors longer than the data", false, 6, "5A 00 0A 01 90 00 00 00 10 EE EE EE EE EE EE"},
      {"another form", false, 6, "55 00 0A 01 90 00 00 00 00"},
      {"refused", true, 6, nullptr},
  };
  for (const auto& row : rows) {
    ScsiCmdModeSense6 command(row.dbd, 1, 0x0F, row.allocation);
    command.setSubPageCode(0x21);
    if (row.answer) {
      script.answers(MODE_SENSE, padded(bytes(row.answer), 264));
    } else {
      script.refuses(MODE_SENSE, ERROR_GEN_FAILURE);
    }
    run(row.name, command);
    TELL(command.cdbSpan());
  }
}

// Every combination of lengths that end at or beyond a border, on buffers of every size that matters.
TEST_F(DriverRequest, SurvivesLyingModeData) {
  constexpr std::uint16_t LENGTHS[] = {0, 1, 5, 6, 8, 247, 251, 255, 256, 263, 0xFFF8, 0xFFFF};
  for (const bool dbd : {false, true}) {
    for (const std::uint8_t allocation : std::initializer_list<std::uint8_t>{1, 3, 4, 5, 9, 255}) {
      ScsiCmdModeSense6 command(dbd, 0, 0x0F, allocation);
      QORScsiCmdModeSense6 twin(&command);
      for (const std::uint16_t dataLength : LENGTHS) {
        for (const std::uint16_t descriptors : LENGTHS) {
          std::vector<std::uint8_t> answer(264, 0xEE);
          answer[0] = 0x5A;
          writeBigEndian(answer, 1, 2, dataLength);
          writeBigEndian(answer, 7, 2, descriptors);
          script.answers(MODE_SENSE, answer);
          ASSERT_EQ(twin.doOperation(scripted()), CMD_OK);
          const int pages = std::clamp(std::min<int>(dataLength + 2, 263) - 8 - descriptors, 0, 252);
          ASSERT_EQ(command.getIoData()[0], 3 + pages);
          ASSERT_EQ(
              std::ranges::count(command.ioDataSpan().subspan(std::min<std::size_t>(4, allocation)), 0xEE),
              std::clamp(allocation - 4, 0, pages));
          answer[0] = 0x1A;
          answer[4] = static_cast<std::uint8_t>(descriptors);
          script.answers(MODE_SENSE, answer);
          ASSERT_EQ(twin.doOperation(scripted()), CMD_OK);
        }
      }
    }
  }
}

}  // namespace
