#include "kiv/tape/information.h"

#include "kiv/tape/driver_unsupported.h"
#include "tape/fields.h"

namespace {

constexpr std::uint8_t REPORT_DENSITY_SUPPORT = 0x44;
constexpr std::uint8_t LOG_SELECT = 0x4C;
constexpr std::uint8_t READ_ATTRIBUTE = 0x8C;
constexpr std::uint8_t WRITE_ATTRIBUTE = 0x8D;
constexpr std::uint8_t MAINTENANCE_IN = 0xA3;
constexpr std::uint8_t REPORT_TIMESTAMP = 0x0F;  // a service action of MAINTENANCE IN
constexpr std::uint8_t READ_DYNAMIC_RUNTIME_INFORMATION = 0xD1;

constexpr std::uint8_t SERVICE_ACTION = 0x1F;

// An attribute list: the length of what follows, then attributes of identifier (2), format, length (2) and
// value.
constexpr std::size_t ATTRIBUTE_LIST_HEADER = 4;
constexpr std::size_t ATTRIBUTE_HEADER = 5;

}  // namespace

TapeCmdReadAttribute::TapeCmdReadAttribute(std::uint8_t serviceAction, std::uint8_t volumeNumber,
                                           std::uint8_t partitionNumber, std::uint16_t firstAttributeId,
                                           std::uint32_t allocationLength)
    : GenericScsiCommand(CDB_16, SCSI_DATA_IN, allocationLength) {
  setCmdCode(READ_ATTRIBUTE);
  setAction(serviceAction);
  setVolumeNumber(volumeNumber);
  setPartNumber(partitionNumber);
  setFirstAttributeId(firstAttributeId);
  writeBigEndian(cdbSpan(), 10, 4, allocationLength);
}
void TapeCmdReadAttribute::setAction(std::uint8_t serviceAction) {
  writeByte(cdbSpan(), 1, serviceAction & SERVICE_ACTION);
}
void TapeCmdReadAttribute::setVolumeNumber(std::uint8_t volumeNumber) {
  writeByte(cdbSpan(), 5, volumeNumber);
}
void TapeCmdReadAttribute::setPartNumber(std::uint8_t partitionNumber) {
  writeByte(cdbSpan(), 7, partitionNumber);
}
void TapeCmdReadAttribute::setFirstAttributeId(std::uint16_t firstAttributeId) {
  writeBigEndian(cdbSpan(), 8, 2, firstAttributeId);
}
void TapeCmdReadAttribute::setAllocLength(std::uint8_t allocationLength) {
  writeBigEndian(cdbSpan(), 10, 4, allocationLength);
  setIoDataLength(allocationLength);
}
std::uint32_t TapeCmdReadAttribute::getPageLength() const {
  return executionStatus != CMD_OK || ioDataLength < 5 ? 0 : readBe32(ioDataSpan(), 0);
}
std::uint32_t TapeCmdReadAttribute::getAttributeOffset(std::uint16_t attributeId) const {
  const std::uint32_t length = getPageLength();
  if (length > ioDataLength || length < ATTRIBUTE_HEADER) return 0;
  std::size_t offset = ATTRIBUTE_LIST_HEADER;
  while (offset < length) {
    if (readBe16(ioDataSpan(), offset) == attributeId) return static_cast<std::uint32_t>(offset);
    offset += ATTRIBUTE_HEADER + readBe16(ioDataSpan(), offset + 3);
  }
  return 0;
}
std::uint32_t TapeCmdReadAttribute::getAttributeLength(std::uint16_t attributeId) const {
  const std::uint32_t offset = getAttributeOffset(attributeId);
  if (offset == 0) return 0;
  return static_cast<std::uint32_t>(ATTRIBUTE_HEADER + readBe16(ioDataSpan(), std::size_t{offset} + 3));
}
ReturnCode TapeCmdReadAttribute::isAttributeSupported(std::uint16_t attributeId) const {
  return getAttributeOffset(attributeId) == 0 ? CMD_NOT_SUPPORTED : CMD_OK;
}
QORScsiCommand* TapeCmdReadAttribute::createQORCommand() { return new QORTapeCmdReadAttribute(this); }

TapeCmdWriteAttribute::TapeCmdWriteAttribute(std::uint8_t volumeNumber, std::uint8_t partitionNumber,
                                             std::uint32_t parameterListLength)
    : GenericScsiCommand(CDB_16, SCSI_DATA_OUT, parameterListLength) {
  setCmdCode(WRITE_ATTRIBUTE);
  setVolumeNumber(volumeNumber);
  setPartNumber(partitionNumber);
  writeBigEndian(cdbSpan(), 10, 4, parameterListLength);
}
void TapeCmdWriteAttribute::setVolumeNumber(std::uint8_t volumeNumber) {
  writeByte(cdbSpan(), 5, volumeNumber);
}
void TapeCmdWriteAttribute::setPartNumber(std::uint8_t partitionNumber) {
  writeByte(cdbSpan(), 7, partitionNumber);
}
void TapeCmdWriteAttribute::setAllocLength(std::uint8_t parameterListLength) {
  writeBigEndian(cdbSpan(), 10, 4, parameterListLength);
  setIoDataLength(parameterListLength);
}
QORScsiCommand* TapeCmdWriteAttribute::createQORCommand() { return new QORTapeCmdWriteAttribute(this); }

