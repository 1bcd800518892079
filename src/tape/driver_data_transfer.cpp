#include "kiv/tape/driver_data_transfer.h"

#include <algorithm>

#include "platform/device_control.h"
#include "scsi/fields.h"
#include "tape/driver_call.h"
#include "tape/tape_driver_requests.h"

ReturnCode QORTapeCmdRead6::doOperation(void* deviceHandle) {
  DWORD read = 0;
  eomReached = false;
  const BOOL done = ReadFile(deviceHandle, ioData, ioDataLength, &read, nullptr);
  const DWORD error = done ? NO_ERROR : GetLastError();
  std::ranges::fill(ioDataSpan().subspan(std::min<std::size_t>(read, ioDataLength)), std::uint8_t{0});
  if (done) return CMD_OK;
  eomReached = error == ERROR_END_OF_MEDIA;
  return error == ERROR_MORE_DATA && isSILIModeEnabled() ? CMD_OK : CMD_ERROR;
}
bool QORTapeCmdRead6::isSILIModeEnabled() const { return hasFlag(cdbSpan(), 1, 0x02); }

ReturnCode QORTapeCmdWrite6::doOperation(void* deviceHandle) {
  DWORD written = 0;
  eomReached = false;
  if (WriteFile(deviceHandle, ioData, ioDataLength, &written, nullptr))
    return written == ioDataLength ? CMD_OK : CMD_ERROR;
  eomReached = GetLastError() == ERROR_END_OF_MEDIA;
  return CMD_ERROR;
}
bool QORTapeCmdWrite6::isSILIModeEnabled() const { return hasFlag(cdbSpan(), 1, 0x02); }

ReturnCode QORTapeCmdWriteFileMarks::doOperation(void* deviceHandle) {
  return tapeResult(
      WriteTapemark(deviceHandle, TAPE_FILEMARKS, readBe24(cdbSpan(), 2), hasFlag(cdbSpan(), 1, 0x01)));
}

ReturnCode QORTapeCmdVerify::doOperation(void* deviceHandle) {
  driver::VerifyBlock request{};
  request.fixed = hasFlag(cdbSpan(), 1, 0x01);
  request.byteCompare = hasFlag(cdbSpan(), 1, 0x02);
  request.immediate = hasFlag(cdbSpan(), 1, 0x04);
  request.byFilemarks = hasFlag(cdbSpan(), 1, 0x08);
  request.logicalBlockProtection = hasFlag(cdbSpan(), 1, 0x10);
  request.toEnd = hasFlag(cdbSpan(), 1, 0x20);
  request.length = readBe24(cdbSpan(), 2);
  if (request.byFilemarks && request.byteCompare) return CMD_NOT_SUPPORTED;
  if (request.toEnd && request.length != 0) return CMD_NOT_SUPPORTED;
  return tellDevice(deviceHandle, driver::IOCTL_TAPE_VERIFY, request) ? CMD_OK : CMD_ERROR;
}
