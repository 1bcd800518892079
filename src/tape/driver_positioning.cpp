#include "kiv/tape/driver_positioning.h"

#include "platform/device_control.h"
#include "scsi/fields.h"
#include "tape/driver_call.h"
#include "tape/tape_driver_requests.h"

ReturnCode QORTapeCmdRewind::doOperation(void* deviceHandle) {
  return tapeResult(SetTapePosition(deviceHandle, TAPE_REWIND, 0, 0, 0, hasFlag(cdbSpan(), 1, 0x01)));
}

ReturnCode QORTapeCmdLocate::doOperation(void* deviceHandle) {
  return tapeResult(SetTapePosition(deviceHandle, TAPE_ABSOLUTE_BLOCK, 0, readBe32(cdbSpan(), 3), 0,
                                    hasFlag(cdbSpan(), 1, 0x01)));
}

ReturnCode QORTapeCmdLocate16::doOperation(void* deviceHandle) {
  driver::SetPartitionBlock request{};
  request.partition = readByte(cdbSpan(), 3);
  request.blockAddress = readBe64(cdbSpan(), 4);
  return tellDevice(deviceHandle, driver::IOCTL_TAPE_SET_PARTITION, request) ? CMD_OK : CMD_ERROR;
}

ReturnCode QORTapeCmdSpace::doOperation(void* deviceHandle) {
  // The count is signed: shifted up, its top bit of 24 is the sign.
  const std::int32_t count = static_cast<std::int32_t>(readBe24(cdbSpan(), 2) << 8) >> 8;
  const DWORD low = static_cast<DWORD>(count), high = count < 0 ? 0xFFFFFFFF : 0;
  switch (readByte(cdbSpan(), 1)) {
    case 0:
      return tapeResult(SetTapePosition(deviceHandle, TAPE_SPACE_RELATIVE_BLOCKS, 0, low, high, FALSE));
    case 1:
      return tapeResult(SetTapePosition(deviceHandle, TAPE_SPACE_FILEMARKS, 0, low, high, FALSE));
    case 3:
      return tapeResult(SetTapePosition(deviceHandle, TAPE_SPACE_END_OF_DATA, 0, 0, 0, FALSE));
    default:
      return CMD_NOT_SUPPORTED;
  }
}
