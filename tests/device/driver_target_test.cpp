#include "kiv/device/driver_target.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>

#include "kiv/scsi/standard_commands.h"
#include "simulator/room/room.h"
#include "simulator/windows/import_table.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

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

constexpr const char* tapeSense = "0x001F6064";
constexpr const char* changerSense = "0x00306064";
constexpr const char* senseReply = "12 00 00 00 70 00 04 00 00 00 00 0A 00 00 00 00 44 01 00 00 00 00";

class DriverTarget : public testing::Test {
 protected:
  DriverTarget() {
    simulator::takeOverImports();
    room.addDrive({.target = 5,
                   .model = "ULTRIUM-PX8",
                   .level = "K4K0",
                   .serial = "1068000073",
                   .claimed = true,
                   .driver = simulator::DriverOptions{}},
                  {.cartridge = true});
    room.addChanger({.target = 6,
                     .model = "LIB-3573",
                     .claimed = true,
                     .driver = simulator::DriverOptions{.version = "ABCDEFGHIJKLMNO"}});
    room.addDrive({.target = 7, .model = "ULTRIUM-PX8", .claimed = true});
  }
  ~DriverTarget() override {
    target.closeDevice();
    EXPECT_EQ(room.openHandles(), 0u);
  }

  void open(const char* name) {
    ASSERT_EQ(target.openDeviceNoInq(name, OPEN_READ_WRITE), CMD_OK);
    room.journal().clear();
  }
  /// The lines that are logged meanwhile.
  std::vector<std::string> logOf(const std::function<void()>& action) {
    LogLevel level(LOG_DEBUG);
    CapturedOutput output;
    action();
    return output.lines();
  }
  /// The time passes while something runs.
  ReturnCode after(unsigned seconds, ReturnCode result) {
    room.clock().advance(seconds * 1000);
    return result;
  }

  simulator::Room room;
  QORScsiTarget target;
};

TEST_F(DriverTarget, OpensWithTheAccessOfTheMode) {
  struct Row {
    std::uint32_t mode;
    const char* access;
    const char* message;
    ReturnCode result;
  };
  const Row rows[] = {
      {OPEN_READ_WRITE, "rw", "- device will be opened in READ_WRITE mode", CMD_OK},
      {OPEN_READONLY, "r", "- device will be opened in READONLY mode", CMD_OK},
      {0, "r", "- no valid mode was selected-device will be opened in READONLY mode", CMD_OK},
      // The version request needs the right to read.
      {OPEN_WRITEONLY, "w", "- device will be opened in WRITEONLY mode", CMD_ERROR},
  };
  for (const Row& row : rows) {
    room.journal().clear();
    const auto told = logOf([&] { target.openDeviceNoInq("\\\\.\\tape0", row.mode); });
    EXPECT_THAT(room.journal().lines(), Contains(std::string("CreateFileA \\\\.\\tape0 ") + row.access));
    EXPECT_EQ(target.isOpened(), row.result == CMD_OK);
    EXPECT_EQ(target.getDeviceOpenMode(), row.mode);
    EXPECT_STREQ(target.getTapeDrvVersion(), row.result == CMD_OK ? "6.2.7.1" : "NA");
    EXPECT_THAT(told, Contains(std::string("SCSI0000D QORScsiTarget::openDevice ") + row.message));
  }
}

TEST_F(DriverTarget, IdentifiesWhatItOpens) {
  EXPECT_EQ(target.openDevice(), CMD_NO_ADDRESS);
  ASSERT_EQ(target.openDevice("\\\\.\\tape0", OPEN_READ_WRITE), CMD_OK);
  EXPECT_STREQ(target.getModelName(), "ULTRIUM-PX8     ");
  EXPECT_STREQ(target.getSerialNumber(), "1068000073");
  EXPECT_STREQ(target.getDeviceSpecialFile(), "\\\\.\\tape0");
  EXPECT_STREQ(target.getDriverName(), "\\\\.\\tape0");
  EXPECT_EQ(target.getHostAdapterId() + target.getBusNumber() + target.getLun(), 0u);
  EXPECT_EQ(target.getTargetId(), 5u);

  const ulong32 timeOut = target.getTimeoutForOpcode(0x1A);
  ScsiCmdModeSense6 command(true, 0, 0x0F, 255);
  EXPECT_EQ(target.scsiExecCDB(command), CMD_OK);
  EXPECT_NE(timeOut, 30u);
  EXPECT_EQ(command.getTimeOut(), timeOut);

  EXPECT_EQ(target.openDevice(), CMD_OK) << "open already";
  target.closeDevice();
  room.journal().clear();
  EXPECT_EQ(target.openDevice(), CMD_OK);
  EXPECT_THAT(room.journal().lines("\\\\.\\tape0"), Contains("CreateFileA \\\\.\\tape0 rw").Times(1));
  EXPECT_EQ(target.openDevice("\\\\.\\Changer0", OPEN_READ_WRITE), CMD_OK);
  EXPECT_STREQ(target.getTapeDrvVersion(), "ABCDEFGHIJKL");
  EXPECT_EQ(target.getTargetId(), 6u);
}

