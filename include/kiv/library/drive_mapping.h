#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kiv/api.h"
#include "kiv/scsi/command.h"
#include "kiv/types.h"

/// @file
/// Which drive stands in which library.

class ChangerCmdReadElementStatus;
class DeviceController;
class ScsiTarget;

/// A tape drive and the library (medium changer) that holds it.
struct DriveMapping {
  std::string changerSerialNumber;   ///< of the library
  std::uint64_t changerTargetId;     ///< SCSI target id
  std::uint64_t changerLun;          ///< logical unit number
  std::uint16_t changerHostAdapter;  ///< port number
  std::uint16_t changerBus;          ///< path id
  std::string changerDriverName;     ///< such as "\\.\changer0"; empty when reached through the port driver
  std::string driveSerialNumber;     ///< of the drive
  std::uint64_t driveTargetId;       ///< SCSI target id
  std::uint64_t driveLun;            ///< logical unit number
  std::uint16_t driveHostAdapter;    ///< port number
  std::uint16_t driveBus;            ///< path id
  std::string driveModelName;        ///< product identification of INQUIRY
  std::string driveDriverName;       ///< such as "\\.\tape0"; empty when reached through the port driver
};

/// What the library operations share: the changer and the drive they work on, and the changer's element
/// address ranges. Both targets are borrowed from the device controller. The outcome of the last command
/// that failed is left in this object's own buffers and status.
class KIV_API ChangerLibraryBaseCommands : public GenericScsiCommand {
 public:
  /// Starts with no device.
  explicit ChangerLibraryBaseCommands(ScsiTarget* changer);

  ///@{
  /// The changer, and the drive that compareDeviceInquiry() compares; null for none.
  void setChanger(ScsiTarget* target) { changer = target; }
  ScsiTarget* getChanger() const { return changer; }
  void setDevice(ScsiTarget* target) { device = target; }
  ScsiTarget* getDevice() const { return device; }
  ///@}

  /// Forgets the element address ranges.
  void resetElementsData();
  ///@{
  /// Whether the element address ranges were read.
  bool areElementsDataAvailable() const { return elementsDataAvailable; }
  void setElementsDataAvailable(bool available) { elementsDataAvailable = available; }
  ///@}

  /// Reads the element address assignment page of the changer (SMC-3, mode page 1Dh). Waits up to 61 seconds
  /// for a changer that is becoming ready or reports a unit attention.
  bool getElementAddressRanges();
  /// Runs `cmd`, built with an allocation length of 8, once for the size of the report and once for the
  /// report. Returns the first element descriptor of the first page within the command's data buffer; null
  /// when a command fails or too little arrives. The descriptors are not checked against the data.
  unsigned char* getDescriptorTableOfReadElement(ChangerCmdReadElementStatus& cmd,
                                                 unsigned int& descriptorLength, unsigned int& elementCount,
                                                 unsigned char& volumeTagPresent);
  /// True when the serial number of the current device occurs in the identifier. A drive without a serial
  /// number matches every identifier that is not empty.
  bool compareDeviceInquiry(const unsigned char* identifier, ulong32 length);

 protected:
  ScsiTarget* changer;
  ScsiTarget* device = nullptr;
  std::uint16_t firstMediumTransportElementAddress = 0;
  std::uint16_t numberOfMediumTransportElements = 0;
  std::uint16_t firstStorageElementAddress = 0;
  std::uint16_t numberOfStorageElements = 0;
  std::uint16_t firstIOElementAddress = 0;
  std::uint16_t numberOfIOElements = 0;
  std::uint16_t firstDataTransferElementAddress = 0;
  std::uint16_t numberOfDataTransferElements = 0;
  bool elementsDataAvailable = false;
};

/// Pairs the tape drives of a controller with the drive bays of its tape libraries.
class KIV_API ChangerDriveMapping : public ChangerLibraryBaseCommands {
 public:
  ChangerDriveMapping();

  /// Appends one record for every (changer, drive bay, drive) that pairs; `map` is never emptied first.
  /// Whatever fails is logged and left out. Every drive compared with a bay is closed afterwards; a changer
  /// is closed too, except when its ranges or its element status could not be read.
  void getMapping(DeviceController& controller, std::vector<DriveMapping>& map);

 private:
  /// Appends a record for every drive that the identifier of a bay names.
  void mapBay(DeviceController& controller, std::span<const std::uint8_t> identifier,
              std::vector<DriveMapping>& map);
};
