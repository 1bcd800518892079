#include <gmock/gmock.h>

#include <memory>

#include "kiv/device/driver_target.h"
#include "kiv/tape/data_transfer.h"
#include "kiv/tape/diagnostics.h"
#include "kiv/tape/driver_data_transfer.h"
#include "kiv/tape/driver_information.h"
#include "kiv/tape/driver_medium.h"
#include "kiv/tape/driver_positioning.h"
#include "kiv/tape/driver_security.h"
#include "kiv/tape/driver_unsupported.h"
#include "kiv/tape/medium.h"
#include "kiv/tape/positioning.h"
#include "kiv/tape/security.h"
#include "platform/win32.h"
#include "simulator/room/room.h"
#include "tests/support/hex.h"
#include "tests/support/scripted_driver.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::unique_ptr<QORScsiCommand> twinOf(GenericScsiCommand& command) {
  return std::unique_ptr<QORScsiCommand>(command.createQORCommand());
}

/// A drive behind the maker's driver, opened by name.
class TapeTwins : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(target.openDevice("\\\\.\\Tape0", OPEN_READ_WRITE), CMD_OK);
    room.journal().clear();
  }
  void TearDown() override {
    target.closeDevice();
    EXPECT_EQ(room.openHandles(), 0u);
  }

  void* handle() { return target.getDeviceHandle(); }
  /// What the twin of a command answers.
  ReturnCode run(GenericScsiCommand& command) { return twinOf(command)->doOperation(handle()); }
  /// The calls since the last look, without the name of the device.
  std::vector<std::string> calls() {
    std::vector<std::string> lines;
    for (std::string line : room.journal().lines()) {
      const std::string name = "\\\\.\\Tape0 ";
      if (const auto at = line.find(name); at != std::string::npos) line.erase(at, name.size());
      lines.push_back(line);
    }
    room.journal().clear();
    return lines;
  }

  simulator::Room room;
  simulator::VirtualDrive& drive = room.addDrive(
      {.target = 5, .model = "ULTRIUM-PX6", .claimed = true, .driver = simulator::DriverOptions{}},
      {.cartridge = true});
  QORScsiTarget target;
};

TEST_F(TapeTwins, CallTheTapeInterface) {
  // Four blocks, of which the second is a filemark.
  auto& objects = drive.medium()->partitions()[0].objects;
  objects = {{.data = {1}}, {.filemark = true}, {.data = {2}}, {.data = {3}}};
  using Locate = TapeCmdLocate;
  using Space = TapeCmdSpace;
  struct Row {
    std::shared_ptr<GenericScsiCommand> command;
    const char* call;
    std::size_t at, objects;  // where the tape stands afterwards, what it holds
  };
  const auto made = [](GenericScsiCommand* command) { return std::shared_ptr<GenericScsiCommand>(command); };
  const Row rows[] = {
      {made(new Locate(false, 4)), "SetTapePosition 1 0 4 0", 4, 4},
      {made(new TapeCmdRewind(true)), "SetTapePosition 0 0 0 1", 0, 4},
      {made(new Locate(true, 3)), "SetTapePosition 1 0 3 1", 3, 4},
      {made(new Space(0, -1)), "SetTapePosition 5 0 -1 0", 2, 4},
      {made(new Space(1, -1)), "SetTapePosition 6 0 -1 0", 1, 4},
      {made(new TapeCmdRewind(false)), "SetTapePosition 0 0 0 0", 0, 4},
      {made(new Space(1, 1)), "SetTapePosition 6 0 1 0", 2, 4},
      {made(new Space(3, -77)), "SetTapePosition 4 0 0 0", 4, 4},
      {made(new TapeCmdWriteFileMarks(true, 2)), "WriteTapemark 1 2 1", 6, 6},
      {made(new TapeCmdWriteFileMarks(false, 0)), "WriteTapemark 1 0 0", 6, 6},
      {made(new Locate(false, 5)), "SetTapePosition 1 0 5 0", 5, 6},
      {made(new TapeCmdErase(true, true)), "EraseTape 1 1", 5, 5},
      {made(new TapeCmdErase(false, false)), "EraseTape 0 0", 5, 5},
      {made(new TapeCmdWrite6(5, 0, false)), "WriteFile 5", 6, 6},
      {made(new Locate(false, 0)), "SetTapePosition 1 0 0 0", 0, 6},
      {made(new TapeCmdRead6(9, 0, true, false)), "ReadFile 9", 1, 6},
      {made(new TapeCmdLoad(true)), "PrepareTape 0 0", 1, 6},  // waits, whatever was asked
      {made(new TapeCmdLocate16(true, 2, 0)), "DeviceIoControl 0x001FE09C", 2, 6},
      {made(new TapeCmdVerify(false, false, false, false, false, true, 0)), "DeviceIoControl 0x001F60A8", 6,
       6},
      {made(new TapeCmdFormat(0, true)), "DeviceIoControl 0x001FE098", 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.call);
    EXPECT_EQ(run(*row.command), CMD_OK);
    EXPECT_THAT(calls(), ElementsAre(row.call));
    EXPECT_EQ(drive.objectNumber(), row.at);
    EXPECT_EQ(drive.medium()->partitions()[0].objects.size(), row.objects);
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(row.call);
    std::string call = row.call;
    call = call.substr(0, call.find(' '));
    room.addFault({.call = call, .error = ERROR_GEN_FAILURE});
    EXPECT_EQ(run(*row.command), CMD_ERROR);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
    EXPECT_THAT(calls(), ElementsAre(row.call + std::string(" -> error 31")));
    room.faults().clear();
  }
}

