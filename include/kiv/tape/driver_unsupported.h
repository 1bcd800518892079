#pragma once

#include "kiv/scsi/driver_command.h"

// Driver twins for which the driver has no request. Each answers CMD_NOT_SUPPORTED without any call, the
// operation that it inherits; the target then sends the CDB.
//
// Some have no command that makes them: they stand for operations of the driver itself, on its paths, its
// records or its own diagnostics, for which there is no CDB. The command of QORTapeCmdSetCapacity makes none
// either: its CDB is sent at once.

// clang-format off
struct KIV_API QORTapeCmdBSFM : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdChannelCalibration : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdCheckDevicePaths : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdCreateFmrTape : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdDisablePath : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdDisplayMessage : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdEnablePath : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdFSFM : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdForceDump : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdGetMediaInfo : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdGetRecordSize : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdKill : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdLogSelect : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdModeSelect6 : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdPersistentReserveIn : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdPersistentReserveOut : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdPostA : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdPostB : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdPostC : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdPostD : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdPreventAllowMediumRemoval : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdReadAttribute : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdReadBlockLimits : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdReadThermalSensor : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdReleaseUnit6 : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdReportDensitySupport : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdReportDynamicRuntimeInformation : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdReportTimeStamp : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdReserveUnit6 : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdResetDevice : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdResetPath : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdSCSIDiagnosticResetDrive : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdSecurityProtocolIn : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdSecurityProtocolOut : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdSetBlock : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdSetCapacity : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdSetRecordSize : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdTestEncryption : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdUnLoad : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
struct KIV_API QORTapeCmdWriteAttribute : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
// clang-format on

/// So does this one; it knows which form of position its command asks for.
class KIV_API QORTapeCmdReadPosition : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  QORTapeCmdReadPosition(GenericScsiCommand* generic, bool physical)
      : QORScsiCommand(generic), blockFormatPhysical(physical) {}
  bool isBlockFormatPhysical() const { return blockFormatPhysical; }

 private:
  bool blockFormatPhysical = false;
};
