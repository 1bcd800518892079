#include "kiv/scsi/standard_commands.h"

#include "kiv/scsi/standard_driver_commands.h"
#include "scsi/cdb.h"
#include "scsi/text_field.h"

namespace {

// A parameter list length of a six-byte mode command; 0 asks for as much as its one byte can say.
std::uint8_t modeLength(std::uint8_t length) { return length == 0 ? 255 : length; }

}  // namespace

ScsiCmdTestUnitReady::ScsiCmdTestUnitReady() : GenericScsiCommand(CDB_6) {
  writeCdb(cdbSpan(), TEST_UNIT_READY, 0, Be24(0), 0);
}

QORScsiCommand* ScsiCmdTestUnitReady::createQORCommand() { return new QORScsiCmdTestUnitReady(this); }

ScsiCmdRequestSense::ScsiCmdRequestSense(std::uint8_t allocation)
    : GenericScsiCommand(CDB_6, SCSI_DATA_IN, allocation) {
  writeCdb(cdbSpan(), REQUEST_SENSE, 0, Be16(0), allocation, 0);
}

QORScsiCommand* ScsiCmdRequestSense::createQORCommand() { return new QORScsiCmdRequestSense(this); }

ReturnCode ScsiCmdRequestSense::setTransferLength(std::uint8_t allocation) {
  writeByte(cdbSpan(), 4, allocation);
  return setIoDataLength(allocation);
}

ScsiCmdInquiry::ScsiCmdInquiry(std::uint8_t pageCode, bool evpd, std::uint16_t allocation)
    : GenericScsiCommand(CDB_6, SCSI_DATA_IN, allocation, 300) {
  writeCdb(cdbSpan(), INQUIRY, evpd || pageCode != 0, pageCode, Be16(allocation), 0);
}

QORScsiCommand* ScsiCmdInquiry::createQORCommand() { return new QORScsiCmdInquiry(this); }

void ScsiCmdInquiry::setPageCode(std::uint8_t pageCode) {
  writeByte(cdbSpan(), 2, pageCode);
  setEnableVitalProductDataFlag(pageCode != 0);
}

void ScsiCmdInquiry::setEnableVitalProductDataFlag(bool evpd) { writeByte(cdbSpan(), 1, evpd); }

ReturnCode ScsiCmdInquiry::setTransferLength(std::uint16_t allocation) {
  writeBigEndian(cdbSpan(), 3, 2, allocation);
  return setIoDataLength(allocation);
}

bool ScsiCmdInquiry::isStandardInquiry() const {
  return (readByte(cdbSpan(), 1) & 0x01) == 0 && readByte(cdbSpan(), 2) == 0;
}

std::string ScsiCmdInquiry::getVendorId() const {
  return isStandardInquiry() ? readText(ioDataSpan(), 8, 8) : std::string();
}

std::string ScsiCmdInquiry::getProductId() const {
  return isStandardInquiry() ? readText(ioDataSpan(), 16, 16) : std::string();
}

std::string ScsiCmdInquiry::getRevisionLevel() const {
  return isStandardInquiry() ? readText(ioDataSpan(), 32, 4) : std::string();
}

std::uint8_t ScsiCmdInquiry::getPeripheralDeviceType() const {
  return isStandardInquiry() ? readByte(ioDataSpan(), 0) & 0x1F : 0;
}

ScsiCmdModeSense6::ScsiCmdModeSense6(bool dbd, std::uint8_t pageControl, std::uint8_t pageCode,
                                     std::uint8_t allocation)
    : GenericScsiCommand(CDB_6, SCSI_DATA_IN, modeLength(allocation)) {
  writeCdb(cdbSpan(), MODE_SENSE_6, dbd ? 0x08 : 0, pageControl << 6 | pageCode, 0, modeLength(allocation),
           0);
}

QORScsiCommand* ScsiCmdModeSense6::createQORCommand() { return new QORScsiCmdModeSense6(this); }

void ScsiCmdModeSense6::setDBDFlag(bool dbd) { writeByte(cdbSpan(), 1, dbd ? 0x08 : 0); }