TEST_F(TapeTwins, MoveData) {
  TapeCmdWrite6 write(4, 0, false);
  std::copy_n("DATA", 4, write.getIoData());
  EXPECT_EQ(run(write), CMD_OK);
  EXPECT_EQ(hex(drive.medium()->partitions()[0].objects.at(0).data), "44 41 54 41");

  // Behind a shorter block there are zeros; of a longer one the rest is lost, which SILI forgives.
  TapeCmdRewind rewind(false);
  const auto read = [&](ulong32 length, bool sili) {
    EXPECT_EQ(run(rewind), CMD_OK);
    TapeCmdRead6 command(length, 0, sili, false);
    std::fill_n(command.getIoData(), length, std::uint8_t{0xEE});
    const ReturnCode result = run(command);
    return std::to_string(result) + ": " + hex(command.ioDataSpan());
  };
  EXPECT_EQ(read(6, false), "0: 44 41 54 41 00 00");
  EXPECT_EQ(read(3, true), "0: 44 41 54");
  EXPECT_EQ(read(3, false), "2: 44 41 54");
  drive.medium()->partitions()[0].objects = {{.filemark = true}};
  EXPECT_EQ(read(3, true), "2: 00 00 00");

  TapeCmdRead6 siliRead(4, 0, true, false), plainRead(4, 0, false, false);
  QORTapeCmdRead6 reading(&siliRead), plain(&plainRead);
  EXPECT_TRUE(reading.isSILIModeEnabled());
  EXPECT_FALSE(plain.isSILIModeEnabled());
  EXPECT_EQ(reading.doOperation(handle()), CMD_ERROR);
  EXPECT_FALSE(reading.isEOMreached()) << "end of data, not of the medium";

  // Early warning ends a write that took place; a driver may also stop short.
  drive.medium()->format({100});
  EXPECT_EQ(run(rewind), CMD_OK);
  TapeCmdWrite6 big(96, 0, false);
  QORTapeCmdWrite6 writing(&big);
  EXPECT_FALSE(writing.isSILIModeEnabled());
  EXPECT_EQ(writing.doOperation(handle()), CMD_ERROR);
  EXPECT_TRUE(writing.isEOMreached());
  EXPECT_EQ(drive.medium()->partitions()[0].objects.size(), 1u);
  room.addFault({.call = "WriteFile", .transfer = 2});
  drive.medium()->format({1000});
  EXPECT_EQ(run(rewind), CMD_OK);
  EXPECT_EQ(writing.doOperation(handle()), CMD_ERROR);
  EXPECT_FALSE(writing.isEOMreached());
  EXPECT_EQ(writing.doOperation(handle()), CMD_OK);
  room.addFault({.call = "ReadFile", .error = ERROR_END_OF_MEDIA});
  EXPECT_EQ(reading.doOperation(handle()), CMD_ERROR);
  EXPECT_TRUE(reading.isEOMreached());
}

