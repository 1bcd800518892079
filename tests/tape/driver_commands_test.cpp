#include "kiv/tape/data_transfer.h"
#include "kiv/tape/diagnostics.h"
#include "kiv/tape/driver_data_transfer.h"
#include "kiv/tape/driver_information.h"
#include "kiv/tape/driver_medium.h"
#include "kiv/tape/driver_partitions.h"
#include "kiv/tape/driver_positioning.h"
#include "kiv/tape/driver_security.h"
#include "kiv/tape/driver_unsupported.h"
#include "kiv/tape/medium.h"
#include "kiv/tape/positioning.h"
#include "kiv/tape/security.h"
#include "platform/win32.h"
#include "tests/support/twin_test.h"

namespace {

/// A drive behind the maker's driver, opened by name.
class TapeTwins : public TwinTest {
 protected:
  /// Records a command, what it does to the tape, and what becomes of it when its call fails.
  void onTape(const std::string& what, GenericScsiCommand& command) {
    run(what, command);
    TELL(drive.objectNumber(), objects().size());
    for (const char* call : {"SetTapePosition", "WriteTapemark", "EraseTape", "PrepareTape", "ReadFile",
                             "WriteFile", "DeviceIoControl"})
      room.addFault({.call = call, .error = ERROR_GEN_FAILURE});
    run("failing", command);
    EXPECT_EQ(lastError, DWORD{ERROR_GEN_FAILURE});
    room.faults().clear();
  }
  std::vector<simulator::TapeObject>& objects() { return drive.medium()->partitions()[0].objects; }
  /// Rewinds and reads a block into a buffer of this length.
  void read(ulong32 length, bool sili) {
    RUN(TapeCmdRewind(false));
    TapeCmdRead6 command(length, 0, sili, false);
    std::ranges::fill(command.ioDataSpan(), std::uint8_t{0xEE});
    run("READ " + std::to_string(length) + (sili ? " SILI" : ""), command);
  }

