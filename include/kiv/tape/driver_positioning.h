#pragma once

#include "kiv/scsi/driver_command.h"

// Driver twins that move the tape. CMD_OK, or CMD_ERROR when the call fails.

/// Rewinds through the operating system.
class KIV_API QORTapeCmdRewind : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
};

/// Locates a block of the present partition through the operating system.
class KIV_API QORTapeCmdLocate : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
};

/// Changes to a partition and locates a block in it with the driver's set-partition request, which waits
/// whatever the immediate bit says.
class KIV_API QORTapeCmdLocate16 : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
};

/// Spaces over blocks, over filemarks or to the end of data through the operating system; CMD_NOT_SUPPORTED
/// for any other code.
class KIV_API QORTapeCmdSpace : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
};
