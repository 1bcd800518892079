#pragma once

#include "kiv/scsi/driver_command.h"

/// @file
/// Driver twins that move the tape. CMD_OK, or CMD_ERROR when the call fails.

// clang-format off
/// Rewinds through the operating system.
struct KIV_API QORTapeCmdRewind : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Locates a block of the present partition through the operating system.
struct KIV_API QORTapeCmdLocate : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Changes to a partition and locates a block in it with the driver's set-partition request, which waits
/// whatever the immediate bit says.
struct KIV_API QORTapeCmdLocate16 : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Spaces over blocks, over filemarks or to the end of data through the operating system; CMD_NOT_SUPPORTED
/// for any other code.
struct KIV_API QORTapeCmdSpace : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
// clang-format on
