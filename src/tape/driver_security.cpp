#include "kiv/tape/driver_security.h"

#include <array>

#include "platform/device_control.h"
#include "scsi/fields.h"
#include "tape/tape_driver_requests.h"

ReturnCode QORTapeCmdQueryLogicalBlockProtection::doOperation(void* deviceHandle) {
  driver::LogicalBlockProtectionBlock block{};
  if (exchangeWithDevice(deviceHandle, driver::IOCTL_TAPE_QUERY_LBP, block) != sizeof block) return CMD_ERROR;

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
  return tellDevice(deviceHandle, driver::IOCTL_TAPE_SET_LBP, block) ? CMD_OK : CMD_ERROR;
}

ReturnCode QORTapeCmdGetEncryptionStatus::doOperation(void* deviceHandle) {
  driver::EncryptionStatusBlock block{};
  const bool answered =
      exchangeWithDevice(deviceHandle, driver::IOCTL_TAPE_ENCRYPTION_STATUS, block) == sizeof block;
  if (!answered) block = {};
  capable = block.capable != 0;
  method = block.method;
  status = block.status;
  return answered ? CMD_OK : CMD_ERROR;
}

ReturnCode QORTapeCmdDataEncryptionDiag::doOperation(void* deviceHandle) {
  driver::EncryptionDiagBlock block{.type = type, .completionCode = 0, .errorNumber = 0};
  const bool answered =
      exchangeWithDevice(deviceHandle, driver::IOCTL_DRIVER_ENCRYPTION_DIAG, block) == sizeof block;
  if (!answered) block = {};
  completionCode = block.completionCode;
  errorNumber = block.errorNumber;
  return answered ? CMD_OK : CMD_ERROR;
}