TEST_F(DriverTarget, TellsWhatItOpens) {
  const auto told = logOf([&] {
    target.openDevice("\\\\.\\tape0", OPEN_READ_WRITE);
    target.closeDevice();
    target.openDevice();
    target.openDevice("\\\\.\\Changer0", OPEN_READ_WRITE);
    target.openDevice("\\\\.\\Tape1", OPEN_READ_WRITE);
  });
  for (const char* line :
       {"SCSI0000D QORScsiTarget::openDevice Class Driver opened \\\\.\\tape0",
        "SCSI0000D QOR Tape driver version 6.2.7.1", "SCSI0000D QORScsiTarget::getDevicePath OK!!",
        "SCSI0000D Set QOR Driver name special: \\\\.\\tape0",
        "SCSI0000I Set timeout for model: ULTRIUM-PX8     ",
        "SCSI0000D QORScsiTarget::scsiExecCDB, Used generic pass-through, cmd 12h",
        "SCSI0000I Before QORScsiTarget::openDevice \\\\.\\tape0",
        "SCSI0000I After QORScsiTarget::openDevice \\\\.\\tape0",
        "SCSI0000D QOR Changer driver version ABCDEFGHIJKL",
        "SCSI0000D Driver for Tape/Changer is not an QOR one"})
    EXPECT_THAT(told, Contains(line));
  EXPECT_THAT(told, Contains(HasSubstr("Obtain version failed, errno 1 (")));
}

TEST_F(DriverTarget, LeavesOtherDriversAlone) {
  EXPECT_EQ(target.openDevice("\\\\.\\Tape1", OPEN_READ_WRITE), CMD_ERROR);
  EXPECT_STREQ(target.getTapeDrvVersion(), "NA");
  EXPECT_EQ(target.openDevice("\\\\.\\Tape9", OPEN_READ_WRITE), CMD_ERROR);
  EXPECT_EQ(target.openDevice(nullptr, OPEN_READ_WRITE), CMD_ERROR);
  EXPECT_EQ(target.getDevicePath(), CMD_ERROR);
  EXPECT_EQ(room.openHandles(), 0u);

  room.addFault({.call = "SCSI_GET_ADDRESS", .error = ERROR_GEN_FAILURE});
  EXPECT_EQ(target.openDeviceNoInq("\\\\.\\Tape0", OPEN_READ_WRITE), CMD_OK);
  EXPECT_EQ(target.getTargetId(), 0xFFFFFFFFu);
  room.addFault({.cdb = "12", .sense = simulator::Sense{.key = 4, .asc = 0x44}});
  EXPECT_EQ(target.openDevice("\\\\.\\Tape0", OPEN_READ_WRITE), CMD_ERROR);
  EXPECT_FALSE(target.isOpened());
}

TEST_F(DriverTarget, OpensByNameOrByAddress) {
  char name[] = "\\\\.\\tape0", none[] = "";
  EXPECT_EQ(target.openDeviceNoInq(0, 5, 0, 0, name, OPEN_READ_WRITE), CMD_OK);
  EXPECT_STREQ(target.getTapeDrvVersion(), "6.2.7.1");
  EXPECT_EQ(target.openDeviceNoInq(0, 5, 0, 0, none, OPEN_READ_WRITE), CMD_OK);
  EXPECT_STREQ(target.getTapeDrvVersion(), "WinDefault");
}

