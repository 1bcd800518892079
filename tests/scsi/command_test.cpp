#include "kiv/scsi/command.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "kiv/scsi/big_endian.h"
#include "tests/support/captured_output.h"

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

static_assert(readBe24(std::array<std::uint8_t, 4>{0xFF, 1, 2, 3}, 1) == 0x010203);
static_assert(readBe32(std::array<std::uint8_t, 2>{1, 2}, 0) == 0x01020000, "absent bytes read as 0");
static_assert(readBigEndian(std::array<std::uint8_t, 9>{9, 1, 2, 3, 4, 5, 6, 7, 8}, 0, 9) ==
              0x0102030405060708);
static_assert(Be24(0xAB123456).bytes == std::array<std::uint8_t, 3>{0x12, 0x34, 0x56});

void setOutcome(ScsiCommand& command) {
  command.setExecutionStatus(CMD_BUSY);
  command.setTargetStatus(0x08);
  command.setHostStatus(5);
  command.setTimeoutOccured(true);
  command.setAdditionalFailureCode(1117);
}

void expectOutcome(const ScsiCommand& command, ReturnCode status, int target, int host, bool timedOut,
                   ulong32 failureCode) {
  EXPECT_EQ(command.getExecutionStatus(), status);
  EXPECT_EQ(command.getTargetStatus(), target);
  EXPECT_EQ(command.getHostStatus(), host);
  EXPECT_EQ(command.getTimeoutOccured(), timedOut);
  EXPECT_EQ(command.getAdditionalFailureCode(), failureCode);
}

TEST(Command, StartsWithItsDefaults) {
  ScsiCommand bare;
  EXPECT_THAT(bare.cdbSpan(), SizeIs(0));
  EXPECT_THAT(bare.senseSpan(), SizeIs(0));
  EXPECT_EQ(bare.getCmdCode(), 0xFFFFFFFF);
  EXPECT_EQ(bare.setCmdCode(0x12), CMD_OK);
  EXPECT_FALSE(bare.isSenseDataValid());
  EXPECT_EQ(bare.getSenseKey() + bare.getASC() + bare.getASCQ(), 0);
  EXPECT_EQ(bare.clearSenseData(), CMD_OK);

  ScsiCommand command(CDB_16);
  for (const ScsiCommand* each : {&bare, &command}) {
    EXPECT_EQ(each->getIoData(), nullptr);
    EXPECT_EQ(each->getIoDataLength(), 0u);
    EXPECT_EQ(each->getTimeOut(), 30u);
    EXPECT_EQ(each->getDataDirection(), SCSI_DATA_NONE);
    expectOutcome(*each, CMD_ERROR, 0xFF, 0xFF, false, 0);
  }
  EXPECT_THAT(command.cdbSpan(), testing::AllOf(SizeIs(16), Each(0)));
  EXPECT_THAT(command.senseSpan(), testing::AllOf(SizeIs(32), Each(0)));
  command.setCmdCode(0x8F);
  EXPECT_EQ(command.getCmdCode(), 0x8Fu);
}

TEST(Command, ReplacesBuffersByZeroedOnes) {
  ScsiCommand command(CDB_6);
  EXPECT_EQ(command.setIoDataLength(8), CMD_OK);
  std::ranges::fill(command.ioDataSpan(), std::uint8_t{7});
  EXPECT_EQ(command.setIoDataLength(8), CMD_OK);
  EXPECT_THAT(command.ioDataSpan(), testing::AllOf(SizeIs(8), Each(7)));
  EXPECT_EQ(command.setIoDataLength(9), CMD_OK);
  EXPECT_THAT(command.ioDataSpan(), testing::AllOf(SizeIs(9), Each(0)));

  command.setCmdCode(0xA0);
  std::ranges::fill(command.senseSpan(), std::uint8_t{0x70});
  EXPECT_EQ(command.setCdbLength(6), CMD_OK);
  EXPECT_EQ(command.setSenseDataLength(32), CMD_OK);
  EXPECT_THAT(command.cdbSpan(), testing::AllOf(SizeIs(6), Each(0)));
  EXPECT_THAT(command.senseSpan(), testing::AllOf(SizeIs(32), Each(0)));

  command.setIoDataLength(0);
  command.setCdbLength(0);
  command.setSenseDataLength(0);
  EXPECT_EQ(command.getIoData(), nullptr);
  EXPECT_EQ(command.getCdb(), nullptr);
  EXPECT_EQ(command.getSenseData(), nullptr);
  EXPECT_EQ(command.getCmdCode(), 0xFFFFFFFF);
}

