#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

#include "kiv/scsi/standard_commands.h"
#include "kiv/scsi/standard_driver_commands.h"
#include "simulator/windows/import_table.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"
#include "tests/support/scripted_driver.h"

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

// The driver's control codes.
constexpr DWORD tapeSense = 0x001F6064, changerSense = 0x00306064, tapeLogSense = 0x001F60CC,
                modeSense = 0x4D1BC00C;

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
  ScsiCmdInquiry inquiry(0x80, true, 8);
  inquiry.setTimeOut(77);
  inquiry.setTargetStatus(2);
  {
    QORScsiCmdInquiry twin(&inquiry);
    EXPECT_EQ(twin.getIoData(), inquiry.getIoData());
    EXPECT_EQ(twin.getSenseData(), inquiry.getSenseData());
    EXPECT_EQ(hex(twin.cdbSpan()), "12 01 80 00 08 00");
    EXPECT_EQ(twin.getTimeOut(), 77u);
    EXPECT_EQ(twin.getTargetStatus(), 2);
    twin.getIoData()[7] = 9;
    twin.getSenseData()[31] = 0x70;
    twin.setTimeOut(88);
    twin.setDataDirection(SCSI_DATA_OUT);
    twin.setExecutionStatus(CMD_BUSY);
    twin.setTargetStatus(8);
    twin.setHostStatus(5);
    twin.setTimeoutOccured(true);
    twin.setAdditionalFailureCode(121);
    // Both see the same buffers already; nothing may be freed under the twin.
    EXPECT_EQ(inquiry.takeoverCmdData(twin), CMD_OK);
  }
  EXPECT_EQ(hex(inquiry.ioDataSpan()), "00 00 00 00 00 00 00 09");
  EXPECT_EQ(inquiry.getSenseData()[31], 0x70);
  EXPECT_EQ(inquiry.getTimeOut(), 88u);
  EXPECT_EQ(inquiry.getDataDirection(), SCSI_DATA_OUT);
  EXPECT_EQ(inquiry.getExecutionStatus(), CMD_BUSY);
  EXPECT_EQ(inquiry.getTargetStatus(), 8);
  EXPECT_EQ(inquiry.getHostStatus(), 5);
  EXPECT_TRUE(inquiry.getTimeoutOccured());
  EXPECT_EQ(inquiry.getAdditionalFailureCode(), 121u);
}

TEST(DriverTwin, ResizesTheBuffersThatItBorrows) {
  ScsiCmdRequestSense generic(18);
  {
    QORScsiCmdRequestSense twin(&generic);
    EXPECT_EQ(twin.setIoDataLength(40), CMD_OK);
    EXPECT_EQ(twin.setSenseDataLength(96), CMD_OK);
    EXPECT_EQ(twin.setCdbLength(10), CMD_OK);
    EXPECT_EQ(twin.getIoData(), generic.getIoData());
    EXPECT_EQ(twin.getSenseData(), generic.getSenseData());
    EXPECT_EQ(twin.getCdb(), generic.getCdb());
    EXPECT_EQ(twin.setIoDataLength(0), CMD_OK);
    EXPECT_EQ(twin.getIoData(), nullptr);
  }
  EXPECT_EQ(generic.getIoDataLength(), 0u);
  EXPECT_THAT(generic.senseSpan(), SizeIs(96));
  EXPECT_THAT(generic.cdbSpan(), SizeIs(10));
}

