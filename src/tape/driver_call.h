// How the driver twins call the operating system's tape functions.
#pragma once

#include "kiv/scsi/command.h"
#include "platform/win32.h"

/// The result of a tape function. They return their error number, which the target looks for in the last
/// error.
inline ReturnCode tapeResult(DWORD error) {
  if (error == NO_ERROR) return CMD_OK;
  SetLastError(error);
  return CMD_ERROR;
}