  simulator::VirtualDrive& drive = openDrive({.model = "ULTRIUM-PX6"}, true);
};

#define ON_TAPE(construction) \
  do {                        \
    auto c = construction;    \
    onTape(#construction, c); \
  } while (false)

TEST_F(TapeTwins, CallTheTapeInterface) {
  // Four blocks, of which the second is a filemark.
  objects() = {{.data = {1}}, {.filemark = true}, {.data = {2}}, {.data = {3}}};
  ON_TAPE(TapeCmdLocate(false, 4));
  ON_TAPE(TapeCmdRewind(true));
  ON_TAPE(TapeCmdLocate(true, 3));
  ON_TAPE(TapeCmdSpace(0, -1));
  ON_TAPE(TapeCmdSpace(1, -1));
  ON_TAPE(TapeCmdRewind(false));
  ON_TAPE(TapeCmdSpace(1, 1));
  ON_TAPE(TapeCmdSpace(3, -77));
  ON_TAPE(TapeCmdWriteFileMarks(true, 2));
  ON_TAPE(TapeCmdWriteFileMarks(false, 0));
  ON_TAPE(TapeCmdLocate(false, 5));
  ON_TAPE(TapeCmdErase(true, true));
  ON_TAPE(TapeCmdErase(false, false));
  ON_TAPE(TapeCmdWrite6(5, 0, false));
  ON_TAPE(TapeCmdLocate(false, 0));
  ON_TAPE(TapeCmdRead6(9, 0, true, false));
  ON_TAPE(TapeCmdLoad(true));  // waits, whatever was asked
  ON_TAPE(TapeCmdLocate16(true, 2, 0));
  ON_TAPE(TapeCmdVerify(false, false, false, false, false, true, 0));
  ON_TAPE(TapeCmdFormat(0, true));
}

TEST_F(TapeTwins, MoveData) {
  RUN(TapeCmdWrite6(4, 0, false), std::copy_n("DATA", 4, c.getIoData()));
  TELL(objects().at(0).data);
  // Behind a shorter block there are zeros; of a longer one the rest is lost, which SILI forgives.
  read(6, false);
  read(3, true);
  read(3, false);
  objects() = {{.filemark = true}};
  read(3, true);

  // End of data is not the end of the medium.
  TapeCmdRead6 siliRead(4, 0, true, false), plainRead(4, 0, false, false);
  QORTapeCmdRead6 reading(&siliRead), plain(&plainRead);
  run("behind the end of data", reading);
  TELL(reading.isSILIModeEnabled(), plain.isSILIModeEnabled(), reading.isEOMreached());
  room.addFault({.call = "ReadFile", .error = ERROR_END_OF_MEDIA});
  run("at the end of the medium", reading);
  TELL(reading.isEOMreached());

  // Early warning ends a write that took place; a driver may also stop short.
  drive.medium()->format({100});
  RUN(TapeCmdRewind(false));
  TapeCmdWrite6 big(96, 0, false);
  QORTapeCmdWrite6 writing(&big);
  run("early warning", writing);
  TELL(writing.isSILIModeEnabled(), writing.isEOMreached(), objects().size());
  drive.medium()->format({1000});
  RUN(TapeCmdRewind(false));
  room.addFault({.call = "WriteFile", .transfer = 2});
  run("stopped short", writing);
  TELL(writing.isEOMreached());
  run("whole", writing);
  RUN(TapeCmdRewind(false));
  siliRead.setIoDataLength(96);
  QORTapeCmdRead6 whole(&siliRead);
  run("read back", whole);
  TELL(writing.isEOMreached(), whole.isEOMreached());
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
      driver.getDeviceHandle());
  EXPECT_THAT(answers, testing::Each(CMD_NOT_SUPPORTED));
  EXPECT_THAT(calls(), testing::IsEmpty());
  RUN(TapeCmdSpace(2, 1));  // sequential filemarks, setmarks, nothing
  RUN(TapeCmdSpace(4, 1));
  RUN(TapeCmdSpace(7, 1));
  RUN(TapeCmdVerify(false, true, false, true, false, false, 1));
  RUN(TapeCmdVerify(false, false, false, false, false, true, 1));
}

TEST_F(TapeTwins, ExchangeInformation) {
  QORTapeCmdSetLogicalBlockProtection protect;
  protect.setLbpMethod(2), protect.setLbpInfoLength(4), protect.setLbpWrite(true), protect.setLbpRBDP(true);
  run("protect", protect);
  // By driver and by CDB the same page.
  TapeCmdQueryLogicalBlockProtection byDriver, byCdb;
  run("query", byDriver);
  EXPECT_EQ(driver.ScsiTarget::scsiExecCDB(byCdb), CMD_OK);
  for (auto* query : {&byDriver, &byCdb}) {
    TELL(query->getLbpCapable(), query->getLbpMethod(), query->getLbpInfoLength(), query->getLbpWrite());
    TELL(query->getLbpRead(), query->getLbpRBDP(), query->ioDataSpan());
  }
  objects() = {{.data = Bytes(2 << 20)}};
  drive.medium()->options().writeProtected = true;
  QORTapeCmdGetDeviceInformation information;
  QORTapeCmdQueryDevicePaths paths;
  // What was told before a failure is forgotten.
  for (const bool absent : {false, true}) {
    TELL(absent);
    if (absent) drive.remove(), drive.options().driver->refuses = {0x84CAC01C};
    information.setSenseDataLength(32);
    TELL(driver.scsiExecCmd(information), information.getAdditionalFailureCode(), information.getASC());
    const auto& info = information.getDeviceInformation();
    TELL(info.capacity, info.remaining, info.blockSize, info.partitionCount, info.writeProtected);
    TELL(driver.scsiExecCmd(paths), paths.getDevicePathDataSize());
    for (const int index : {-1, 0, 1}) TELL(index, paths.getDevicePathData(index) == nullptr);
  }
}

/// Drivers whose answers a test lays down.
class TapeTwinsByScript : public TwinTest {};

TEST_F(TapeTwinsByScript, HandOverTheirFields) {
  for (const DWORD code : {0x001FE09Cu, 0x001F60A8u, 0x001FE0C8u, 0x84CAC030u, 0x001FE098u})
    script.answers(code, {});
  RUN(TapeCmdLocate16(false, 0xFF02030405060708, 9));
  for (unsigned bit = 1; bit <= 0x20; bit *= 2)
    RUN(TapeCmdVerify(false, false, false, false, false, false, bit == 0x20 ? 0 : 0x020304),
        c.getCdb()[1] = static_cast<std::uint8_t>(bit));
  RUN(TapeCmdVerify(false, false, false, true, false, false, 2));
  RUN(QORTapeCmdSetLogicalBlockProtection(), c.setLbpMethod(1), c.setLbpInfoLength(6), c.setLbpRead(true));
  RUN(QORTapeCmdDataEncryptionDiag(), c.setType(0x0102000F));
  RUN(TapeCmdFormat(3, true));
  PartitionRecord layout;
  layout.addPartitionsDefined = layout.dataPartitionType = 1, layout.partitionType = 2;
  layout.partitionUnits = 9, layout.sizes = {7, 0xFFFF, 8};
  RUN(QORTapeCmdCreatePartition(layout));
  RUN(QORTapeCmdChangePartition(3, 0x0102030405060708));
}

TEST_F(TapeTwinsByScript, DoubtTheAnswers) {
  QORTapeCmdGetEncryptionStatus encryption;
  QORTapeCmdDataEncryptionDiag diagnose;
  for (const char* answer : {"02 00 00 00 03 00 00 00 05 01 00 00", "01 00 00 00 03 00 00 00 05", ""}) {
    script.answers(0x001F6080, bytes(answer));
    script.answers(0x84CAC030, bytes(answer));
    run("encryption", encryption);
    TELL(encryption.isEncryptionCapable(), encryption.getEncryptionMethod(),
         encryption.getEncryptionStatus());
    run("diagnose", diagnose);
    TELL(diagnose.getCompletionCode(), diagnose.getErrno());
  }
  script.refuses(0x001F6080, ERROR_INVALID_FUNCTION);
  run("refused", encryption);

  TapeCmdQueryLogicalBlockProtection query;
  for (const char* answer : {"00 02 04 00 01 00 00 00", "01 02 04 01 00 01 00 00", "01 02 04"}) {
    script.answers(0x001FE0C4, bytes(answer));
    run(answer, query);
    query.setIoDataLength(9);
    run("nine bytes", query);
    TELL(query.getLbpMethod());
  }

  // As many paths as were told, as arrived, and as there is room for.
  const std::string path = " 01 02 03 04 01 00 01 00", other = " 05 06 07 08 00 01 00 00";
  QORTapeCmdQueryDevicePaths paths;
  std::string many = "FF FF FF FF 00 00 00 00";
  for (int i = 0; i < 32; ++i) many += path;
  for (const DWORD code : {0x84C9C01Cu, 0x84CAC01Cu}) {  // the changer driver's; then the tape driver's too
    for (const std::string& answer : {"02 00 00 00 00 00 00 00" + path + other + path,
                                      "03 00 00 00 00 00 00 00" + path + other + " 01 02", many,
                                      std::string("03 00 00 00 00"), std::string()}) {
      script.answers(code, bytes(answer));
      run(answer.substr(0, 80), paths);
      TELL(paths.getDevicePathDataSize());
      for (int i = 0; i < std::min(paths.getDevicePathDataSize(), 2); ++i) {
        const DevicePathData& p = *paths.getDevicePathData(i);
        TELL(p.hostAdapter, p.bus, p.target, p.lun, p.primary, p.enabled, p.failed);
      }
    }
  }
}

}  // namespace
