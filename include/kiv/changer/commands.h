#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kiv/api.h"
#include "kiv/scsi/command.h"
#include "kiv/types.h"

class ChangerElementStatusData;
class StorageWithDVCIDElemStatusDescriptor;

/// @file
/// Medium changer commands (SMC-3). Element addresses are the 16-bit addresses that the element address
/// assignment page gives.

/// Element type codes (SMC-3).
using ChangerElementTypeCode = std::uint8_t;
///@{
/// An element type, or all of them.
inline constexpr ChangerElementTypeCode ELEMENT_ALL = 0;
inline constexpr ChangerElementTypeCode ELEMENT_MEDIUM_TRANSPORT = 1;
inline constexpr ChangerElementTypeCode ELEMENT_STORAGE = 2;
inline constexpr ChangerElementTypeCode ELEMENT_IMPORT_EXPORT = 3;
inline constexpr ChangerElementTypeCode ELEMENT_DATA_TRANSFER = 4;
///@}

/// MOVE MEDIUM; 840 s.
class KIV_API ChangerMoveMedium : public GenericScsiCommand {
 public:
  ///@{
  /// Element addresses; transport 0 leaves the choice to the changer.
  ChangerMoveMedium(std::uint16_t transport, std::uint16_t source, std::uint16_t destination);
  void setSourceAddress(std::uint16_t address);
  void setDestinationAddress(std::uint16_t address);
  ///@}
};

/// EXCHANGE MEDIUM; 840 s. What lay in the first destination goes to the second.
class KIV_API ChangerCmdExchangeMedium : public GenericScsiCommand {
 public:
  ///@{
  /// Element addresses; transport 0 leaves the choice to the changer.
  ChangerCmdExchangeMedium(std::uint16_t transport, std::uint16_t source, std::uint16_t firstDestination,
                           std::uint16_t secondDestination);
  void setTransportElementAddress(std::uint16_t address);
  void setSourceAddress(std::uint16_t address);
  void setFirstDestinationAddress(std::uint16_t address);
  void setSecondDestinationAddress(std::uint16_t address);
  ///@}
};

/// POSITION TO ELEMENT; 600 s.
class KIV_API ChangerCmdPositionToElement : public GenericScsiCommand {
 public:
  ///@{
  /// Element addresses; transport 0 leaves the choice to the changer.
  ChangerCmdPositionToElement(std::uint16_t transport, std::uint16_t destination);
  void setTransportElementAddress(std::uint16_t address);
  void setDestinationAddress(std::uint16_t address);
  ///@}
};

/// INITIALIZE ELEMENT STATUS.
class KIV_API ChangerCmdInitializeElementStatus : public GenericScsiCommand {
 public:
  ChangerCmdInitializeElementStatus();
};

/// INITIALIZE ELEMENT STATUS WITH RANGE; 1800 s. The operation code is the caller's: 37h (SMC-3), or E7h for
/// libraries that know the older one.
class KIV_API ChangerCmdInitializeElementStatusWithRange : public GenericScsiCommand {
 public:
  ///@{
  /// From an element address on, so many elements.
  ChangerCmdInitializeElementStatusWithRange(std::uint16_t startingAddress, std::uint16_t numberOfElements,
                                             std::uint8_t operationCode);
  void setStartingElementAddress(std::uint16_t address);
  void setNbrOfElements(std::uint16_t count);
  ///@}
};

/// PREVENT ALLOW MEDIUM REMOVAL; 420 s.
class KIV_API ChangerCmdPreventAllowMediumRemoval : public GenericScsiCommand {
 public:
  ///@{
  /// True prevents, false allows.
  explicit ChangerCmdPreventAllowMediumRemoval(bool prevent);
  void setActionCode(bool prevent);
  ///@}
};