TEST_F(DriverTarget, RunsDriverCommands) {
  OperationTwin closed(nullptr, [](auto&) { return CMD_OK; });
  EXPECT_EQ(target.scsiExecCmd(closed), CMD_INVALID_HANDLE);
  EXPECT_EQ(closed.getExecutionStatus(), CMD_INVALID_HANDLE);
  open("\\\\.\\tape0");
  struct Row {
    const char* name;
    ReturnCode result;
    unsigned seconds;
    ReturnCode status;
    ulong32 failureCode;
    bool timedOut;
    bool asksForSense;
  };
  const Row rows[] = {
      {"success", CMD_OK, 30, CMD_OK, 0, false, false},
      {"not supported", CMD_NOT_SUPPORTED, 0, CMD_NOT_SUPPORTED, 0, false, false},
      {"failure", CMD_ERROR, 0, CMD_ERROR, ERROR_CRC, false, true},
      {"refused parameter", CMD_INVALID_PARAMETER_TYPE, 0, CMD_INVALID_PARAMETER_TYPE, ERROR_CRC, false,
       true},
      {"late success", CMD_OK, 31, CMD_ERROR, 0, true, true},
      {"late failure", CMD_ERROR, 31, CMD_ERROR, ERROR_CRC, true, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    room.journal().clear();
    room.faults().clear();
    room.addFault({.call = tapeSense, .reply = bytes(senseReply)});
    OperationTwin command(nullptr, [&](auto& cmd) {
      EXPECT_EQ(cmd.getTargetStatus(), 0xFF);
      SetLastError(ERROR_CRC);
      return after(row.seconds, row.result);
    });
    command.setSenseDataLength(18);
    command.setTargetStatus(0);
    command.getSenseData()[0] = 0x70;
    EXPECT_EQ(target.scsiExecCmd(command), row.status);
    EXPECT_EQ(command.getExecutionStatus(), row.status);
    EXPECT_EQ(command.getTimeoutOccured(), row.timedOut);
    EXPECT_EQ(command.getHostStatus(), row.timedOut ? 5 : 0xFF);
    EXPECT_EQ(command.getAdditionalFailureCode(), row.failureCode);
    EXPECT_EQ(room.journal().count(tapeSense), row.asksForSense ? 1u : 0u);
    EXPECT_EQ(command.isSenseDataValid(), row.asksForSense);
    EXPECT_EQ(command.getASC(), row.asksForSense ? 0x44 : 0);
  }

  // Without an answer from the driver, and without room for one.
  room.faults().clear();
  room.addFault({.call = tapeSense, .error = ERROR_NOT_SUPPORTED});
  OperationTwin command(nullptr, [](auto&) { return CMD_ERROR; });
  command.setSenseDataLength(18);
  EXPECT_EQ(target.scsiExecCmd(command), CMD_ERROR);
  EXPECT_FALSE(command.isSenseDataValid());
  command.setSenseDataLength(0);
  EXPECT_EQ(target.scsiExecCmd(command), CMD_ERROR);
}

// What a failed command's sense data come from, and what is left in the command.
TEST_F(DriverTarget, RunsCdbCommands) {
  using simulator::Fault;
  using simulator::Sense;
  const std::string tur = "CDB H0-B0-T5-L0 00 00 00 00 00 00", asked = "CDB H0-B0-T5-L0 03 00 00 00 20 00",
                    told = std::string("DeviceIoControl \\\\.\\tape0 ") + tapeSense;
  const Fault driverTells{.call = tapeSense, .reply = bytes(senseReply)};
  const Fault driverSaysNothing{.call = tapeSense, .reply = bytes("12 00 00 00 70 00 00 00 00 00 00 0A")};
  const Fault driverRefuses{.call = tapeSense, .error = ERROR_NOT_SUPPORTED};
  const Fault driveFails{.cdb = "00", .sense = Sense{.key = 4, .asc = 0x3E}};
  const Fault driveBusy{.cdb = "00", .status = std::uint8_t{0x08}};
  const Fault driveGone{.cdb = "00", .error = ERROR_IO_DEVICE};
  const Fault driveStaysGone{.cdb = "03", .error = ERROR_IO_DEVICE};
  const Fault driveTells{.cdb = "03", .reply = bytes("70 00 06 00 00 00 00 0A 00 00 00 00 29 01")};
  constexpr ReturnCode ok = CMD_OK, failed = CMD_ERROR, notSupported = CMD_NOT_SUPPORTED, noTwin = 99;
  struct Row {
    const char* name;
    ReturnCode twin;
    DWORD error;
    unsigned seconds;
    std::vector<Fault> faults;
    ReturnCode status;
    ulong32 failureCode;
    bool timedOut;
    int asc;
    std::vector<std::string> journal;
  };
  // clang-format off
  const Row rows[] = {
      {"twin succeeds", ok, 0, 0, {}, ok, 0, false, 0, {}},
      {"twin succeeds just in time", ok, 23, 30, {}, ok, 0, false, 0, {}},
      {"no twin to be had", noTwin, 0, 0, {}, ok, 0, false, 0, {tur}},
      {"not supported, the CDB succeeds", notSupported, 0, 0, {}, ok, 0, false, 0, {tur}},
      {"the CDB fails, the driver knows why", notSupported, 0, 0, {driveGone, driverTells},
       failed, 1117, false, 0x44, {tur + " -> error 1117", told}},
      {"the CDB fails and tells why", notSupported, 0, 0, {driveFails, driverSaysNothing},
       failed, 1117, false, 0x3E, {tur + " -> 4/3E/00", told}},
      {"the CDB fails, the drive knows why", notSupported, 0, 0, {driveGone, driverRefuses, driveTells},
       failed, 1117, false, 0x29, {tur + " -> error 1117", told + " -> error 50", asked}},
      {"the drive is busy, nobody knows why", notSupported, 0, 0, {driveBusy, driverRefuses, driveStaysGone},
       CMD_BUSY, 1117, false, 0, {tur + " -> status 08", told + " -> error 50", asked + " -> error 1117"}},
      {"twin fails", failed, 23, 0, {driverTells}, failed, 23, false, 0x44, {told}},
      {"twin fails without an error number", failed, 0, 0, {driverTells}, failed, 5, false, 0x44, {told}},
      {"twin is late", ok, 0, 31, {driverTells}, failed, 5, true, 0x44, {told}},
      {"twin is late and not supported", notSupported, 0, 31, {driverTells}, failed, 5, true, 0x44, {told}},
      {"semaphore time-out", failed, 121, 0, {driverTells}, failed, 121, true, 0x44, {told}},
  };
  // clang-format on
  OperationCommand closed([](auto&) { return CMD_OK; });
  EXPECT_EQ(target.scsiExecCDB(closed), CMD_INVALID_HANDLE);
  EXPECT_EQ(closed.getExecutionStatus(), CMD_INVALID_HANDLE);
  open("\\\\.\\tape0");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    room.journal().clear();
    room.faults().clear();
    for (const Fault& fault : row.faults) room.addFault(fault);
    const Operation operation = [&](auto&) {
      SetLastError(row.error);
      return after(row.seconds, row.twin);
    };
    OperationCommand command(row.twin == noTwin ? nullptr : operation);
    command.getSenseData()[0] = 0x70;
    const std::uint8_t* const buffers[] = {command.getCdb(), command.getIoData(), command.getSenseData()};
    EXPECT_EQ(target.scsiExecCDB(command), row.status);
    EXPECT_EQ(command.getExecutionStatus(), row.status);
    EXPECT_EQ(command.getAdditionalFailureCode(), row.failureCode);
    EXPECT_EQ(command.getTimeoutOccured(), row.timedOut);
    EXPECT_EQ(command.getHostStatus(), row.timedOut ? 5 : 0xFF);
    EXPECT_EQ(command.getASC(), row.asc);
    EXPECT_THAT(room.journal().lines(), ElementsAreArray(row.journal));
    EXPECT_THAT(buffers, ElementsAre(command.getCdb(), command.getIoData(), command.getSenseData()));
  }
}

