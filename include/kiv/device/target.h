#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "kiv/api.h"
#include "kiv/scsi/command.h"
#include "kiv/types.h"

/// @file
/// A device behind the port driver.

struct _SP_DEVINFO_DATA;

/// Fills a newly allocated buffer with the DOS device names (zero-terminated, ended by an empty name), as
/// QueryDosDeviceA with no name gives them, and returns the size used; 0 when they could not be read. Release
/// the list with free().
KIV_API ulong32 getDosDevices(char** list);

/// A tape drive or tape library reached through the operating system's SCSI port driver.
///
/// Addressed by host adapter (port number), bus (path id), target id and LUN. One thread at a time.
class KIV_API ScsiTarget {
 public:
  ScsiTarget();
  ///@{
  /// A copy shares the handle: only one of the two may close it.
  ScsiTarget(const ScsiTarget& other);
  ScsiTarget& operator=(const ScsiTarget& other);
  ///@}
  /// Closes nothing: owners close first.
  virtual ~ScsiTarget();

  /// Executes one command; returns its execution status. Nothing is retried.
  virtual ReturnCode scsiExecCDB(GenericScsiCommand& cmd);
  /// Finds and opens the device at an address, identifies it and loads its time-out table.
  virtual ReturnCode openDevice(std::uint8_t hostAdapter, std::uint64_t target, std::uint8_t bus,
                                std::uint64_t unit, const char* name, std::uint32_t mode);
  /// The same without identification.
  virtual ReturnCode openDeviceNoInq(std::uint8_t hostAdapter, std::uint64_t target, std::uint8_t bus,
                                     std::uint64_t unit, const char* name, std::uint32_t mode);
  /// Opens the stored address: CMD_NO_ADDRESS while it is incomplete, CMD_OK when already open.
  virtual ReturnCode openDevice();
  /// Always CMD_OK.
  virtual ReturnCode closeDevice();
  /// Identifies the device with INQUIRY; does nothing when that is done already.
  virtual ReturnCode retrieveInitialInquiryData();
  /// Bytes moved by the last scsiExecCDB.
  virtual ulong32 GetTransferredDataLength();
  /// Asks the adapter; bytes, 0 when it does not tell.
  virtual ulong32 GetMaximumTransferLength();

  /// A reset is not supported: CMD_NOT_SUPPORTED.
  ReturnCode resetDevice();

  /// Whether a handle is held.
  bool isOpened() const;
  /// Whether the device was identified with INQUIRY.
  bool isInquiryDataValid() const { return inquiryDataValid; }

  /// Chooses the time-outs built in for this model, which are properties too ("TIMEOUT_0x1B"); tape drives
  /// only. Setting the property changes the time-out.
  void setTimeoutValuesForModel();
  /// Seconds for an operation code; 0 when the table has no entry.
  ulong32 getTimeoutForOpcode(std::uint8_t opcode);

  /// The value of a property, or null; valid until the property is set again.
  const char* getProperty(const char* key);
  /// Sets a property of any name. CMD_OK, CMD_NO_MEMORY, or CMD_ERROR for null.
  ReturnCode setProperty(const char* key, const char* value);

  ///@{
  /// What is known of the device: product, vendor and revision of INQUIRY, its serial number, its names at
  /// Windows and at the driver, the driver's version, its interface ("SAS", "Fibre", "SCSI"). Never null;
  /// valid until it is set again.
  const char* getModelName() const { return modelName.c_str(); }
  const char* getVendorName() const { return vendorName.c_str(); }
  const char* getFirmwareVersion() const { return firmwareVersion.c_str(); }
  const char* getSerialNumber() const { return serialNumber.c_str(); }
  const char* getDeviceSpecialFile() const { return deviceSpecialFile.c_str(); }
  const char* getDriverName() const { return driverName.c_str(); }
  const char* getTapeDrvVersion() const { return tapeDrvVersion.c_str(); }
  const char* getInterfaceType() const { return interfaceType.c_str(); }
  ///@}
  /// INQUIRY byte 0, qualifier bits included.
  std::uint8_t getDeviceTyp() const { return deviceTyp; }
  ///@{
  /// The address: port number, target id, LUN, path id; all bits 1 while unknown.
  std::uint8_t getHostAdapterId() const { return hostAdapterId; }
  std::uint64_t getTargetId() const { return targetId; }
  std::uint64_t getLun() const { return lun; }
  std::uint8_t getBusNumber() const { return busNumber; }
  ///@}
  ///@{
  /// Kept for hosts; the library does not use them.
  std::uint8_t getBusyBit() const { return busyBit; }
  std::uint8_t getLengthTargetId() const { return lengthTargetId; }
  std::uint8_t getLengthLun() const { return lengthLun; }
  ///@}
  ///@{
  /// Bytes 6 and 7 of standard inquiry data.
  std::uint8_t getInquiryByte6() const { return inquiryByte6; }
  std::uint8_t getInquiryByte7() const { return inquiryByte7; }
  ///@}
  /// OPEN_READ_WRITE, OPEN_READONLY or OPEN_WRITEONLY.
  std::uint32_t getDeviceOpenMode() const { return deviceOpenMode; }
  /// Windows' handle; INVALID_HANDLE_VALUE while closed.
  void* getDeviceHandle() const { return deviceHandle; }