/// OPEN/CLOSE IMPORT/EXPORT ELEMENT; 600 s. Action 0 opens, 1 closes; five bits are sent.
class KIV_API ChangerOpenCloseImportExportElement : public GenericScsiCommand {
 public:
  ///@{
  /// The import/export element, and what it shall do.
  ChangerOpenCloseImportExportElement(std::uint16_t elementAddress, std::uint8_t actionCode);
  void setIOElementAddress(std::uint16_t address);
  void setActionCode(std::uint8_t code);
  ///@}
};

/// READ ELEMENT STATUS; 900 s. The data are read with ChangerElementStatusData.
class KIV_API ChangerCmdReadElementStatus : public GenericScsiCommand {
 public:
  /// The allocation length (24 bits, bytes) is also the length of the data buffer.
  ChangerCmdReadElementStatus(ChangerElementTypeCode typeCode, std::uint16_t startingAddress,
                              std::uint16_t numberOfElements, bool primaryVolumeTag, bool deviceIdentifier,
                              ulong32 allocationLength);
  QORScsiCommand* createQORCommand() override;

  /// Also drops the LUN bits.
  void setElementTypeCode(ChangerElementTypeCode code);
  ///@{
  /// The fields of the CDB, as in the constructor: VOLTAG and DVCID ask for volume tags and device
  /// identifiers.
  void setElementAddress(std::uint16_t address);
  void setNbrOfElements(std::uint16_t count);
  void setPVolTag(bool requested);
  void setDvcId(bool requested);
  ///@}
  /// Replaces the data buffer too. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setAllocLength(ulong32 length);
  /// The LUN bits of byte 1, for libraries that expect them.
  void setLunId(std::uint8_t lun);

  ///@{
  /// The VOLTAG and DVCID bits of the CDB.
  bool getParamPVolTag() const;
  bool getParamDevID() const;
  ///@}

  ///@{
  /// From the header of the data; 0 when it is shorter than 8 bytes. The byte count covers all that the
  /// changer could report, the header excepted, whatever the allocation length.
  std::uint16_t getFirstElementAddressReported() const;
  std::uint16_t getNumberElementsAvail() const;
  ulong32 getByteCntReportAvail() const;
  ///@}
};

/// MODE SENSE(6) of the element address assignment page (SMC-3, mode page 1Dh) without block descriptors.
class KIV_API ChangerCmdElementInformation : public GenericScsiCommand {
 public:
  ChangerCmdElementInformation();

  ///@{
  /// Address of the first element of each type, and how many there are; 0 beyond the data.
  std::uint16_t getFirstMediumTransportElementAddress() const;
  std::uint16_t getNumberOfMediumTransportElements() const;
  std::uint16_t getFirstStorageElementAddress() const;
  std::uint16_t getNumberOfStorageElements() const;
  std::uint16_t getFirstIOElementAddress() const;
  std::uint16_t getNumberOfIOElements() const;
  std::uint16_t getFirstDataTransferElementAddress() const;
  std::uint16_t getNumberOfTransferElements() const;
  ///@}
};

/// READ ELEMENT STATUS of storage elements with volume tags and identifiers; an identifier tells where in the
/// library its cartridge lies.
class KIV_API ChangerCmdReadCartridgeLocation : public ChangerCmdReadElementStatus {
 public:
  /// From a storage element's address on, so many elements.
  ChangerCmdReadCartridgeLocation(std::uint16_t startingAddress, std::uint16_t numberOfElements);
  ~ChangerCmdReadCartridgeLocation() override;

  /// Decodes the storage elements of the first page of the data. The two getters run it once.
  virtual void doTransformation();
  /// How many storage elements the data hold.
  std::uint16_t getNumberOfCartridgeLocations();
  /// Null when `index` is out of range. Lives as long as this command.
  StorageWithDVCIDElemStatusDescriptor* getLocationElement(std::uint16_t index);

 private:
  std::unique_ptr<ChangerElementStatusData> elementStatus;
  std::vector<StorageWithDVCIDElemStatusDescriptor*> locations;
  bool transformed = false;
};
