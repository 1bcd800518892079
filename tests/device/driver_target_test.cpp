#include "kiv/device/driver_target.h"

#include <functional>

#include "kiv/scsi/standard_commands.h"
#include "tests/support/room_test.h"

/// What a command does on the driver's handle.
using Operation = std::function<ReturnCode(QORScsiCommand&)>;

/// Not in a namespace: the log names it.
class OperationTwin : public QORScsiCommand {
 public:
  OperationTwin(GenericScsiCommand* generic, Operation does)
      : QORScsiCommand(generic), operation(std::move(does)) {}
  ReturnCode doOperation(void*) override { return operation(*this); }

 private:
  Operation operation;
};

/// TEST UNIT READY whose twin does as the test says; without an operation there is no twin to be had.
class OperationCommand : public GenericScsiCommand {
 public:
  explicit OperationCommand(Operation does) : GenericScsiCommand(CDB_6), operation(std::move(does)) {
    setIoDataLength(4);
  }
  QORScsiCommand* createQORCommand() override {
    return operation ? new OperationTwin(this, operation) : throw std::bad_alloc();
  }

 private:
  Operation operation;
};

namespace {

constexpr const char* TAPE_SENSE = "0x001F6064";
constexpr const char* CHANGER_SENSE = "0x00306064";
constexpr const char* SENSE_REPLY = "12 00 00 00 70 00 04 00 00 00 00 0A 00 00 00 00 44 01 00 00 00 00";

class DriverTarget : public RoomTest {
 protected:
  DriverTarget() {
    room.addDrive(
        {.target = 5, .model = "ULTRIUM-PX8", .serial = "1068000073", .claimed = true, .driver = {{}}},
        {.cartridge = true});
    room.addChanger(
        {.target = 6, .model = "LIB-3573", .claimed = true, .driver = {{.version = "ABCDEFGHIJKLMNO"}}});
    room.addDrive({.target = 7, .model = "ULTRIUM-PX8", .claimed = true});
  }

