// One CDB through the port driver: what is sent, and what every outcome becomes.
#include "kiv/scsi/standard_commands.h"
#include "tests/support/room_test.h"

namespace {

class TargetPassThrough : public RoomTest {
 protected:
  TargetPassThrough() { openDrive({.model = "NO TIME-OUTS"}); }

  void tell(const std::string& what) {
    record(what, command.getExecutionStatus(), command.getTargetStatus(), command.getHostStatus(),
           command.getTimeoutOccured(), command.getAdditionalFailureCode(), command.isSenseDataValid(),
           command.getSenseKey(), command.getASC(), command.getASCQ());
  }
  void tellRequest() {
    const auto& entry = room.journal().entries().back();
    record("request", entry.direction, entry.transferLength, entry.timeOut, entry.senseLength,
           entry.cdb.size(), target.GetTransferredDataLength());
  }

  ScsiCmdTestUnitReady command;
};

TEST_F(TargetPassThrough, TurnsEveryOutcomeIntoAStatus) {
  const Sense sense{.key = 3, .asc = 0x11, .ascq = 2};
  const std::pair<const char*, Fault> rows[] = {
      {"GOOD", {.cdb = "FF"}},
      {"CHECK CONDITION", {.cdb = "00", .sense = sense}},
      {"BUSY", {.cdb = "00", .status = 0x08}},
      {"RESERVATION CONFLICT", {.cdb = "00", .status = 0x18}},
      {"transport failure", {.cdb = "00", .error = 1167}},
      {"error 121", {.cdb = "00", .error = 121}},
      {"as long as the time-out", {.cdb = "00", .delay = 30}},
      {"a second longer", {.cdb = "00", .delay = 31}},
      {"longer and failed", {.cdb = "00", .sense = sense, .delay = 31}},
      {"longer than the port driver waits", {.cdb = "00", .delay = 100}},
  };
  for (const auto& [what, fault] : rows) {
    room.faults().clear();
    room.addFault(fault);
    const ReturnCode result = target.scsiExecCDB(command);
    EXPECT_EQ(result, command.getExecutionStatus());
    tell(what);
  }
  // A closed device forgets the last outcome.
  target.closeDevice();
  record("closed", logOf([&] { EXPECT_EQ(target.scsiExecCDB(command), CMD_INVALID_HANDLE); }));
  tell("closed");
}

TEST_F(TargetPassThrough, DescribesTheRequest) {
  ScsiCmdInquiry inquiry(0, false, 36);
  EXPECT_EQ(target.scsiExecCDB(inquiry), CMD_OK);
  tellRequest();
  command.setSenseDataLength(255);
  EXPECT_EQ(target.scsiExecCDB(command), CMD_OK);
  tellRequest();
  command.setDataDirection(static_cast<ScsiDataDirection>(7));
  record("illegal direction", logOf([&] { target.scsiExecCDB(command); }));
  tellRequest();
  GenericScsiCommand empty;
  TELL(target.scsiExecCDB(empty), empty.getAdditionalFailureCode());
  empty.setCdbLength(200);
  target.scsiExecCDB(empty);
  tellRequest();
  // The time-out of the table.
  command.setDataDirection(SCSI_DATA_NONE);
  target.setProperty("TIMEOUT_0x00", "77");
  room.addFault({.cdb = "00", .delay = 78});
  record("time-out", logOf([&] { EXPECT_EQ(target.scsiExecCDB(command), CMD_ERROR); }));
  tellRequest();
}

}  // namespace