TEST_F(DriverTarget, AsksTheChangerDriverForSense) {
  open("\\\\.\\Changer0");
  OperationCommand fails([](auto&) { return CMD_ERROR; });
  room.addFault({.call = changerSense, .reply = bytes(senseReply)});
  EXPECT_EQ(target.scsiExecCDB(fails), CMD_ERROR);
  EXPECT_EQ(fails.getASC(), 0x44);
  room.addFault({.call = changerSense, .error = ERROR_NOT_READY});
  const auto told = logOf([&] { target.scsiExecCDB(fails); });
  EXPECT_THAT(
      told, Contains(HasSubstr("D QORScsiTarget::scsiExecCDB RequestSense failed for cmd 00h, errno: 21 (")));
  EXPECT_FALSE(fails.isSenseDataValid());
  const std::string request = std::string("DeviceIoControl \\\\.\\Changer0 ") + changerSense;
  EXPECT_THAT(room.journal().lines(), ElementsAre(request, request + " -> error 21"));
}

TEST_F(DriverTarget, ReadsThroughTheDriver) {
  open("\\\\.\\Tape0");
  ScsiCmdLogSense page(1, 0x17, 0, 255), never(1, 0x37, 0, 255), forced(1, 0x17, 0, 255);
  forced.setForcePassthrough(true);
  ScsiCmdModeSense6 mode(true, 0, 0x0F, 255);
  EXPECT_EQ(target.scsiExecCDB(page), CMD_OK);
  EXPECT_EQ(page.getIoData()[0] & 0x3F, 0x17);
  EXPECT_NE(page.getPageLength(), 0);
  EXPECT_EQ(target.GetTransferredDataLength(), 255u);
  EXPECT_EQ(target.scsiExecCDB(mode), CMD_OK);
  EXPECT_EQ(mode.getIoData()[4] & 0x3F, 0x0F) << "the page follows the header";
  target.scsiExecCDB(never);
  EXPECT_EQ(target.scsiExecCDB(forced), CMD_OK);
  EXPECT_EQ(hex(forced.ioDataSpan()), hex(page.ioDataSpan()));
  EXPECT_THAT(
      room.journal().lines(),
      ElementsAre("DeviceIoControl \\\\.\\Tape0 0x001F60CC", "DeviceIoControl \\\\.\\Tape0 0x4D1BC00C",
                  HasSubstr("CDB H0-B0-T5-L0 4D 00 77"), HasSubstr("CDB H0-B0-T5-L0 4D 00 57")));
}

