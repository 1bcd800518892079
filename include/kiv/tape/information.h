#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

/// @file
/// What drive and cartridge tell about themselves, and what is told to them (SPC-4, SSC-4). A setter that
/// changes an allocation or parameter list length also replaces the data buffer by a zeroed one of that
/// length.

/// READ ATTRIBUTE, from the cartridge's memory.
class KIV_API TapeCmdReadAttribute : public GenericScsiCommand {
 public:
  /// Service action: 0 attribute values, 1 attribute list, ...
  TapeCmdReadAttribute(std::uint8_t serviceAction, std::uint8_t volumeNumber, std::uint8_t partitionNumber,
                       std::uint16_t firstAttributeId, std::uint32_t allocationLength);
  ///@{
  /// The fields of the CDB, as in the constructor.
  void setAction(std::uint8_t serviceAction);
  void setVolumeNumber(std::uint8_t volumeNumber);
  void setPartNumber(std::uint8_t partitionNumber);
  void setFirstAttributeId(std::uint16_t id);
  ///@}
  /// Bytes; also those of the data buffer.
  void setAllocLength(std::uint8_t length);

  /// The length of the attribute list without its own four bytes; 0 unless the execution succeeded.
  std::uint32_t getPageLength() const;
  /// Where an attribute starts in the data; 0 when it is not found. An attribute in the last four bytes of
  /// the list is not found, nor is any in a list that the data buffer does not hold whole.
  std::uint32_t getAttributeOffset(std::uint16_t attributeId) const;
  /// Bytes of an attribute with its header of 5 bytes; 0 when it is not found.
  std::uint32_t getAttributeLength(std::uint16_t attributeId) const;
  /// CMD_OK when it is found, else CMD_NOT_SUPPORTED.
  ReturnCode isAttributeSupported(std::uint16_t attributeId) const;
  QORScsiCommand* createQORCommand() override;
};

/// WRITE ATTRIBUTE, to the cartridge's memory. The parameter list is for the caller to fill.
class KIV_API TapeCmdWriteAttribute : public GenericScsiCommand {
 public:
  /// The length is in bytes.
  TapeCmdWriteAttribute(std::uint8_t volumeNumber, std::uint8_t partitionNumber,
                        std::uint32_t parameterListLength);
  ///@{
  /// The fields of the CDB, as in the constructor.
  void setVolumeNumber(std::uint8_t volumeNumber);
  void setPartNumber(std::uint8_t partitionNumber);
  ///@}
  /// Bytes; also those of the data buffer.
  void setAllocLength(std::uint8_t length);
  QORScsiCommand* createQORCommand() override;
};

/// LOG SELECT. The parameter list is for the caller to fill.
class KIV_API TapeCmdLogSelect : public GenericScsiCommand {
 public:
  /// Page control: 0 current threshold, 1 current cumulative, 2 and 3 their defaults.
  TapeCmdLogSelect(bool parameterCodeReset, std::uint8_t pageControl, std::uint16_t parameterListLength);
  ///@{
  /// PCR and PC fields.
  void setPcrFlag(bool parameterCodeReset);
  void setPageControl(std::uint8_t control);
  ///@}
  /// Bytes; also those of the data buffer.
  void setAllocLength(std::uint8_t length);
  QORScsiCommand* createQORCommand() override;
};

/// REPORT DENSITY SUPPORT, of the drive or of the mounted medium.
class KIV_API TapeCmdReportDensitySupport : public GenericScsiCommand {
 public:
  ///@{
  /// MEDIA: what the mounted medium supports. The length is in bytes.
  TapeCmdReportDensitySupport(bool media, std::uint16_t allocationLength);
  void setMediaFlag(bool media);
  void setAllocationLength(std::uint16_t length);
  ///@}
  /// Bytes that the drive has to tell, the length field excepted.
  std::uint16_t getAvailableDensitySupportLength() const;
  QORScsiCommand* createQORCommand() override;
};

/// REPORT TIMESTAMP.
class KIV_API TapeCmdReportTimeStamp : public GenericScsiCommand {
 public:
  /// Asks for that many bytes.
  explicit TapeCmdReportTimeStamp(std::uint32_t allocationLength);
  /// Milliseconds; 48 bits.
  std::uint64_t getTimeStamp() const;
  QORScsiCommand* createQORCommand() override;
};

/// READ DYNAMIC RUNTIME INFORMATION (vendor specific, D1h).
class KIV_API TapeCmdReportDynamicRuntimeInformation : public GenericScsiCommand {
 public:
  ///@{
  /// The fields of the CDB; the length is in bytes, and also that of the data buffer.
  TapeCmdReportDynamicRuntimeInformation(std::uint8_t serviceAction, std::uint16_t firstAttribute,
                                         std::uint16_t lastAttribute, std::uint32_t allocationLength);
  void setServiceAction(std::uint8_t action);
  std::uint8_t getServiceAction() const;
  void setFirstAttribute(std::uint16_t attribute);
  void setLastAttribute(std::uint16_t attribute);
  void setAllocationLength(std::uint32_t length);
  ///@}
  /// Bytes that the drive has to tell; 0 when the data buffer is shorter than 4 bytes.
  std::uint32_t getAvailableData() const;
  QORScsiCommand* createQORCommand() override;
};