TEST(Command, ReadsSenseDataInFixedFormat) {
  ScsiCommand command(CDB_6);
  const std::array<std::uint8_t, 14> sense{0xF0, 0, 0xE6, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x28, 0x01};
  std::ranges::copy(sense, command.getSenseData());
  EXPECT_TRUE(command.isSenseDataValid());
  EXPECT_EQ(command.getSenseKey(), 0x06) << "filemark, end of medium and incorrect length stand beside it";
  EXPECT_EQ(command.getASC(), 0x28);
  EXPECT_EQ(command.getASCQ(), 0x01);
  command.getSenseData()[0] = 0x80;
  EXPECT_FALSE(command.isSenseDataValid());
  command.getSenseData()[0] = 0x70;
  EXPECT_TRUE(command.isSenseDataValid());
  command.clearSenseData();
  EXPECT_THAT(command.senseSpan(), Each(0));
  EXPECT_FALSE(command.isSenseDataValid());

  command.setSenseDataLength(8);
  command.getSenseData()[0] = 0x70;
  EXPECT_TRUE(command.isSenseDataValid());
  EXPECT_EQ(command.getASC() + command.getASCQ(), 0) << "bytes 12 and 13 are not there";
}

TEST(Command, ClearsAndTakesOverOutcomes) {
  ScsiCommand source(CDB_12);
  source.setSenseDataLength(18);
  source.setIoDataLength(3);
  std::ranges::fill(source.cdbSpan(), std::uint8_t{1});
  std::ranges::fill(source.senseSpan(), std::uint8_t{2});
  std::ranges::fill(source.ioDataSpan(), std::uint8_t{3});
  source.setTimeOut(99);
  source.setDataDirection(SCSI_DATA_OUT);
  setOutcome(source);

  ScsiCommand taker(CDB_6);
  EXPECT_EQ(taker.takeoverCmdData(source), CMD_OK);
  EXPECT_THAT(taker.cdbSpan(), testing::AllOf(SizeIs(12), Each(1)));
  EXPECT_THAT(taker.senseSpan(), testing::AllOf(SizeIs(18), Each(2)));
  EXPECT_THAT(taker.ioDataSpan(), testing::AllOf(SizeIs(3), Each(3)));
  expectOutcome(taker, CMD_BUSY, 0x08, 5, true, 1117);
  EXPECT_EQ(taker.getTimeOut(), 30u);
  EXPECT_EQ(taker.getDataDirection(), SCSI_DATA_NONE);
  EXPECT_EQ(taker.takeoverCmdData(taker), CMD_OK);
  EXPECT_THAT(taker.cdbSpan(), testing::AllOf(SizeIs(12), Each(1)));

  taker.clearStatusData();
  expectOutcome(taker, CMD_ERROR, 0xFF, 0xFF, false, 0);
  ScsiCommand bare;
  EXPECT_EQ(taker.takeoverCmdData(bare), CMD_OK);
  EXPECT_EQ(taker.getCdbLength() + taker.getSenseDataLength() + taker.getIoDataLength(), 0u);
}

TEST(Command, LogsItsTimeOut) {
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  ScsiCommand command(CDB_6);
  command.setCmdCode(0x1B);
  command.setTimeOut(850);
  EXPECT_EQ(command.getTimeOut(), 850u);
  EXPECT_THAT(output.lines(), ElementsAre("SCSI0000D set CDB timeoutvalue 850 for opcode 1B set"));
}

}  // namespace
