#include "kiv/scsi/standard_commands.h"

#include "frame/guarded.h"
#include "scsi/cdb.h"
#include "scsi/device_types.h"
#include "scsi/text_field.h"

namespace {

/// Where an entry of the LUN list begins, in bytes.
std::size_t lunOffset(ulong32 index) { return 8 + std::size_t{8} * index; }

// A parameter list length of a six-byte mode command; 0 asks for as much as its one byte can say.
std::uint8_t modeLength(std::uint8_t length) { return length == 0 ? 255 : length; }

/// A text field of the data; nothing without memory for it.
std::string textOf(const ScsiCommand& command, std::size_t offset, std::size_t width) {
  return guarded(std::string(), [&] { return readText(command.ioDataSpan(), offset, width); });
}

}  // namespace

ScsiCmdTestUnitReady::ScsiCmdTestUnitReady() : GenericScsiCommand(cdbOf(TEST_UNIT_READY, Be32(0), 0)) {}

ScsiCmdRequestSense::ScsiCmdRequestSense(std::uint8_t allocation)
    : GenericScsiCommand(cdbOf(REQUEST_SENSE, 0, Be16(0), allocation, 0), SCSI_DATA_IN, allocation) {}
ReturnCode ScsiCmdRequestSense::setTransferLength(std::uint8_t length) { return putLength(4, 1, length); }

ScsiCmdInquiry::ScsiCmdInquiry(std::uint8_t pageCode, bool evpd, std::uint16_t allocation)
    : GenericScsiCommand(cdbOf(INQUIRY, evpd || pageCode != 0, pageCode, Be16(allocation), 0), SCSI_DATA_IN,
                         allocation, 300) {}
void ScsiCmdInquiry::setPageCode(std::uint8_t pageCode) {
  putNumber(2, 1, pageCode);
  setEnableVitalProductDataFlag(pageCode != 0);
}
void ScsiCmdInquiry::setEnableVitalProductDataFlag(bool evpd) { putNumber(1, 1, evpd); }
ReturnCode ScsiCmdInquiry::setTransferLength(std::uint16_t allocation) { return putLength(3, 2, allocation); }
bool ScsiCmdInquiry::isStandardInquiry() const {
  return !hasFlag(cdbSpan(), 1, 0x01) && readByte(cdbSpan(), 2) == 0;
}
std::string ScsiCmdInquiry::getVendorId() const {
  return isStandardInquiry() ? textOf(*this, 8, 8) : std::string();
}
std::string ScsiCmdInquiry::getProductId() const {
  return isStandardInquiry() ? textOf(*this, 16, 16) : std::string();
}
std::string ScsiCmdInquiry::getRevisionLevel() const {
  return isStandardInquiry() ? textOf(*this, 32, 4) : std::string();
}
std::uint8_t ScsiCmdInquiry::getPeripheralDeviceType() const {
  return isStandardInquiry() ? readByte(ioDataSpan(), 0) & DEVICE_TYPE_MASK : 0;
}

ScsiCmdModeSense6::ScsiCmdModeSense6(bool dbd, std::uint8_t pageControl, std::uint8_t pageCode,
                                     std::uint8_t allocation)
    : GenericScsiCommand(
          cdbOf(MODE_SENSE_6, dbd << 3, pageControl << 6 | pageCode, 0, modeLength(allocation), 0),
          SCSI_DATA_IN, modeLength(allocation)) {}
void ScsiCmdModeSense6::setDBDFlag(bool dbd) { putNumber(1, 1, dbd ? 0x08 : 0); }
void ScsiCmdModeSense6::setPageControl(std::uint8_t pageControl) { putBits(2, 0xC0, pageControl); }
void ScsiCmdModeSense6::setPageCode(std::uint8_t pageCode) { putBits(2, 0x3F, pageCode); }
void ScsiCmdModeSense6::setSubPageCode(std::uint8_t subpageCode) { putNumber(3, 1, subpageCode); }
ReturnCode ScsiCmdModeSense6::setTransferLength(std::uint8_t allocation) {
  return putLength(4, 1, modeLength(allocation));
}
std::uint8_t ScsiCmdModeSense6::getPageLength() const {
  return executionStatus == CMD_OK ? readByte(ioDataSpan(), 0) : 0;
}

ScsiCmdModeSelect6::ScsiCmdModeSelect6(std::uint8_t parameterListLength)
    : GenericScsiCommand(cdbOf(MODE_SELECT_6, 0x10, Be16(0), modeLength(parameterListLength), 0),
                         SCSI_DATA_OUT, modeLength(parameterListLength)) {}
void ScsiCmdModeSelect6::setSavePageFlag(bool save) { putBits(1, 0x01, save); }
ReturnCode ScsiCmdModeSelect6::setTransferLength(std::uint8_t parameterListLength) {
  return putLength(4, 1, modeLength(parameterListLength));
}