void ScsiCmdModeSense6::setPageControl(std::uint8_t pageControl) {
  writeBits(cdbSpan(), 2, 0xC0, pageControl << 6);
}

void ScsiCmdModeSense6::setPageCode(std::uint8_t pageCode) { writeBits(cdbSpan(), 2, 0x3F, pageCode); }

void ScsiCmdModeSense6::setSubPageCode(std::uint8_t subpageCode) { writeByte(cdbSpan(), 3, subpageCode); }

ReturnCode ScsiCmdModeSense6::setTransferLength(std::uint8_t allocation) {
  writeByte(cdbSpan(), 4, modeLength(allocation));
  return setIoDataLength(modeLength(allocation));
}

std::uint8_t ScsiCmdModeSense6::getPageLength() const {
  return getExecutionStatus() == CMD_OK ? readByte(ioDataSpan(), 0) : 0;
}

ScsiCmdModeSelect6::ScsiCmdModeSelect6(std::uint8_t parameterListLength)
    : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, modeLength(parameterListLength)) {
  writeCdb(cdbSpan(), MODE_SELECT_6, 0x10, Be16(0), modeLength(parameterListLength), 0);
}

QORScsiCommand* ScsiCmdModeSelect6::createQORCommand() { return new QORScsiCmdModeSelect6(this); }

void ScsiCmdModeSelect6::setSavePageFlag(bool save) { writeBits(cdbSpan(), 1, 0x01, save); }

ReturnCode ScsiCmdModeSelect6::setTransferLength(std::uint8_t parameterListLength) {
  writeByte(cdbSpan(), 4, modeLength(parameterListLength));
  return setIoDataLength(modeLength(parameterListLength));
}

ScsiCmdReadCapacity::ScsiCmdReadCapacity() : GenericScsiCommand(CDB_10, SCSI_DATA_IN, 128) {
  writeCdb(cdbSpan(), READ_CAPACITY_10, 0, Be32(0), Be24(0), 0);
}

QORScsiCommand* ScsiCmdReadCapacity::createQORCommand() { return new QORScsiCmdReadCapacity(this); }

ScsiCmdReadBuffer::ScsiCmdReadBuffer(std::uint8_t mode, std::uint8_t bufferId, ulong32 offset,
                                     ulong32 allocation)
    : GenericScsiCommand(CDB_10, SCSI_DATA_IN, allocation, 470) {
  writeCdb(cdbSpan(), READ_BUFFER, mode & 0x07, bufferId, Be24(offset), Be24(allocation), 0);
}

QORScsiCommand* ScsiCmdReadBuffer::createQORCommand() { return new QORScsiCmdReadBuffer(this); }

void ScsiCmdReadBuffer::setMode(std::uint8_t mode) { writeByte(cdbSpan(), 1, mode & 0x07); }
void ScsiCmdReadBuffer::setBufferId(std::uint8_t bufferId) { writeByte(cdbSpan(), 2, bufferId); }
void ScsiCmdReadBuffer::setOffset(ulong32 offset) { writeBigEndian(cdbSpan(), 3, 3, offset); }

ReturnCode ScsiCmdReadBuffer::setParameterListLength(ulong32 allocation) {
  writeBigEndian(cdbSpan(), 6, 3, allocation);
  return setIoDataLength(allocation);
}

ScsiCmdWriteBuffer::ScsiCmdWriteBuffer(std::uint8_t mode, std::uint8_t bufferId, ulong32 offset,
                                       ulong32 length)
    : GenericScsiCommand(CDB_10, SCSI_DATA_OUT, length, 530) {
  writeCdb(cdbSpan(), WRITE_BUFFER, mode & 0x07, bufferId, Be24(offset), Be24(length), 0);
}

QORScsiCommand* ScsiCmdWriteBuffer::createQORCommand() { return new QORScsiCmdWriteBuffer(this); }