TEST(DriverTwin, StandsAlone) {
  QORScsiCmdInquiry fromNothing(nullptr);
  EXPECT_EQ(fromNothing.getTimeOut(), 30u);
  EXPECT_EQ(fromNothing.getExecutionStatus(), CMD_ERROR);
  EXPECT_EQ(fromNothing.getCmdCode(), 0xFFFFFFFF);
  EXPECT_EQ(fromNothing.setIoDataLength(4), CMD_OK);
  EXPECT_EQ(fromNothing.setSenseDataLength(4), CMD_OK);
  EXPECT_EQ(fromNothing.setCdbLength(6), CMD_OK);
  EXPECT_THAT(fromNothing.cdbSpan(), testing::AllOf(SizeIs(6), Each(0)));
  QORScsiCommand withCdb(CDB_10);
  EXPECT_THAT(withCdb.cdbSpan(), SizeIs(10));
  EXPECT_THAT(withCdb.senseSpan(), SizeIs(32));
  QORScsiCmdRequestSense sense(0), longer(ulong32{96});
  EXPECT_EQ(hex(sense.cdbSpan()), "03 00 00 00 00 00");
  EXPECT_EQ(sense.getIoDataLength(), 32u);
  EXPECT_EQ(longer.getIoDataLength(), 96u);
}

TEST(DriverTwin, CopiesDataWithinTheBuffer) {
  const std::uint8_t source[] = {1, 2, 3, 4, 5};
  EchoTwin twin;
  twin.copyIoData(source, 5);
  twin.setIoDataLength(4);
  twin.copyIoData(source, 5);
  EXPECT_EQ(hex(twin.ioDataSpan()), "01 02 03 04");
  twin.copyIoData(source, 2);
  EXPECT_EQ(hex(twin.ioDataSpan()), "01 02 00 00");
}

TEST(DriverTwin, ReadsCdbFields) {
  ScsiCmdWriteBuffer write(7, 3, 0x123456, 16);
  write.getCdb()[1] = 0xFE;
  QORScsiCmdWriteBuffer writeTwin(&write);
  EXPECT_EQ(writeTwin.getCDBMode(), 0x1E);
  EXPECT_EQ(writeTwin.getCDBBufferId(), 3);
  EXPECT_EQ(writeTwin.getCDBOffset(), 0x123456u);
  EXPECT_EQ(writeTwin.getCDBParamListLength(), 16u);
  QORScsiCmdReadBuffer readTwin(&write);
  EXPECT_EQ(readTwin.getCDBMode(), 0x1E);
  EXPECT_EQ(readTwin.getCDBBufferId() + readTwin.getCDBOffset() + readTwin.getCDBParamListLength(),
            3 + 0x123456u + 16);
  ScsiCmdModeSense6 mode(true, 2, 0x0F, 0);
  mode.setSubPageCode(0x21);
  QORScsiCmdModeSense6 modeTwin(&mode);
  EXPECT_TRUE(modeTwin.getDisableBlockDescriptor());
  EXPECT_EQ(modeTwin.getCDBPageControl(), 2);
  EXPECT_EQ(modeTwin.getCDBSubpageCode(), 0x21);
  QORScsiCmdLogSense empty;
  EXPECT_EQ(empty.getCDBPageControl() + empty.getCDBSubpageCode(), 0);
}

class DriverRequest : public testing::Test {
 protected:
  DriverRequest() { simulator::takeOverImports(); }

  simulator::Room room;
  ScriptedDriver driver;
  HANDLE device = driver.open();
};

TEST_F(DriverRequest, IsNotMadeByTwinsWithoutOne) {
  const std::unique_ptr<GenericScsiCommand> commands[] = {
      std::make_unique<ScsiCmdTestUnitReady>(),
      std::make_unique<ScsiCmdInquiry>(std::uint8_t{0}, false, std::uint16_t{36}),
      std::make_unique<ScsiCmdModeSelect6>(std::uint8_t{12}),
      std::make_unique<ScsiCmdReadCapacity>(),
      std::make_unique<ScsiCmdReportLuns>(ulong32{16}),
      std::make_unique<ScsiCmdReceiveDiagnostic>(std::uint16_t{16}),
      std::make_unique<ScsiCmdSendDiagnostic>(false, true, std::uint16_t{0}),
      std::make_unique<ScsiCmdReadBuffer>(std::uint8_t{2}, std::uint8_t{0}, ulong32{0}, ulong32{16}),
      std::make_unique<ScsiCmdWriteBuffer>(std::uint8_t{5}, std::uint8_t{0}, ulong32{0}, ulong32{16}),
      std::make_unique<ScsiCmdLogSense>(std::uint8_t{1}, std::uint8_t{0x37}, std::uint16_t{0},
                                        std::uint16_t{16}),
      std::make_unique<ScsiCmdLogSense>(std::uint8_t{1}, std::uint8_t{0x17}, std::uint16_t{0},
                                        std::uint16_t{16}),
  };
  static_cast<ScsiCmdLogSense&>(*commands[10]).setForcePassthrough(true);
  for (const auto& command : commands) {
    const std::unique_ptr<QORScsiCommand> twin(command->createQORCommand());
    EXPECT_EQ(twin->doOperation(device), CMD_NOT_SUPPORTED) << hex(command->cdbSpan());
  }
  EXPECT_THAT(room.journal().lines(), SizeIs(0));
}

