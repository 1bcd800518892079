#include "kiv/tape/information.h"

#include "scsi/cdb.h"

namespace {

/// A service action of MAINTENANCE IN.
constexpr std::uint8_t REPORT_TIMESTAMP = 0x0F;
constexpr std::uint8_t SERVICE_ACTION = 0x1F;

// An attribute list: the length of what follows, then attributes of identifier (2), format, length (2) and
// value.
constexpr std::size_t ATTRIBUTE_LIST_HEADER = 4;
constexpr std::size_t ATTRIBUTE_HEADER = 5;

}  // namespace

// clang-format off
TapeCmdReadAttribute::TapeCmdReadAttribute(std::uint8_t serviceAction, std::uint8_t volumeNumber,
                                           std::uint8_t partitionNumber, std::uint16_t firstAttributeId,
                                           std::uint32_t allocationLength)
    : GenericScsiCommand(cdbOf(READ_ATTRIBUTE, serviceAction & SERVICE_ACTION, Be24(0), volumeNumber, 0,
                               partitionNumber, Be16(firstAttributeId), Be32(allocationLength), 0, 0),
                         SCSI_DATA_IN, allocationLength) {}
void TapeCmdReadAttribute::setAction(std::uint8_t serviceAction) { putNumber(1, 1, serviceAction & 0x1F); }
void TapeCmdReadAttribute::setVolumeNumber(std::uint8_t volumeNumber) { putNumber(5, 1, volumeNumber); }
void TapeCmdReadAttribute::setPartNumber(std::uint8_t partitionNumber) { putNumber(7, 1, partitionNumber); }
void TapeCmdReadAttribute::setFirstAttributeId(std::uint16_t id) { putNumber(8, 2, id); }
void TapeCmdReadAttribute::setAllocLength(std::uint8_t length) { putLength(10, 4, length); }
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

TapeCmdWriteAttribute::TapeCmdWriteAttribute(std::uint8_t volumeNumber, std::uint8_t partitionNumber,
                                             std::uint32_t parameterListLength)
    : GenericScsiCommand(cdbOf(WRITE_ATTRIBUTE, 0, Be24(0), volumeNumber, 0, partitionNumber, Be16(0),
                               Be32(parameterListLength), 0, 0),
                         SCSI_DATA_OUT, parameterListLength) {}
void TapeCmdWriteAttribute::setVolumeNumber(std::uint8_t volumeNumber) { putNumber(5, 1, volumeNumber); }
void TapeCmdWriteAttribute::setPartNumber(std::uint8_t partitionNumber) { putNumber(7, 1, partitionNumber); }
void TapeCmdWriteAttribute::setAllocLength(std::uint8_t length) { putLength(10, 4, length); }

TapeCmdLogSelect::TapeCmdLogSelect(bool parameterCodeReset, std::uint8_t pageControl,
                                   std::uint16_t parameterListLength)
    : GenericScsiCommand(
          cdbOf(LOG_SELECT, parameterCodeReset << 1, pageControl << 6, Be32(0), Be16(parameterListLength), 0),
          SCSI_DATA_OUT, parameterListLength) {}
void TapeCmdLogSelect::setPcrFlag(bool parameterCodeReset) { putNumber(1, 1, parameterCodeReset ? 0x02 : 0); }
void TapeCmdLogSelect::setPageControl(std::uint8_t control) { putNumber(2, 1, unsigned{control} << 6); }
void TapeCmdLogSelect::setAllocLength(std::uint8_t length) { putLength(7, 2, length); }

TapeCmdReportDensitySupport::TapeCmdReportDensitySupport(bool media, std::uint16_t allocationLength)
    : GenericScsiCommand(cdbOf(REPORT_DENSITY_SUPPORT, media, 0, Be32(0), Be16(allocationLength), 0),
                         SCSI_DATA_IN, allocationLength) {}
void TapeCmdReportDensitySupport::setMediaFlag(bool media) { putNumber(1, 1, media); }
void TapeCmdReportDensitySupport::setAllocationLength(std::uint16_t length) { putLength(7, 2, length); }
std::uint16_t TapeCmdReportDensitySupport::getAvailableDensitySupportLength() const {
  return ioDataLength < 2 ? std::uint16_t{0} : readBe16(ioDataSpan(), 0);
}

TapeCmdReportTimeStamp::TapeCmdReportTimeStamp(std::uint32_t allocationLength)
    : GenericScsiCommand(cdbOf(MAINTENANCE_IN, REPORT_TIMESTAMP, Be32(0), Be32(allocationLength), 0, 0),
                         SCSI_DATA_IN, allocationLength) {}
std::uint64_t TapeCmdReportTimeStamp::getTimeStamp() const { return readBigEndian(ioDataSpan(), 4, 6); }

TapeCmdReportDynamicRuntimeInformation::TapeCmdReportDynamicRuntimeInformation(std::uint8_t serviceAction,
                                                                               std::uint16_t firstAttribute,
                                                                               std::uint16_t lastAttribute,
                                                                               std::uint32_t allocationLength)
    : GenericScsiCommand(cdbOf(READ_DYNAMIC_RUNTIME_INFORMATION, serviceAction & SERVICE_ACTION,
                               Be16(firstAttribute), Be16(lastAttribute), Be32(allocationLength), 0, 0),
                         SCSI_DATA_IN, allocationLength) {}
void TapeCmdReportDynamicRuntimeInformation::setServiceAction(std::uint8_t action) { putNumber(1, 1, action & 0x1F); }
std::uint8_t TapeCmdReportDynamicRuntimeInformation::getServiceAction() const { return readByte(cdbSpan(), 1); }
void TapeCmdReportDynamicRuntimeInformation::setFirstAttribute(std::uint16_t attribute) { putNumber(2, 2, attribute); }
void TapeCmdReportDynamicRuntimeInformation::setLastAttribute(std::uint16_t attribute) { putNumber(4, 2, attribute); }
void TapeCmdReportDynamicRuntimeInformation::setAllocationLength(std::uint32_t length) { putLength(6, 4, length); }
std::uint32_t TapeCmdReportDynamicRuntimeInformation::getAvailableData() const { return ioDataLength < 4 ? 0 : readBe32(ioDataSpan(), 4); }
