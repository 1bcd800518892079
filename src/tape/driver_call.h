// How the driver twins call the operating system's tape functions and the maker's driver.
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

/// Hands the driver a block.
template <typename Block>
ReturnCode sendToDriver(HANDLE device, DWORD code, Block& block) {
  DWORD returned = 0;
  return DeviceIoControl(device, code, &block, sizeof block, nullptr, 0, &returned, nullptr) ? CMD_OK
                                                                                             : CMD_ERROR;
}

/// Has the driver answer in `block`, which it is handed as it stands. An answer that does not fill the block
/// is an error.
template <typename Block>
ReturnCode askDriver(HANDLE device, DWORD code, Block& block) {
  DWORD returned = 0;
  if (!DeviceIoControl(device, code, &block, sizeof block, &block, sizeof block, &returned, nullptr))
    return CMD_ERROR;
  return returned == sizeof block ? CMD_OK : CMD_ERROR;
}
