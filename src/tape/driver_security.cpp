#include "kiv/tape/driver_security.h"

#include <array>

#include "platform/win32.h"
#include "tape/driver_call.h"
#include "tape/driver_requests.h"
#include "tape/fields.h"

ReturnCode QORTapeCmdQueryLogicalBlockProtection::doOperation(void* deviceHandle) {
  driver::LogicalBlockProtectionBlock block{};
  if (const ReturnCode result = askDriver(deviceHandle, driver::IOCTL_TAPE_QUERY_LBP, block);
      result != CMD_OK)
    return result;

  // Mode parameter header, then the control data protection mode page.
  constexpr std::uint8_t SUBPAGE_FORMAT = 0x40, PAGE_LENGTH = 28;
  std::array<std::uint8_t, 36> modeData{};
  modeData[0] = modeData.size() - 1;
  modeData[4] = SUBPAGE_FORMAT | 0x0A;
  modeData[5] = 0xF0;
  modeData[7] = block.capable != 0 ? PAGE_LENGTH : 0;
  modeData[8] = block.method;
  modeData[9] = block.infoLength;
  writeFlag(modeData, 10, 0x80, block.write != 0);
  writeFlag(modeData, 10, 0x40, block.read != 0);
  writeFlag(modeData, 10, 0x20, block.rbdp != 0);
  copyIoData(modeData.data(), modeData.size());
  return CMD_OK;
}

ReturnCode QORTapeCmdSetLogicalBlockProtection::doOperation(void* deviceHandle) {
  driver::LogicalBlockProtectionBlock block{.capable = 0,
                                            .method = lbpMethod,
                                            .infoLength = lbpInfoLength,
                                            .write = lbpWrite,
                                            .read = lbpRead,
                                            .rbdp = lbpRbdp,
                                            .reserved = {}};
  return sendToDriver(deviceHandle, driver::IOCTL_TAPE_SET_LBP, block);
}

ReturnCode QORTapeCmdGetEncryptionStatus::doOperation(void* deviceHandle) {
  driver::EncryptionStatusBlock block{};
  const ReturnCode result = askDriver(deviceHandle, driver::IOCTL_TAPE_ENCRYPTION_STATUS, block);
  if (result != CMD_OK) block = {};
  capable = block.capable != 0;
  method = block.method;
  status = block.status;
  return result;
}

ReturnCode QORTapeCmdDataEncryptionDiag::doOperation(void* deviceHandle) {
  driver::EncryptionDiagBlock block{.type = type, .completionCode = 0, .errorNumber = 0};
  const ReturnCode result = askDriver(deviceHandle, driver::IOCTL_DRIVER_ENCRYPTION_DIAG, block);
  if (result != CMD_OK) block = {};
  completionCode = block.completionCode;
  errorNumber = block.errorNumber;
  return result;
}