  void open(const char* name) {
    ASSERT_EQ(driver.openDeviceNoInq(name, OPEN_READ_WRITE), CMD_OK);
    room.journal().clear();
  }
  void tellTarget(const std::string& what, ReturnCode result) {
    record(what, result, driver.isOpened(), driver.getTapeDrvVersion(), driver.getDeviceSpecialFile(),
           driver.getDriverName(), driver.getModelName(), driver.getSerialNumber(), driver.getHostAdapterId(),
           driver.getBusNumber(), driver.getTargetId(), driver.getLun(), driver.getDeviceOpenMode());
  }
  void tellCommand(const std::string& what, ReturnCode result, const ScsiCommand& command) {
    record(what, result, command.getExecutionStatus(), command.getTargetStatus(), command.getHostStatus(),
           command.getTimeoutOccured(), command.getAdditionalFailureCode(), command.isSenseDataValid(),
           command.getASC());
    record("  calls", calls());
  }
  /// The time passes while something runs.
  ReturnCode after(unsigned seconds, ReturnCode result) {
    room.clock().advance(seconds * 1000);
    return result;
  }
};

TEST_F(DriverTarget, OpensAndIdentifies) {
  TELL(driver.openDevice(), driver.openDevice(nullptr, OPEN_READ_WRITE), driver.getDevicePath());
  for (const std::uint32_t mode : {OPEN_READ_WRITE, OPEN_READONLY, OPEN_WRITEONLY, 0u}) {
    ReturnCode result = CMD_ERROR;
    record("mode " + std::to_string(mode),
           logOf([&] { result = driver.openDeviceNoInq(R"(\\.\tape0)", mode); }));
    tellTarget("opened", result);
    tellTarget("opened and asked", driver.openDevice(R"(\\.\tape0)", mode));
    record("calls", calls());
  }
  for (const char* name : {R"(\\.\tape0)", R"(\\.\Changer0)", R"(\\.\Tape1)", R"(\\.\Tape9)"}) {
    driver.closeDevice();
    driver = QORScsiTarget();
    room.journal().clear();
    ReturnCode result = CMD_ERROR;
    record(name, logOf([&] { result = driver.openDevice(name, OPEN_READ_WRITE); }));
    tellTarget("opened", result);
    record("calls", calls());
    EXPECT_EQ(driver.openDevice(), result == CMD_OK ? CMD_OK : CMD_ERROR) << "open already";
    driver.closeDevice();
    EXPECT_EQ(room.openHandles(), 0u);
  }
  room.journal().clear();
  driver.openDevice(R"(\\.\tape0)", OPEN_READ_WRITE);
  driver.closeDevice();
  record("again", logOf([&] { EXPECT_EQ(driver.openDevice(), CMD_OK); }));
  room.addFault({.call = "SCSI_GET_ADDRESS", .error = ERROR_GEN_FAILURE});
  tellTarget("no address", driver.openDeviceNoInq(R"(\\.\Tape0)", OPEN_READ_WRITE));
  room.addFault({.cdb = "12", .sense = Sense{.key = 4, .asc = 0x44}});
  tellTarget("no INQUIRY", driver.openDevice(R"(\\.\Tape0)", OPEN_READ_WRITE));
  char name[] = R"(\\.\tape0)", none[] = "";
  tellTarget("by name", driver.openDeviceNoInq(0, 5, 0, 0, name, OPEN_READ_WRITE));
  tellTarget("by address", driver.openDeviceNoInq(0, 5, 0, 0, none, OPEN_READ_WRITE));
}

TEST_F(DriverTarget, RunsDriverCommands) {
  OperationTwin closed(nullptr, [](auto&) { return CMD_OK; });
  tellCommand("closed", driver.scsiExecCmd(closed), closed);
  open(R"(\\.\tape0)");
  const struct {
    const char* name;
    ReturnCode result;
    unsigned seconds;
    std::uint8_t senseLength;
  } rows[] = {
      {"success", CMD_OK, 30, 18},
      {"not supported", CMD_NOT_SUPPORTED, 0, 18},
      {"failure", CMD_ERROR, 0, 18},
      {"refused parameter", CMD_INVALID_PARAMETER_TYPE, 0, 18},
      {"late success", CMD_OK, 31, 18},
      {"late failure", CMD_ERROR, 31, 18},
      {"without room for sense", CMD_ERROR, 0, 0},
  };
  for (const bool answers : {true, false}) {
    for (const auto& row : rows) {
      room.journal().clear();
      room.faults().clear();
      room.addFault(answers ? Fault{.call = TAPE_SENSE, .reply = bytes(SENSE_REPLY)}
                            : Fault{.call = TAPE_SENSE, .error = ERROR_NOT_READY});
      OperationTwin command(nullptr, [&](auto& cmd) {
        EXPECT_EQ(cmd.getTargetStatus(), 0xFF);
        SetLastError(ERROR_CRC);
        return after(row.seconds, row.result);
      });
      command.setSenseDataLength(row.senseLength);
      command.setTargetStatus(0);
      if (row.senseLength > 0) command.getSenseData()[0] = 0x70;
      ReturnCode result = 99;
      const auto log = logOf([&] { result = driver.scsiExecCmd(command); });
      tellCommand(row.name, result, command);
      record("  log", log);
    }
  }
}

// What a failed command's sense data come from, and what is left in the command.
TEST_F(DriverTarget, RunsCdbCommands) {
  const Fault driverTells{.call = TAPE_SENSE, .reply = bytes(SENSE_REPLY)};
  const Fault driverSaysNothing{.call = TAPE_SENSE, .reply = bytes("12 00 00 00 70 00 00 00 00 00 00 0A")};
  const Fault driverRefuses{.call = TAPE_SENSE, .error = ERROR_NOT_SUPPORTED};
  const Fault driveFails{.cdb = "00", .sense = Sense{.key = 4, .asc = 0x3E}};
  const Fault driveBusy{.cdb = "00", .status = std::uint8_t{0x08}};
  const Fault driveGone{.cdb = "00", .error = ERROR_IO_DEVICE};
  const Fault driveStaysGone{.cdb = "03", .error = ERROR_IO_DEVICE};
  const Fault driveTells{.cdb = "03", .reply = bytes("70 00 06 00 00 00 00 0A 00 00 00 00 29 01")};
  constexpr ReturnCode NO_TWIN = 99;
  const struct {
    const char* name;
    ReturnCode twin;
    DWORD error;
    unsigned seconds;
    std::vector<Fault> faults;
  } rows[] = {
      {"twin succeeds", CMD_OK, 0, 0, {}},
      {"twin succeeds just in time", CMD_OK, 23, 30, {}},
      {"no twin to be had", NO_TWIN, 0, 0, {}},
      {"not supported, the CDB succeeds", CMD_NOT_SUPPORTED, 0, 0, {}},
      {"the CDB fails, the driver knows why", CMD_NOT_SUPPORTED, 0, 0, {driveGone, driverTells}},
      {"the CDB fails and tells why", CMD_NOT_SUPPORTED, 0, 0, {driveFails, driverSaysNothing}},
      {"the CDB fails, the drive knows why", CMD_NOT_SUPPORTED, 0, 0, {driveGone, driverRefuses, driveTells}},
      {"the CDB fails, the driver tells of an error recovered",
       CMD_NOT_SUPPORTED,
       0,
       0,
       {driveFails, {.call = TAPE_SENSE, .reply = bytes("12 00 00 00 70 00 01 00 00 00 00 0A")}}},
      {"the drive is busy, nobody knows why",
       CMD_NOT_SUPPORTED,
       0,
       0,
       {driveBusy, driverRefuses, driveStaysGone}},
      {"twin fails", CMD_ERROR, 23, 0, {driverTells}},
      {"twin fails without an error number", CMD_ERROR, 0, 0, {driverTells}},
      {"twin is late", CMD_OK, 0, 31, {driverTells}},
      {"twin is late and not supported", CMD_NOT_SUPPORTED, 0, 31, {driverTells}},
      {"semaphore time-out", CMD_ERROR, 121, 0, {driverTells}},
  };
  OperationCommand closed([](auto&) { return CMD_OK; });
  tellCommand("closed", driver.scsiExecCDB(closed), closed);
  open(R"(\\.\tape0)");
  for (const auto& row : rows) {
    room.journal().clear();
    room.faults().clear();
    for (const Fault& fault : row.faults) room.addFault(fault);
    const Operation operation = [&](auto&) {
      SetLastError(row.error);
      return after(row.seconds, row.twin);
    };
    OperationCommand command(row.twin == NO_TWIN ? nullptr : operation);
    command.getSenseData()[0] = 0x70;
    const std::uint8_t* const buffers[] = {command.getCdb(), command.getIoData(), command.getSenseData()};
    ReturnCode result = 99;
    const auto log = logOf([&] { result = driver.scsiExecCDB(command); });
    tellCommand(row.name, result, command);
    record("  log", log);
    EXPECT_THAT(buffers, testing::ElementsAre(command.getCdb(), command.getIoData(), command.getSenseData()));
  }
}

TEST_F(DriverTarget, AsksTheChangerDriverForSense) {
  open(R"(\\.\Changer0)");
  OperationCommand fails([](auto&) { return CMD_ERROR; });
  room.addFault({.call = CHANGER_SENSE, .reply = bytes(SENSE_REPLY)});
  tellCommand("told", driver.scsiExecCDB(fails), fails);
  room.addFault({.call = CHANGER_SENSE, .error = ERROR_NOT_READY});
  record("log", logOf([&] { driver.scsiExecCDB(fails); }));
  tellCommand("refused", fails.getExecutionStatus(), fails);
}

TEST_F(DriverTarget, ReadsThroughTheDriver) {
  open(R"(\\.\Tape0)");
  ScsiCmdLogSense page(1, 0x17, 0, 255), never(1, 0x37, 0, 255), forced(1, 0x17, 0, 255);
  forced.setForcePassthrough(true);
  ScsiCmdModeSense6 mode(true, 0, 0x0F, 255);
  TELL(driver.scsiExecCDB(page), page.getIoData()[0] & 0x3F, page.getPageLength(),
       driver.GetTransferredDataLength());
  TELL(driver.scsiExecCDB(mode), mode.getIoData()[4] & 0x3F, mode.getTimeOut(),
       driver.getTimeoutForOpcode(0x1A));
  TELL(driver.scsiExecCDB(never), driver.scsiExecCDB(forced));
  EXPECT_EQ(hex(forced.ioDataSpan()), hex(page.ioDataSpan()));
  record("calls", calls());
}

}  // namespace