template <typename... Twins>
std::vector<ReturnCode> answersOf(void* handle) {
  return {Twins().doOperation(handle)...};
}

TEST_F(TapeTwins, RefuseWithoutACall) {
  const auto answers = answersOf<
      QORTapeCmdBSFM, QORTapeCmdChannelCalibration, QORTapeCmdCheckDevicePaths, QORTapeCmdCreateFmrTape,
      QORTapeCmdDisablePath, QORTapeCmdDisplayMessage, QORTapeCmdEnablePath, QORTapeCmdFSFM,
      QORTapeCmdForceDump, QORTapeCmdGetMediaInfo, QORTapeCmdGetRecordSize, QORTapeCmdKill,
      QORTapeCmdLogSelect, QORTapeCmdModeSelect6, QORTapeCmdPersistentReserveIn,
      QORTapeCmdPersistentReserveOut, QORTapeCmdPostA, QORTapeCmdPostB, QORTapeCmdPostC, QORTapeCmdPostD,
      QORTapeCmdPreventAllowMediumRemoval, QORTapeCmdReadAttribute, QORTapeCmdReadBlockLimits,
      QORTapeCmdReadPosition, QORTapeCmdReadThermalSensor, QORTapeCmdReleaseUnit6,
      QORTapeCmdReportDensitySupport, QORTapeCmdReportDynamicRuntimeInformation, QORTapeCmdReportTimeStamp,
      QORTapeCmdReserveUnit6, QORTapeCmdResetDevice, QORTapeCmdResetPath, QORTapeCmdSCSIDiagnosticResetDrive,
      QORTapeCmdSecurityProtocolIn, QORTapeCmdSecurityProtocolOut, QORTapeCmdSetBlock, QORTapeCmdSetCapacity,
      QORTapeCmdSetRecordSize, QORTapeCmdTestEncryption, QORTapeCmdUnLoad, QORTapeCmdWriteAttribute>(
      handle());
  EXPECT_THAT(answers, testing::Each(CMD_NOT_SUPPORTED));

  TapeCmdSpace sequential(2, 1), setmarks(4, 1), none(7, 1);
  TapeCmdVerify marksCompared(false, true, false, true, false, false, 1);
  TapeCmdVerify endWithLength(false, false, false, false, false, true, 1);
  for (GenericScsiCommand* command : std::initializer_list<GenericScsiCommand*>{
           &sequential, &setmarks, &none, &marksCompared, &endWithLength})
    EXPECT_EQ(run(*command), CMD_NOT_SUPPORTED) << hex(command->cdbSpan());
  EXPECT_THAT(room.journal().lines(), IsEmpty());
}