TEST_F(DriverTarget, TellsWhatFailed) {
  open("\\\\.\\Tape0");
  OperationTwin twin(nullptr, [&](auto&) {
    SetLastError(ERROR_NOT_READY);
    return after(31, CMD_ERROR);
  });
  OperationTwin unsupported(nullptr, [](auto&) { return CMD_NOT_SUPPORTED; });
  OperationCommand none({}), late([&](auto&) { return after(31, CMD_ERROR); });
  twin.setSenseDataLength(18);
  late.setTimeOut(30);
  room.addFault({.call = tapeSense, .reply = bytes(senseReply)});
  room.addFault({.call = tapeSense, .nth = 2, .times = 0, .error = ERROR_NOT_READY});
  const auto lines = logOf([&] {
    target.scsiExecCmd(unsupported);
    target.scsiExecCmd(twin);
    target.scsiExecCmd(twin);
    target.scsiExecCDB(late);
    room.addFault({.cdb = "00", .error = ERROR_GEN_FAILURE});
    room.addFault({.cdb = "03", .error = ERROR_NOT_READY});
    target.scsiExecCDB(none);
  });
  std::vector<std::string> told;
  for (const std::string& line : lines) {
    if (line.find("QORScsiTarget") == std::string::npos && line.find("EIO") == std::string::npos) continue;
    const std::size_t error = std::min(line.find("errno"), line.size());
    told.push_back(line.substr(0, line.find_first_of("(-", error)));  // without the system's own wording
  }
  EXPECT_THAT(
      told,
      ElementsAre(
          "SCSI0000D QORScsiTarget::scsiExecCmd, cmd OperationTwin is not supported",
          "SCSI0000E QORScsiTarget::scsiExecCmd, TIMEOUT on cmd OperationTwin, difftime 31.00 (sec)",
          "SCSI0000D QORScsiTarget::scsiExecCmd failed for QOR cmd OperationTwin, errno 21 ",
          "SCSI0000D QORScsiTarget::scsiExecCmd failed for QOR cmd, SK/ASC/ASCQ 04h-44h-01h",
          "SCSI0000E QORScsiTarget::scsiExecCmd, TIMEOUT on cmd OperationTwin, difftime 31.00 (sec)",
          "SCSI0000D QORScsiTarget::scsiExecCmd failed for QOR cmd OperationTwin, errno 21 ",
          "SCSI0000D QORScsiTarget::scsiExecCmd, request sense failed for QOR cmd OperationTwin, errno 21 ",
          "SCSI0000E QORScsiTarget::scsiExecCDB, TIMEOUT on cmd 00h, difftime 31 (sec), cmd timeout 30",
          "SCSI0000D QORScsiTarget::scsiExecCDB failed for cmd 00h, errno: 0 ",
          "SCSI0000D QORScsiTarget::scsiExecCDB used generic RequestSense for cmd 00h",
          "SCSI0000D patched errno to EIO",
          "SCSI0000E QORScsiTarget::scsiExecCDB, Could not create QORCommand for cmd 00h",
          "SCSI0000D QORScsiTarget::scsiExecCDB, Used generic pass-through, cmd 00h",
          "SCSI0000D QORScsiTarget::scsiExecCDB failed for cmd 00h, errno: 31 ",
          "SCSI0000E QORScsiTarget::scsiExecCDB generic RequestSense failed for cmd 00h, errno: 21 "));
}

}  // namespace
