#pragma once

#include "kiv/scsi/driver_command.h"

/// @file
/// Driver twins for the cartridge as a whole. CMD_OK, or CMD_ERROR when the call fails.

// clang-format off
/// Loads through the operating system and waits for it, whatever the immediate bit says.
struct KIV_API QORTapeCmdLoad : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Erases through the operating system.
struct KIV_API QORTapeCmdErase : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Formats with the driver's create-partition request, which leaves the partition layout to the drive.
struct KIV_API QORTapeCmdFormat : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
// clang-format on