TEST_F(DriverRequest, ReadsALogPage) {
  ScsiCmdLogSense command(1, 0x17, 0, 8);
  command.setSubpageCode(0x21);
  QORScsiCmdLogSense twin(&command);
  EXPECT_EQ(twin.doOperation(device), CMD_NOT_SUPPORTED);

  auto answer =
      padded(bytes("17 21 01 00 00 00 00 00 06 00 00 00 00 00 00 00 57 21 00 02 AB CD EE EE EE"), 1040);
  driver.answers(tapeLogSense, answer);
  EXPECT_EQ(twin.doOperation(device), CMD_OK);
  EXPECT_EQ(hex(driver.input), hex(padded(bytes("17 21 01"), 1040)));
  EXPECT_EQ(hex(command.ioDataSpan()), "57 21 00 02 AB CD 00 00");

  // A length beyond the block, and a buffer beyond that.
  std::fill(answer.begin() + 8, answer.end(), std::uint8_t{0xFF});
  driver.answers(tapeLogSense, answer);
  command.setTransferLength(2000);
  QORScsiCmdLogSense longer(&command);
  EXPECT_EQ(longer.doOperation(device), CMD_OK);
  EXPECT_THAT(command.ioDataSpan().first(1024), Each(0xFF));
  EXPECT_THAT(command.ioDataSpan().subspan(1024), Each(0));
}

TEST_F(DriverRequest, HandsOutSenseData) {
  struct Row {
    const char* answer;
    ReturnCode result;
    const char* data;
  };
  const Row rows[] = {
      {"04 00 00 00 70 00 06 00 11 22", CMD_OK, "70 00 06 00 00 00"},
      {"60 00 00 00 F1 00 06 00 00 00 00 0A", CMD_OK, "F1 00 06 00 00 00"},
      {"FF FF FF FF 70 00 06", CMD_OK, "70 00 06 00 00 00"},
      {"00 00 00 00 70 00 06", CMD_NOT_SUPPORTED, "00 00 00 00 00 00"},
      {"12 00 00 00 80 00 06", CMD_NOT_SUPPORTED, "00 00 00 00 00 00"},
      {"12", CMD_NOT_SUPPORTED, "00 00 00 00 00 00"},
      {"", CMD_NOT_SUPPORTED, "00 00 00 00 00 00"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.answer);
    driver.answers(tapeSense, bytes(row.answer));
    driver.answers(changerSense, bytes(row.answer));
    QORScsiCmdRequestSense tape(ulong32{6});
    QORScsiCmdChangerRequestSense changer(ulong32{6});
    EXPECT_EQ(tape.doOperation(device), row.result);
    EXPECT_EQ(changer.doOperation(device), row.result);
    EXPECT_EQ(hex(tape.ioDataSpan()), row.data);
    EXPECT_EQ(hex(changer.ioDataSpan()), row.data);
  }
  EXPECT_THAT(driver.input, SizeIs(0));
  QORScsiCmdRequestSense larger(ulong32{255});
  driver.answers(tapeSense, std::vector<std::uint8_t>(100, 0xFF));
  EXPECT_EQ(larger.doOperation(device), CMD_OK);
  EXPECT_THAT(larger.ioDataSpan().subspan(96), Each(0));

  driver.refuses(tapeSense, ERROR_GEN_FAILURE);
  driver.refuses(changerSense, ERROR_GEN_FAILURE);
  EXPECT_EQ(QORScsiCmdRequestSense(ulong32{6}).doOperation(device), CMD_NOT_SUPPORTED);
  EXPECT_EQ(QORScsiCmdChangerRequestSense(ulong32{6}).doOperation(device), CMD_ERROR);
}

