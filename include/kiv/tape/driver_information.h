#pragma once

#include <array>
#include <cstdint>

#include "kiv/scsi/driver_command.h"

/// @file
/// What the driver and the operating system know about the drive, its cartridge and the ways to it. These
/// operations stand alone: they have no CDB. CMD_OK, or CMD_ERROR when the call fails.

/// The cartridge as the operating system sees it.
struct DeviceInformationData {
  std::uint64_t capacity = 0;        ///< bytes of the whole tape
  std::uint64_t remaining = 0;       ///< bytes from here to the end of the tape
  std::uint32_t blockSize = 0;       ///< bytes; 0 for variable blocks
  std::uint32_t partitionCount = 0;  ///< partitions of the tape
  bool writeProtected = false;       ///< the cartridge cannot be written
};

/// Asks the operating system for the medium's parameters.
class KIV_API QORTapeCmdGetDeviceInformation : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
  /// All zero until the operation succeeded.
  const DeviceInformationData& getDeviceInformation() const { return information; }

 private:
  DeviceInformationData information;
};

/// One of the ways by which the driver reaches a device.
struct DevicePathData {
  std::uint8_t hostAdapter = 0;  ///< port number
  std::uint8_t bus = 0;          ///< path id
  std::uint8_t target = 0;       ///< SCSI target id
  std::uint8_t lun = 0;          ///< logical unit number
  bool primary = false;          ///< the path by which the device was found
  bool enabled = false;          ///< in use, or ready for a failover
  bool failed = false;           ///< taken out of use after an error
};

/// Asks the driver for the paths to the device: the tape driver first, then the changer driver.
class KIV_API QORTapeCmdQueryDevicePaths : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
  /// Null outside 0 to getDevicePathDataSize() - 1.
  const DevicePathData* getDevicePathData(int index) const;
  /// How many paths there are, at most 32.
  int getDevicePathDataSize() const { return pathCount; }

 private:
  std::array<DevicePathData, 32> paths;
  int pathCount = 0;
};
