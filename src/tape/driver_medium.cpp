#include "kiv/tape/driver_medium.h"

#include "platform/win32.h"
#include "tape/driver_call.h"
#include "tape/driver_requests.h"
#include "tape/fields.h"

ReturnCode QORTapeCmdLoad::doOperation(void* deviceHandle) {
  return tapeResult(PrepareTape(deviceHandle, TAPE_LOAD, FALSE));
}

ReturnCode QORTapeCmdErase::doOperation(void* deviceHandle) {
  const DWORD type = hasFlag(cdbSpan(), 1, 0x01) ? TAPE_ERASE_LONG : TAPE_ERASE_SHORT;
  return tapeResult(EraseTape(deviceHandle, type, hasFlag(cdbSpan(), 1, 0x02)));
}

ReturnCode QORTapeCmdFormat::doOperation(void* deviceHandle) {
  driver::PartitionBlock request{};
  request.formatType = readByte(cdbSpan(), 2) & 0x0F;
  return sendToDriver(deviceHandle, driver::IOCTL_TAPE_CREATE_PARTITION, request);
}
