#pragma once

#include <cstdint>

#include "kiv/device/target.h"
#include "kiv/scsi/driver_command.h"

/// @file
/// A device behind the maker's driver.

///@{
/// Access with which a driver device is opened; any other value opens read-only.
inline constexpr std::uint32_t OPEN_READ_WRITE = 1;
inline constexpr std::uint32_t OPEN_READONLY = 2;
inline constexpr std::uint32_t OPEN_WRITEONLY = 3;
///@}

/// A tape drive or tape library opened by name through the maker's own device driver.
///
/// Driver commands run with scsiExecCmd. A CDB command runs as its driver twin; where the driver has no
/// request for it, the CDB itself is sent on the driver's handle.
class KIV_API QORScsiTarget : public ScsiTarget {
 public:
  using ScsiTarget::openDevice;
  using ScsiTarget::openDeviceNoInq;

  /// Executes one command; returns its execution status. After a failure its sense data are asked for: of the
  /// driver, else of the device.
  ReturnCode scsiExecCDB(GenericScsiCommand& cmd) override;
  /// Opens the device by its driver name, in the mode of the last time: CMD_NO_ADDRESS without a name, CMD_OK
  /// when already open.
  ReturnCode openDevice() override;

  /// Executes one driver command; returns its execution status. After a failure the tape driver is asked for
  /// sense data.
  virtual ReturnCode scsiExecCmd(QORScsiCommand& cmd);
  ///@{
  /// Opens and identifies the device "\\.\tape0", "\\.\changer0", ... CMD_ERROR when it cannot be
  /// opened or belongs to another driver. The second only opens.
  virtual ReturnCode openDevice(const char* name, std::uint32_t mode);
  virtual ReturnCode openDeviceNoInq(const char* name, std::uint32_t mode);
  ///@}
  /// By name when there is one, else by address through the port driver. The name is not const here: a slot
  /// of its own, beside the base's operation of the same arguments.
  virtual ReturnCode openDeviceNoInq(std::uint8_t hostAdapter, std::uint64_t target, std::uint8_t bus,
                                     std::uint64_t unit, char* name, std::uint32_t mode);

  /// Fills the address from the driver device. CMD_OK or CMD_ERROR.
  ReturnCode getDevicePath();

  ///@{
  /// The number behind the name of the driver device, for hosts; 0 at first.
  void setInstanceNumber(int number) { instanceNumber = number; }
  int getInstanceNumber() const { return instanceNumber; }
  ///@}

 private:
  ReturnCode sendByDriver(GenericScsiCommand& cmd);
  void fetchSense(GenericScsiCommand& cmd);

  std::int32_t instanceNumber = 0;
};
