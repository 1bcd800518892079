#include "kiv/tape/driver_medium.h"

#include "platform/device_control.h"
#include "scsi/fields.h"
#include "tape/driver_call.h"
#include "tape/tape_driver_requests.h"

ReturnCode QORTapeCmdLoad::doOperation(void* deviceHandle) {
  return tapeResult(PrepareTape(deviceHandle, TAPE_LOAD, FALSE));
}

ReturnCode QORTapeCmdErase::doOperation(void* deviceHandle) {
  const DWORD type = hasFlag(cdbSpan(), 1, 0x01) ? TAPE_ERASE_LONG : TAPE_ERASE_SHORT;
  return tapeResult(EraseTape(deviceHandle, type, hasFlag(cdbSpan(), 1, 0x02)));
}

ReturnCode QORTapeCmdFormat::doOperation(void* deviceHandle) {
  driver::PartitionBlock request{};
  request.method = driver::FORMAT_ONLY;
  request.formatType = readByte(cdbSpan(), 2) & 0x0F;
  return tellDevice(deviceHandle, driver::IOCTL_TAPE_CREATE_PARTITION, request) ? CMD_OK : CMD_ERROR;
}