TapeCmdLogSelect::TapeCmdLogSelect(bool parameterCodeReset, std::uint8_t pageControl,
                                   std::uint16_t parameterListLength)
    : GenericScsiCommand(CDB_10, SCSI_DATA_OUT, parameterListLength) {
  setCmdCode(LOG_SELECT);
  setPcrFlag(parameterCodeReset);
  setPageControl(pageControl);
  writeBigEndian(cdbSpan(), 7, 2, parameterListLength);
}
void TapeCmdLogSelect::setPcrFlag(bool parameterCodeReset) {
  writeByte(cdbSpan(), 1, parameterCodeReset ? 0x02 : 0);
}
void TapeCmdLogSelect::setPageControl(std::uint8_t pageControl) {
  writeByte(cdbSpan(), 2, static_cast<unsigned int>(pageControl) << 6);
}
void TapeCmdLogSelect::setAllocLength(std::uint8_t parameterListLength) {
  writeBigEndian(cdbSpan(), 7, 2, parameterListLength);
  setIoDataLength(parameterListLength);
}
QORScsiCommand* TapeCmdLogSelect::createQORCommand() { return new QORTapeCmdLogSelect(this); }

TapeCmdReportDensitySupport::TapeCmdReportDensitySupport(bool media, std::uint16_t allocationLength)
    : GenericScsiCommand(CDB_10, SCSI_DATA_IN, allocationLength) {
  setCmdCode(REPORT_DENSITY_SUPPORT);
  setMediaFlag(media);
  writeBigEndian(cdbSpan(), 7, 2, allocationLength);
}
void TapeCmdReportDensitySupport::setMediaFlag(bool media) { writeByte(cdbSpan(), 1, media ? 0x01 : 0); }
void TapeCmdReportDensitySupport::setAllocationLength(std::uint16_t allocationLength) {
  writeBigEndian(cdbSpan(), 7, 2, allocationLength);
  setIoDataLength(allocationLength);
}
std::uint16_t TapeCmdReportDensitySupport::getAvailableDensitySupportLength() const {
  return ioDataLength < 2 ? std::uint16_t{0} : readBe16(ioDataSpan(), 0);
}
QORScsiCommand* TapeCmdReportDensitySupport::createQORCommand() {
  return new QORTapeCmdReportDensitySupport(this);
}

TapeCmdReportTimeStamp::TapeCmdReportTimeStamp(std::uint32_t allocationLength)
    : GenericScsiCommand(CDB_12, SCSI_DATA_IN, allocationLength) {
  writeCdb(cdbSpan(), MAINTENANCE_IN, REPORT_TIMESTAMP, 0, 0, 0, 0, Be32(allocationLength), 0, 0);
}
std::uint64_t TapeCmdReportTimeStamp::getTimeStamp() const { return readBigEndian(ioDataSpan(), 4, 6); }
QORScsiCommand* TapeCmdReportTimeStamp::createQORCommand() { return new QORTapeCmdReportTimeStamp(this); }

TapeCmdReportDynamicRuntimeInformation::TapeCmdReportDynamicRuntimeInformation(std::uint8_t serviceAction,
                                                                               std::uint16_t firstAttribute,
                                                                               std::uint16_t lastAttribute,
                                                                               std::uint32_t allocationLength)
    : GenericScsiCommand(CDB_12, SCSI_DATA_IN, allocationLength) {
  setCmdCode(READ_DYNAMIC_RUNTIME_INFORMATION);
  setServiceAction(serviceAction);
  setFirstAttribute(firstAttribute);
  setLastAttribute(lastAttribute);
  writeBigEndian(cdbSpan(), 6, 4, allocationLength);
}
void TapeCmdReportDynamicRuntimeInformation::setServiceAction(std::uint8_t serviceAction) {
  writeByte(cdbSpan(), 1, serviceAction & SERVICE_ACTION);
}
std::uint8_t TapeCmdReportDynamicRuntimeInformation::getServiceAction() const {
  return readByte(cdbSpan(), 1);
}
void TapeCmdReportDynamicRuntimeInformation::setFirstAttribute(std::uint16_t firstAttribute) {
  writeBigEndian(cdbSpan(), 2, 2, firstAttribute);
}
void TapeCmdReportDynamicRuntimeInformation::setLastAttribute(std::uint16_t lastAttribute) {
  writeBigEndian(cdbSpan(), 4, 2, lastAttribute);
}
void TapeCmdReportDynamicRuntimeInformation::setAllocationLength(std::uint32_t allocationLength) {
  writeBigEndian(cdbSpan(), 6, 4, allocationLength);
  setIoDataLength(allocationLength);
}
std::uint32_t TapeCmdReportDynamicRuntimeInformation::getAvailableData() const {
  return ioDataLength < 4 ? 0 : readBe32(ioDataSpan(), 4);
}
QORScsiCommand* TapeCmdReportDynamicRuntimeInformation::createQORCommand() {
  return new QORTapeCmdReportDynamicRuntimeInformation(this);
}
