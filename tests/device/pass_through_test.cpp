// One CDB through the port driver: what is sent, and what every outcome becomes.
#include <optional>

#include "kiv/scsi/standard_commands.h"
#include "tests/device/room_fixture.h"

using simulator::Fault;
using simulator::Sense;
using testing::ElementsAre;

namespace {

class TargetPassThrough : public RoomTest {
 protected:
  TargetPassThrough() {
    room.addDrive({.target = 5, .model = "NO TIME-OUTS"}, {.cartridge = true});
    EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK);
    room.journal().clear();
  }
  void TearDown() override {
    target.closeDevice();
    RoomTest::TearDown();
  }
  ScsiTarget target;
};

TEST_F(TargetPassThrough, TurnsEveryOutcomeIntoAStatus) {
  const Sense sense{.key = 3, .asc = 0x11, .ascq = 2};
  const struct {
    const char* what;
    Fault fault;
    ReturnCode status;
    std::uint8_t targetStatus;
    ulong32 failureCode;
    bool timedOut;
    std::uint8_t senseKey;
  } rows[] = {
      {"GOOD", {.cdb = "FF"}, CMD_OK, 0x00, 0, false, 0},
      {"CHECK CONDITION", {.cdb = "00", .sense = sense}, CMD_ERROR, 0x02, 1117, false, 3},
      {"BUSY", {.cdb = "00", .status = 0x08}, CMD_BUSY, 0x08, 1117, false, 0},
      {"RESERVATION CONFLICT", {.cdb = "00", .status = 0x18}, CMD_ERROR, 0x18, 1117, false, 0},
      {"transport failure", {.cdb = "00", .error = 1167}, CMD_ERROR, 0x00, 1167, false, 0},
      {"error 121", {.cdb = "00", .error = 121}, CMD_ERROR, 0x00, 121, true, 0},
      {"as long as the time-out", {.cdb = "00", .delay = 30}, CMD_OK, 0x00, 0, false, 0},
      {"a second longer", {.cdb = "00", .delay = 31}, CMD_ERROR, 0x00, 1117, true, 0},
      {"longer and failed", {.cdb = "00", .sense = sense, .delay = 31}, CMD_ERROR, 2, 1117, true, 3},
      {"longer than the port driver waits", {.cdb = "00", .delay = 100}, CMD_ERROR, 0x00, 121, true, 0},
  };
  ScsiCmdTestUnitReady command;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    room.faults().clear();
    room.addFault(row.fault);
    EXPECT_EQ(target.scsiExecCDB(command), row.status);
    EXPECT_EQ(command.getExecutionStatus(), row.status);
    EXPECT_EQ(command.getTargetStatus(), row.targetStatus);
    EXPECT_EQ(command.getHostStatus(), row.timedOut ? 5 : 0xFF);
    EXPECT_EQ(command.getTimeoutOccured(), row.timedOut);
    EXPECT_EQ(command.getAdditionalFailureCode(), row.failureCode);
    EXPECT_EQ(command.isSenseDataValid(), row.senseKey != 0);
    EXPECT_EQ(command.getSenseKey(), row.senseKey);
  }
}

TEST_F(TargetPassThrough, DescribesTheRequest) {
  ScsiCmdInquiry inquiry(0, false, 36);
  EXPECT_EQ(target.scsiExecCDB(inquiry), CMD_OK);
  EXPECT_EQ(target.GetTransferredDataLength(), 36u);
  ScsiCmdTestUnitReady ready;
  ready.setSenseDataLength(255);
  EXPECT_EQ(target.scsiExecCDB(ready), CMD_OK);
  EXPECT_EQ(target.GetTransferredDataLength(), 0u);
  const auto& entries = room.journal().entries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].direction, SCSI_IOCTL_DATA_IN);
  EXPECT_EQ(entries[0].transferLength, 36u);
  EXPECT_EQ(entries[0].timeOut, 303u);
  EXPECT_EQ(entries[0].senseLength, 32);
  EXPECT_EQ(entries[1].direction, SCSI_IOCTL_DATA_UNSPECIFIED);
  EXPECT_EQ(entries[1].timeOut, 33u);
  EXPECT_EQ(entries[1].senseLength, 132) << "as much as the request has room for";
}

TEST_F(TargetPassThrough, SendsWhatIsIllegalWithinBounds) {
  ScsiCmdTestUnitReady command;
  command.setDataDirection(static_cast<ScsiDataDirection>(7));
  EXPECT_THAT(logOf([&] { target.scsiExecCDB(command); }),
              ElementsAre("E ScsiTarget::scsiExecCDB illegal Data Direction on cmd 00h"));
  ASSERT_EQ(room.journal().entries().size(), 1u);
  EXPECT_EQ(room.journal().entries()[0].direction, SCSI_IOCTL_DATA_OUT);

  GenericScsiCommand empty;
  EXPECT_EQ(target.scsiExecCDB(empty), CMD_ERROR) << "the port driver refuses a CDB of no bytes";
  EXPECT_EQ(empty.getAdditionalFailureCode(), ERROR_INVALID_PARAMETER);
  empty.setCdbLength(200);
  target.scsiExecCDB(empty);
  EXPECT_EQ(room.journal().entries().back().cdb.size(), 16u);
}

TEST_F(TargetPassThrough, TakesTheTimeOutOfTheTable) {
  ScsiCmdTestUnitReady command;
  target.setProperty("TIMEOUT_0x00", "77");
  room.addFault({.cdb = "00", .delay = 78});
  EXPECT_THAT(
      logOf([&] { EXPECT_EQ(target.scsiExecCDB(command), CMD_ERROR); }),
      ElementsAre("D set CDB timeoutvalue 77 for opcode 00 set",
                  "E ScsiTarget::scsiExecCDB, TIMEOUT on cmd 00h, difftime 78.00 (sec), cmd timeout 77",
                  "D ScsiTarget::scsiExecCDB failed, last error code: 0, cmd 00h, TargetStatus: 00h, "
                  "execStatus 2 ScsiStatus 00h"));
  EXPECT_EQ(room.journal().entries()[0].timeOut, 80u);
}

TEST_F(TargetPassThrough, NeedsAnOpenDeviceAndForgetsTheLastOutcome) {
  ScsiCmdTestUnitReady command;
  room.addFault({.cdb = "00", .sense = Sense{.key = 3}});
  target.scsiExecCDB(command);
  target.closeDevice();
  EXPECT_THAT(logOf([&] { EXPECT_EQ(target.scsiExecCDB(command), CMD_INVALID_HANDLE); }),
              ElementsAre("E ScsiTarget::scsiExecCDB, invalid device handle on cmd 00h"));
  EXPECT_EQ(command.getExecutionStatus(), CMD_INVALID_HANDLE);
  EXPECT_EQ(command.getTargetStatus(), 0xFF);
  EXPECT_FALSE(command.isSenseDataValid());
}

}  // namespace