void ScsiCmdWriteBuffer::setMode(std::uint8_t mode) { writeByte(cdbSpan(), 1, mode & 0x07); }
void ScsiCmdWriteBuffer::setBufferId(std::uint8_t bufferId) { writeByte(cdbSpan(), 2, bufferId); }
void ScsiCmdWriteBuffer::setOffset(ulong32 offset) { writeBigEndian(cdbSpan(), 3, 3, offset); }

ReturnCode ScsiCmdWriteBuffer::setParameterListLength(ulong32 length) {
  writeBigEndian(cdbSpan(), 6, 3, length);
  return setIoDataLength(length);
}

ScsiCmdSendDiagnostic::ScsiCmdSendDiagnostic(bool pageFormat, bool selfTest,
                                             std::uint16_t parameterListLength)
    : GenericScsiCommand(CDB_6, parameterListLength != 0 ? SCSI_DATA_OUT : SCSI_DATA_NONE,
                         parameterListLength) {
  writeCdb(cdbSpan(), SEND_DIAGNOSTIC, (pageFormat ? 0x10 : 0) | (selfTest ? 0x04 : 0), 0,
           Be16(parameterListLength), 0);
}

QORScsiCommand* ScsiCmdSendDiagnostic::createQORCommand() { return new QORScsiCmdSendDiagnostic(this); }

void ScsiCmdSendDiagnostic::setSelfTestFlag(bool selfTest) {
  writeBits(cdbSpan(), 1, 0x04, selfTest ? 0x04 : 0);
}

void ScsiCmdSendDiagnostic::setPageFlag(bool pageFormat) {
  writeBits(cdbSpan(), 1, 0x10, pageFormat ? 0x10 : 0);
}

void ScsiCmdSendDiagnostic::setParameterLength(std::uint8_t parameterListLength) {
  writeBigEndian(cdbSpan(), 3, 2, parameterListLength);
  setDataDirection(parameterListLength != 0 ? SCSI_DATA_OUT : SCSI_DATA_NONE);
}

ScsiCmdReceiveDiagnostic::ScsiCmdReceiveDiagnostic(std::uint16_t allocation)
    : GenericScsiCommand(CDB_6, SCSI_DATA_IN, allocation) {
  writeCdb(cdbSpan(), RECEIVE_DIAGNOSTIC_RESULTS, 0, 0, Be16(allocation), 0);
}

QORScsiCommand* ScsiCmdReceiveDiagnostic::createQORCommand() { return new QORScsiCmdReceiveDiagnostic(this); }

ReturnCode ScsiCmdReceiveDiagnostic::setParameterLength(std::uint16_t allocation) {
  writeBigEndian(cdbSpan(), 3, 2, allocation);
  return setIoDataLength(allocation);
}

ScsiCmdReportLuns::ScsiCmdReportLuns(ulong32 allocation)
    : GenericScsiCommand(CDB_12, SCSI_DATA_IN, allocation) {
  writeCdb(cdbSpan(), REPORT_LUNS, 0, 0, Be24(0), Be32(allocation), 0, 0);
}

QORScsiCommand* ScsiCmdReportLuns::createQORCommand() { return new QORScsiCmdReportLuns(this); }

ReturnCode ScsiCmdReportLuns::setAllocationLength(ulong32 allocation) {
  writeBigEndian(cdbSpan(), 6, 4, allocation);
  return setIoDataLength(allocation);
}

ulong32 ScsiCmdReportLuns::getNumberOfAttachedLuns() const {
  return getIoDataLength() < 4 ? 0 : readBe32(ioDataSpan(), 0) / 8;
}

std::uint64_t ScsiCmdReportLuns::getAttachedLun(ulong32 index) const {
  return readBe64(ioDataSpan(), 8 + std::size_t{8} * index);
}

std::uint8_t ScsiCmdReportLuns::getAddressMethod(ulong32 index) const {
  return static_cast<std::uint8_t>(getAttachedLun(index) >> 62);
}

std::uint16_t ScsiCmdReportLuns::getLunViaAddressMethod(ulong32 index) const {
  const std::uint16_t firstLevel = readBe16(ioDataSpan(), 8 + std::size_t{8} * index);
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