TEST_F(TapeTwins, ExchangeInformation) {
  QORTapeCmdSetLogicalBlockProtection protect;
  protect.setLbpMethod(2);
  protect.setLbpInfoLength(4);
  protect.setLbpWrite(true);
  protect.setLbpRBDP(true);
  EXPECT_EQ(target.scsiExecCmd(protect), CMD_OK);
  // By driver and by CDB the same page.
  TapeCmdQueryLogicalBlockProtection byDriver, byCdb;
  EXPECT_EQ(target.scsiExecCDB(byDriver), CMD_OK);
  EXPECT_EQ(target.ScsiTarget::scsiExecCDB(byCdb), CMD_OK);
  for (auto* query : {&byDriver, &byCdb}) {
    EXPECT_EQ(query->getLbpCapable(), 0x1C);
    EXPECT_EQ(query->getLbpMethod(), 2);
    EXPECT_EQ(query->getLbpInfoLength(), 4);
    EXPECT_TRUE(query->getLbpWrite() && !query->getLbpRead() && query->getLbpRBDP());
  }
  EXPECT_EQ(hex(byDriver.ioDataSpan().subspan(5)), hex(byCdb.ioDataSpan().subspan(5)));
  EXPECT_THAT(calls(), ElementsAre("DeviceIoControl 0x001FE0C8", "DeviceIoControl 0x001FE0C4",
                                   testing::StartsWith("CDB")));

  drive.medium()->partitions()[0].objects = {{.data = simulator::Bytes(2 << 20)}};
  drive.medium()->options().writeProtected = true;
  QORTapeCmdGetDeviceInformation information;
  ASSERT_EQ(target.scsiExecCmd(information), CMD_OK);
  EXPECT_EQ(information.getDeviceInformation().capacity, 2'384'185ull << 20);
  EXPECT_EQ(information.getDeviceInformation().remaining, 2'384'183ull << 20);
  EXPECT_EQ(information.getDeviceInformation().blockSize, 0u);
  EXPECT_EQ(information.getDeviceInformation().partitionCount, 1u);
  EXPECT_TRUE(information.getDeviceInformation().writeProtected);

  QORTapeCmdQueryDevicePaths paths;
  ASSERT_EQ(target.scsiExecCmd(paths), CMD_OK);
  ASSERT_EQ(paths.getDevicePathDataSize(), 1);
  const DevicePathData& path = *paths.getDevicePathData(0);
  EXPECT_EQ(hex(std::array{path.hostAdapter, path.bus, path.target, path.lun}), "00 00 05 00");
  EXPECT_TRUE(path.primary && path.enabled && !path.failed);
  EXPECT_EQ(paths.getDevicePathData(1), nullptr);
  EXPECT_EQ(paths.getDevicePathData(-1), nullptr);
  EXPECT_THAT(calls(), ElementsAre("GetTapeParameters 0", "DeviceIoControl 0x84CAC01C"));

  // What was told before a failure is forgotten.
  drive.remove();
  information.setSenseDataLength(32);
  EXPECT_EQ(target.scsiExecCmd(information), CMD_ERROR);
  EXPECT_EQ(information.getDeviceInformation().capacity, 0u);
  EXPECT_EQ(information.getAdditionalFailureCode(), ulong32{ERROR_NO_MEDIA_IN_DRIVE});
  EXPECT_EQ(information.getASC(), 0x3A);
  drive.options().driver->refuses = {0x84CAC01C};
  EXPECT_EQ(target.scsiExecCmd(paths), CMD_ERROR);
  EXPECT_EQ(paths.getDevicePathDataSize(), 0);
}

/// Drivers whose answers a test lays down.
class TapeTwinsByScript : public testing::Test {
 protected:
  ~TapeTwinsByScript() override { room.closeHandle(handle); }

  simulator::Room room;
  ScriptedDriver driver;
  void* handle = driver.open();
};

TEST_F(TapeTwinsByScript, HandOverTheirFields) {
  struct Row {
    DWORD code;
    std::shared_ptr<ScsiCommand> owner;
    QORScsiCommand* twin;
    const char* block;
  };
  const auto row = [](DWORD code, GenericScsiCommand* generic, const char* block) {
    return Row{code, std::shared_ptr<ScsiCommand>(generic), generic->createQORCommand(), block};
  };
  auto* protect = new QORTapeCmdSetLogicalBlockProtection;
  protect->setLbpMethod(1);
  protect->setLbpInfoLength(6);
  protect->setLbpRead(true);
  auto* diagnose = new QORTapeCmdDataEncryptionDiag;
  diagnose->setType(0x0102000F);
  const Row rows[] = {
      row(0x001FE09C, new TapeCmdLocate16(false, 0xFF02030405060708, 9),
          "09 00 00 00 00 00 00 00 08 07 06 05 04 03 02 00"),
      row(0x001F60A8, new TapeCmdVerify(true, false, true, false, true, false, 0x010203),
          "01 00 01 00 01 00 00 00 03 02 01 00"),
      row(0x001F60A8, new TapeCmdVerify(false, true, false, false, false, true, 0),
          "00 01 00 00 00 01 00 00 00 00 00 00"),
      row(0x001F60A8, new TapeCmdVerify(false, false, false, true, false, false, 2),
          "00 00 00 01 00 00 00 00 02 00 00 00"),
      {0x001FE0C8, nullptr, protect, "00 01 06 00 01 00 00 00"},
      {0x84CAC030, nullptr, diagnose, "0F 00 02 01 00 00 00 00 00 00 00 00"},
  };
  for (const Row& r : rows) {
    const std::unique_ptr<QORScsiCommand> twin(r.twin);
    driver.answers(r.code, {});
    twin->doOperation(handle);
    EXPECT_EQ(hex(driver.input), r.block);
  }
  TapeCmdFormat format(2, true);
  driver.answers(0x001FE098, {});
  EXPECT_EQ(twinOf(format)->doOperation(handle), CMD_OK);
  ASSERT_EQ(driver.input.size(), 144u);
  EXPECT_EQ(hex(std::span(driver.input).first(16)), "FF FF FF FF 00 00 00 00 02 00 00 00 00 00 00 00");
}