  ///@{
  /// Each sets what the getter of its name tells; null is an empty text. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setModelName(const char* text);
  ReturnCode setVendorName(const char* text);
  ReturnCode setFirmwareVersion(const char* text);
  ReturnCode setSerialNumber(const char* text);
  ReturnCode setDeviceSpecialFile(const char* text);
  ReturnCode setDriverName(const char* text);
  ReturnCode setTapeDrvVersion(const char* text);
  ReturnCode setInterfaceType(const char* text);
  ReturnCode setDeviceTyp(std::uint8_t value);
  ReturnCode setHostAdapterId(std::uint8_t value);
  ReturnCode setTargetId(std::uint64_t value);
  ReturnCode setLun(std::uint64_t value);
  ReturnCode setBusNumber(std::uint8_t value);
  ReturnCode setBusyBit(std::uint8_t value);
  ReturnCode setLengthTargetId(std::uint8_t value);
  ReturnCode setLengthLun(std::uint8_t value);
  ReturnCode setDeviceOpenMode(std::uint32_t value);
  ReturnCode setDeviceHandle(void* handle);
  ///@}

  /// Reads what the system tells about this target's host adapter into the log and into the properties, under
  /// names that begin with "HBA ".
  void queryHostAdapterInformation();

  ///@{
  /// Read one registry property of a device in a device information set, or one value of its driver key, as
  /// text. False when there is none.
  static bool getDeviceRegistryProperty(void* deviceSet, _SP_DEVINFO_DATA* device, ulong32 property,
                                        std::string& text);
  static bool getDeviceDriverRegistryProperty(void* deviceSet, _SP_DEVINFO_DATA* device,
                                              const char* valueName, std::string& text);
  ///@}

  /// Same device: device type, model, vendor, firmware version, serial number, interface type and address are
  /// equal.
  bool operator==(const ScsiTarget& other) const;
  /// By host adapter, then target id, then LUN, then bus.
  bool operator<(const ScsiTarget& other) const;

 protected:
  void* deviceHandle;
  std::string modelName;
  std::string vendorName;
  std::string firmwareVersion;
  std::string serialNumber = "       ";
  std::string deviceSpecialFile;
  std::string driverName;
  std::string tapeDrvVersion;
  std::string interfaceType;
  std::uint8_t deviceTyp = 0xFF;
  std::uint8_t hostAdapterId = 0xFF;
  std::uint64_t targetId = 0xFFFFFFFF;
  std::uint64_t lun = 0xFFFFFFFF;
  std::uint8_t busNumber = 0xFF;
  std::uint8_t busyBit = 1;
  std::uint8_t lengthTargetId = 1;
  std::uint8_t lengthLun = 1;
  std::uint8_t inquiryByte6 = 0;
  std::uint8_t inquiryByte7 = 0;

 private:
  // Both stand where the fields around them leave room: hosts know the places of the others.
  /// Which built-in time-outs the model has.
  std::uint8_t r477Timeouts = 0;
  std::uint8_t ltoTimeouts = 0;

 protected:
  void* secondHandle;
  bool inquiryDataValid = false;

 private:
  /// Whether `properties` holds time-outs that somebody set; those go before the built-in ones.
  bool hasOwnTimeouts = false;

 protected:
  std::uint32_t deviceOpenMode = 1;
  std::map<std::string, std::string> properties;
  ulong32 maximumTransferLength = 0;
  ulong32 transferredDataLength = 0;

 private:
  ReturnCode readStandardInquiry();
  void readSerialNumber();
  void detectInterfaceType();
  ReturnCode sendByPort(GenericScsiCommand& cmd);
};