TEST_F(DriverRequest, TurnsModeDataIntoSixByteForm) {
  struct Row {
    const char* name;
    bool dbd;
    std::uint8_t allocation;
    const char* answer;
    ReturnCode result;
    const char* data;
    const char* cdb;
  };
  const Row rows[] = {
      {"as the device gives it", false, 14, "1A 0B 00 90 08 58 00 00 00 00 00 00 00 0F 02 C0", CMD_OK,
       "0B 00 90 08 58 00 00 00 00 00 00 00 0F 02", "1A 00 4F 21 0E 00"},
      {"descriptors taken out", true, 8, "1A 0F 00 90 08 58 00 00 00 00 00 00 00 0F 02 C0 80 00", CMD_OK,
       "0F 00 90 08 0F 02 C0 80", "1A 08 4F 21 08 00"},
      {"no descriptors there", true, 8, "1A 07 00 90 00 0F 02 C0 80", CMD_OK, "07 00 90 00 0F 02 C0 80",
       "1A 08 4F 21 08 00"},
      {"room for the header alone", true, 3, "1A 0F 00 90 08 58 00 00", CMD_OK, "0F 00 90",
       "1A 08 4F 21 03 00"},
      {"ten-byte form", true, 10, "5A 00 0A 01 90 00 00 00 00 0F 02 C0 80 EE EE EE", CMD_OK,
       "07 01 90 00 0F 02 C0 80 00 00", "1A 0C 4F 21 0A 00"},
      {"ten-byte form with descriptors", true, 10,
       "5A 00 12 01 90 00 00 00 08 58 00 00 00 00 00 00 00 0F 02 C0 80 EE EE", CMD_OK,
       "07 01 90 00 0F 02 C0 80 00 00", "1A 08 4F 21 0A 00"},
      {"ten-byte header alone", false, 6, "5A 00 06 01 90 00 00 00 00 EE", CMD_OK, "03 01 90 00 00 00",
       "1A 04 4F 21 06 00"},
      {"ten-byte header cut short", false, 6, "5A 00 01 01 90 00 00 00 00 EE", CMD_OK, "03 01 90 00 00 00",
       "1A 04 4F 21 06 00"},
      {"descriptors longer than the data", false, 6, "5A 00 0A 01 90 00 00 00 10 EE EE EE EE EE EE", CMD_OK,
       "03 01 90 00 00 00", "1A 00 4F 21 06 00"},
      {"another form", false, 6, "55 00 0A 01 90 00 00 00 00", CMD_NOT_SUPPORTED, "00 00 00 00 00 00",
       "1A 00 4F 21 06 00"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScsiCmdModeSense6 command(row.dbd, 1, 0x0F, row.allocation);
    command.setSubPageCode(0x21);
    QORScsiCmdModeSense6 twin(&command);
    driver.answers(modeSense, padded(bytes(row.answer), 264));
    EXPECT_EQ(twin.doOperation(device), row.result);
    EXPECT_EQ(hex(driver.input), hex(padded(bytes("0F 21"), 264)));
    EXPECT_EQ(hex(command.ioDataSpan()), row.data);
    EXPECT_EQ(hex(command.cdbSpan()), row.cdb);
  }
}

// Every combination of lengths that end at or beyond a border, on buffers of every size that matters.
TEST_F(DriverRequest, SurvivesLyingModeData) {
  constexpr std::uint16_t lengths[] = {0, 1, 5, 6, 8, 247, 251, 255, 256, 263, 0xFFF8, 0xFFFF};
  for (const bool dbd : {false, true}) {
    for (const std::uint8_t allocation : std::initializer_list<std::uint8_t>{1, 3, 4, 5, 9, 255}) {
      ScsiCmdModeSense6 command(dbd, 0, 0x0F, allocation);
      QORScsiCmdModeSense6 twin(&command);
      for (const std::uint16_t dataLength : lengths) {
        for (const std::uint16_t descriptors : lengths) {
          std::vector<std::uint8_t> answer(264, 0xEE);
          answer[0] = 0x5A;
          answer[1] = static_cast<std::uint8_t>(dataLength >> 8);
          answer[2] = static_cast<std::uint8_t>(dataLength);
          answer[7] = static_cast<std::uint8_t>(descriptors >> 8);
          answer[8] = static_cast<std::uint8_t>(descriptors);
          driver.answers(modeSense, answer);
          ASSERT_EQ(twin.doOperation(device), CMD_OK);
          const int pages = std::clamp(std::min<int>(dataLength + 2, 263) - 8 - descriptors, 0, 252);
          ASSERT_EQ(command.getIoData()[0], 3 + pages);
          ASSERT_EQ(
              std::ranges::count(command.ioDataSpan().subspan(std::min<std::size_t>(4, allocation)), 0xEE),
              std::clamp(allocation - 4, 0, pages));
          answer[0] = 0x1A;
          answer[4] = static_cast<std::uint8_t>(descriptors);
          driver.answers(modeSense, answer);
          ASSERT_EQ(twin.doOperation(device), CMD_OK);
        }
      }
    }
  }
}

TEST_F(DriverRequest, TellsWhatItDoes) {
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  ScsiCmdModeSense6 command(true, 0, 0x0F, 8);
  QORScsiCmdModeSense6 twin(&command);
  EXPECT_EQ(twin.doOperation(device), CMD_NOT_SUPPORTED);
  driver.answers(modeSense, padded(bytes("1A 0F 00 90 08"), 264));
  twin.doOperation(device);
  driver.answers(modeSense, padded(bytes("5A 00 12 01 90 00 00 00 08"), 264));
  twin.doOperation(device);
  driver.answers(changerSense, padded(bytes("03 00 00 00 70 00 06"), 100));
  QORScsiCmdChangerRequestSense(ulong32{32}).doOperation(device);
  driver.answers(tapeSense, padded({}, 100));
  QORScsiCmdRequestSense(ulong32{32}).doOperation(device);
  driver.answers(tapeSense, padded(bytes("03 00 00 00"), 100));
  QORScsiCmdRequestSense(ulong32{32}).doOperation(device);
  std::vector<std::string> told;
  std::ranges::copy_if(output.lines(), std::back_inserter(told),
                       [](const std::string& line) { return line.find("QOR") != std::string::npos; });
  EXPECT_THAT(
      told,
      ElementsAre("SCSI0000D QORScsiCmdModeSense6, failed ",
                  "SCSI0000D QORScsiCmdModeSense6, header length 15, blkdesclen 8, iolength 8, copyLength 4",
                  "SCSI0000B QORScsiCmdModeSense6(0x1A), io data (8 bytes):",
                  "SCSI0000B QORScsiCmdModeSense10 data (FF bytes):",
                  "SCSI0000D QORScsiCmdModeSense6, header length 18, blkdesclen 8, mode6blkLength 7, dataLen "
                  "4, DBD 08",
                  "SCSI0000B QORScsiCmdModeSense6(0x5A), io data (8 bytes):",
                  "SCSI0000D QORScsiCmdRequestSense  changer path passed bytes returned 100",
                  "SCSI0000B QORScsiCmdRequestSense (3 bytes):",
                  "SCSI0000D QORScsiCmdRequestSense, sense data length 0",
                  "SCSI0000D QORScsiCmdRequestSense, sense data invalid"));
}

}  // namespace