TEST_F(TapeTwinsByScript, DoubtTheAnswers) {
  QORTapeCmdGetEncryptionStatus encryption;
  driver.answers(0x001F6080, bytes("02 00 00 00 03 00 00 00 01 01 00 00"));
  EXPECT_EQ(encryption.doOperation(handle), CMD_OK);
  EXPECT_TRUE(encryption.isEncryptionCapable());
  EXPECT_EQ(encryption.getEncryptionMethod(), 3u);
  EXPECT_EQ(encryption.getEncryptionStatus(), 0x101u);
  driver.answers(0x001F6080, bytes("01 00 00 00 03 00 00 00"));
  EXPECT_EQ(encryption.doOperation(handle), CMD_ERROR);
  EXPECT_FALSE(encryption.isEncryptionCapable());
  EXPECT_EQ(encryption.getEncryptionMethod() + encryption.getEncryptionStatus(), 0u);
  driver.refuses(0x001F6080, ERROR_INVALID_FUNCTION);
  EXPECT_EQ(encryption.doOperation(handle), CMD_ERROR);

  QORTapeCmdDataEncryptionDiag diagnose;
  driver.answers(0x84CAC030, bytes("00 00 00 00 07 00 00 00 05 00 00 00"));
  EXPECT_EQ(diagnose.doOperation(handle), CMD_OK);
  EXPECT_EQ(diagnose.getCompletionCode(), 7u);
  EXPECT_EQ(diagnose.getErrno(), 5u);
  driver.answers(0x84CAC030, bytes("00 00 00 00 07 00 00 00 05"));
  EXPECT_EQ(diagnose.doOperation(handle), CMD_ERROR);
  EXPECT_EQ(diagnose.getCompletionCode() + diagnose.getErrno(), 0u);

  TapeCmdQueryLogicalBlockProtection query;
  driver.answers(0x001FE0C4, bytes("00 02 04 00 01 00 00 00"));
  EXPECT_EQ(twinOf(query)->doOperation(handle), CMD_OK);
  EXPECT_EQ(hex(query.ioDataSpan().first(12)), "23 00 00 00 4A F0 00 00 02 04 40 00");
  query.setIoDataLength(9);
  EXPECT_EQ(twinOf(query)->doOperation(handle), CMD_OK);
  EXPECT_EQ(query.getLbpMethod(), 2);
  driver.answers(0x001FE0C4, bytes("01 02 04"));
  EXPECT_EQ(twinOf(query)->doOperation(handle), CMD_ERROR);

  // As many paths as were told, as arrived, and as there is room for.
  const std::string path = " 01 02 03 04 01 00 01 00";
  QORTapeCmdQueryDevicePaths paths;
  std::string many = "FF FF FF FF 00 00 00 00";
  for (int i = 0; i < 32; ++i) many += path;
  struct Row {
    std::string answer;
    int count;
  };
  for (const Row& row : {Row{"02 00 00 00 00 00 00 00" + path + path + path, 2},
                         Row{"03 00 00 00 00 00 00 00" + path + path + " 01 02", 2}, Row{many, 32},
                         Row{"03 00 00 00 00", 0}, Row{"", 0}}) {
    driver.answers(0x84C9C01C, bytes(row.answer));  // the changer driver's; the tape driver's is refused
    EXPECT_EQ(paths.doOperation(handle), CMD_OK);
    EXPECT_EQ(paths.getDevicePathDataSize(), row.count) << row.answer;
  }
  driver.answers(0x84CAC01C, bytes("01 00 00 00 00 00 00 00" + path));
  EXPECT_EQ(paths.doOperation(handle), CMD_OK);
  ASSERT_EQ(paths.getDevicePathDataSize(), 1);
  EXPECT_EQ(paths.getDevicePathData(0)->lun, 4);
  EXPECT_TRUE(paths.getDevicePathData(0)->primary && paths.getDevicePathData(0)->failed);
  EXPECT_FALSE(paths.getDevicePathData(0)->enabled);
}

}  // namespace
