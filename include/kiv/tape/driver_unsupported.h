#pragma once

#include "kiv/scsi/driver_command.h"

/// @file
/// Driver twins for which the driver has no request. Each answers CMD_NOT_SUPPORTED without any call, the
/// operation that it inherits; the target then sends the CDB.
///
/// Some have no command that makes them: they stand for operations of the driver itself, on its paths, its
/// records or its own diagnostics, for which there is no CDB. The command of QORTapeCmdSetCapacity makes none
/// either: its CDB is sent at once.

// clang-format off
/// Spaces back over filemarks and stops in front of the last.
struct KIV_API QORTapeCmdBSFM : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdChannelCalibration.
struct KIV_API QORTapeCmdChannelCalibration : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Checks the paths to the drive.
struct KIV_API QORTapeCmdCheckDevicePaths : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Writes a firmware cartridge.
struct KIV_API QORTapeCmdCreateFmrTape : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Takes a path out of use.
struct KIV_API QORTapeCmdDisablePath : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdDisplayMessage.
struct KIV_API QORTapeCmdDisplayMessage : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Puts a path into use.
struct KIV_API QORTapeCmdEnablePath : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Spaces over filemarks and stops behind the last.
struct KIV_API QORTapeCmdFSFM : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdForceDump.
struct KIV_API QORTapeCmdForceDump : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Tells about the cartridge.
struct KIV_API QORTapeCmdGetMediaInfo : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Tells the record size.
struct KIV_API QORTapeCmdGetRecordSize : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Ends what the driver is doing.
struct KIV_API QORTapeCmdKill : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdLogSelect.
struct KIV_API QORTapeCmdLogSelect : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdModeSelect6.
struct KIV_API QORTapeCmdModeSelect6 : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdPersistentReserveIn.
struct KIV_API QORTapeCmdPersistentReserveIn : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdPersistentReserveOut.
struct KIV_API QORTapeCmdPersistentReserveOut : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdPostA.
struct KIV_API QORTapeCmdPostA : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdPostB.
struct KIV_API QORTapeCmdPostB : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdPostC.
struct KIV_API QORTapeCmdPostC : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdPostD.
struct KIV_API QORTapeCmdPostD : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdPreventAllowMediumRemoval.
struct KIV_API QORTapeCmdPreventAllowMediumRemoval : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdReadAttribute.
struct KIV_API QORTapeCmdReadAttribute : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdReadBlockLimits.
struct KIV_API QORTapeCmdReadBlockLimits : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdReadThermalSensor.
struct KIV_API QORTapeCmdReadThermalSensor : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdReleaseUnit6.
struct KIV_API QORTapeCmdReleaseUnit6 : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdReportDensitySupport.
struct KIV_API QORTapeCmdReportDensitySupport : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdReportDynamicRuntimeInformation.
struct KIV_API QORTapeCmdReportDynamicRuntimeInformation : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdReportTimeStamp.
struct KIV_API QORTapeCmdReportTimeStamp : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdReserveUnit6.
struct KIV_API QORTapeCmdReserveUnit6 : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdResetDevice.
struct KIV_API QORTapeCmdResetDevice : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Resets a path.
struct KIV_API QORTapeCmdResetPath : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Resets the drive by a diagnostic.
struct KIV_API QORTapeCmdSCSIDiagnosticResetDrive : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdSecurityProtocolIn.
struct KIV_API QORTapeCmdSecurityProtocolIn : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdSecurityProtocolOut.
struct KIV_API QORTapeCmdSecurityProtocolOut : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Sets the block length.
struct KIV_API QORTapeCmdSetBlock : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdSetCapacity.
struct KIV_API QORTapeCmdSetCapacity : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Sets the record size.
struct KIV_API QORTapeCmdSetRecordSize : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdTestEncryption.
struct KIV_API QORTapeCmdTestEncryption : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdUnLoad.
struct KIV_API QORTapeCmdUnLoad : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of TapeCmdWriteAttribute.
struct KIV_API QORTapeCmdWriteAttribute : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
// clang-format on

/// So does this one; it knows which form of position its command asks for.
class KIV_API QORTapeCmdReadPosition : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ///@{
  /// Whether block numbers are physical ones.
  QORTapeCmdReadPosition(GenericScsiCommand* generic, bool physical)
      : QORScsiCommand(generic), blockFormatPhysical(physical) {}
  bool isBlockFormatPhysical() const { return blockFormatPhysical; }
  ///@}

 private:
  bool blockFormatPhysical = false;
};
