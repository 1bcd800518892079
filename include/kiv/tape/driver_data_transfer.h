#pragma once

#include "kiv/scsi/driver_command.h"

/// @file
/// Driver twins that read, write and verify. CMD_OK, or CMD_ERROR when the call fails.

/// Reads one block, or as many as the data buffer holds in fixed block mode, through the operating system.
class KIV_API QORTapeCmdRead6 : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  /// With SILI, a block longer than the data buffer is no error: what fits is read. Behind a shorter one the
  /// data buffer is filled with zeros.
  ReturnCode doOperation(void* deviceHandle) override;
  /// The SILI bit of the CDB.
  bool isSILIModeEnabled() const;
  /// Whether the last operation ran into the end of the medium.
  bool isEOMreached() const { return eomReached; }

 private:
  bool eomReached = false;
};

/// Writes the data buffer through the operating system.
class KIV_API QORTapeCmdWrite6 : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  /// CMD_ERROR also when not everything was written.
  ReturnCode doOperation(void* deviceHandle) override;
  /// SILI belongs to reading: false for a WRITE(6).
  bool isSILIModeEnabled() const;
  /// Whether the last operation ran into the end of the medium; early warning counts.
  bool isEOMreached() const { return eomReached; }

 private:
  bool eomReached = false;
};

// clang-format off
/// Writes filemarks through the operating system.
struct KIV_API QORTapeCmdWriteFileMarks : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Verifies with the driver's request. CMD_NOT_SUPPORTED for flags that the driver cannot combine: by
/// filemarks with byte compare, and to the end with a length.
struct KIV_API QORTapeCmdVerify : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
// clang-format on
