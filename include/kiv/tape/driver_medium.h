#pragma once

#include "kiv/scsi/driver_command.h"

// Driver twins for the cartridge as a whole. CMD_OK, or CMD_ERROR when the call fails.

/// Loads through the operating system and waits for it, whatever the immediate bit says.
class KIV_API QORTapeCmdLoad : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
};

/// Erases through the operating system.
class KIV_API QORTapeCmdErase : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
};

/// Formats with the driver's create-partition request, which leaves the partition layout to the drive.
class KIV_API QORTapeCmdFormat : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
};