ScsiCmdReadCapacity::ScsiCmdReadCapacity()
    : GenericScsiCommand(cdbOf(READ_CAPACITY_10, Be64(0), 0), SCSI_DATA_IN, 128) {}

ScsiCmdReadBuffer::ScsiCmdReadBuffer(std::uint8_t mode, std::uint8_t bufferId, ulong32 offset,
                                     ulong32 allocation)
    : GenericScsiCommand(cdbOf(READ_BUFFER, mode & 0x07, bufferId, Be24(offset), Be24(allocation), 0),
                         SCSI_DATA_IN, allocation, 470) {}
void ScsiCmdReadBuffer::setMode(std::uint8_t mode) { putNumber(1, 1, mode & 0x07); }
void ScsiCmdReadBuffer::setBufferId(std::uint8_t bufferId) { putNumber(2, 1, bufferId); }
void ScsiCmdReadBuffer::setOffset(ulong32 offset) { putNumber(3, 3, offset); }
ReturnCode ScsiCmdReadBuffer::setParameterListLength(ulong32 length) { return putLength(6, 3, length); }

ScsiCmdWriteBuffer::ScsiCmdWriteBuffer(std::uint8_t mode, std::uint8_t bufferId, ulong32 offset,
                                       ulong32 length)
    : GenericScsiCommand(cdbOf(WRITE_BUFFER, mode & 0x07, bufferId, Be24(offset), Be24(length), 0),
                         SCSI_DATA_OUT, length, 530) {}
void ScsiCmdWriteBuffer::setMode(std::uint8_t mode) { putNumber(1, 1, mode & 0x07); }
void ScsiCmdWriteBuffer::setBufferId(std::uint8_t bufferId) { putNumber(2, 1, bufferId); }
void ScsiCmdWriteBuffer::setOffset(ulong32 offset) { putNumber(3, 3, offset); }
ReturnCode ScsiCmdWriteBuffer::setParameterListLength(ulong32 length) { return putLength(6, 3, length); }

ScsiCmdSendDiagnostic::ScsiCmdSendDiagnostic(bool pageFormat, bool selfTest,
                                             std::uint16_t parameterListLength)
    : GenericScsiCommand(
          cdbOf(SEND_DIAGNOSTIC, pageFormat << 4 | selfTest << 2, 0, Be16(parameterListLength), 0),
          parameterListLength != 0 ? SCSI_DATA_OUT : SCSI_DATA_NONE, parameterListLength) {}
void ScsiCmdSendDiagnostic::setSelfTestFlag(bool selfTest) { putBits(1, 0x04, selfTest); }
void ScsiCmdSendDiagnostic::setPageFlag(bool pageFormat) { putBits(1, 0x10, pageFormat); }
void ScsiCmdSendDiagnostic::setParameterLength(std::uint8_t parameterListLength) {
  putNumber(3, 2, parameterListLength);
  setDataDirection(parameterListLength != 0 ? SCSI_DATA_OUT : SCSI_DATA_NONE);
}

ScsiCmdReceiveDiagnostic::ScsiCmdReceiveDiagnostic(std::uint16_t allocation)
    : GenericScsiCommand(cdbOf(RECEIVE_DIAGNOSTIC_RESULTS, 0, 0, Be16(allocation), 0), SCSI_DATA_IN,
                         allocation) {}
ReturnCode ScsiCmdReceiveDiagnostic::setParameterLength(std::uint16_t allocation) {
  return putLength(3, 2, allocation);
}

ScsiCmdReportLuns::ScsiCmdReportLuns(ulong32 allocation)
    : GenericScsiCommand(cdbOf(REPORT_LUNS, 0, 0, Be24(0), Be32(allocation), 0, 0), SCSI_DATA_IN,
                         allocation) {}
ReturnCode ScsiCmdReportLuns::setAllocationLength(ulong32 allocation) { return putLength(6, 4, allocation); }
ulong32 ScsiCmdReportLuns::getNumberOfAttachedLuns() const {
  return ioDataLength < 4 ? 0 : readBe32(ioDataSpan(), 0) / 8;
}
std::uint64_t ScsiCmdReportLuns::getAttachedLun(ulong32 index) const {
  const std::size_t offset = lunOffset(index);
  return offset + 8 > ioDataLength ? 0 : readBe64(ioDataSpan(), offset);
}
std::uint8_t ScsiCmdReportLuns::getAddressMethod(ulong32 index) const {
  return static_cast<std::uint8_t>(getAttachedLun(index) >> 62);
}
std::uint16_t ScsiCmdReportLuns::getLunViaAddressMethod(ulong32 index) const {
  const auto firstLevel = static_cast<std::uint16_t>(getAttachedLun(index) >> 48);
  switch (getAddressMethod(index)) {
    case 0:
      return firstLevel & 0x00FF;
    case 1:
      return firstLevel & 0x3FFF;
    case 2:
      return firstLevel & 0x001F;
    default:
      return 0;
  }
}
