#pragma once

#include <cstdint>
#include <string>

#include "kiv/device/target.h"
#include "kiv/scsi/driver_command.h"
#include "kiv/tape/parameter_value.h"

/// @file
/// Parameters through the operating system's tape functions (compression, block length) and the maker's
/// driver (data safe mode, skip sync, sleep mode timer, archive mode unthread). CMD_ERROR when the call
/// fails; CMD_INVALID_PARAMETER_TYPE, without any call, for every other type.

/// Sets one parameter.
class KIV_API QORTapeMetaCmdSetParam : public QORScsiCommand {
 public:
  /// The drive is the caller's; the value as ParamType tells.
  QORTapeMetaCmdSetParam(ScsiTarget* device, ParamType parameter, std::uint32_t newValue);
  /// The drive.
  ScsiTarget* getScsiDevice() const { return target; }
  ///@{
  /// A volume's name, kept for hosts.
  std::string getVolId() const { return volId; }
  void setVolId(std::string volume) { volId = std::move(volume); }
  ///@}
  ReturnCode doOperation(void* deviceHandle) override;
  /// The value to be set; once a block length was set, the one that was in force before, in bytes.
  std::uint32_t getValue() const { return value; }

 private:
  ScsiTarget* target;
  ParamType type;
  std::uint32_t value;
  std::string volId;
};

/// Queries one parameter.
class KIV_API QORTapeMetaCmdQueryParam : public QORScsiCommand {
 public:
  /// The drive is the caller's.
  QORTapeMetaCmdQueryParam(ScsiTarget* device, ParamType parameter);
  /// The drive.
  ScsiTarget* getScsiDevice() const { return target; }
  ReturnCode doOperation(void* deviceHandle) override;
  /// What was answered; 0 before.
  std::uint32_t getValue() const { return value; }

 private:
  /// The value in the data buffer too, little-endian, as the driver gives its own.
  ReturnCode answer(std::uint32_t newValue);

  ScsiTarget* target;
  ParamType type;
  std::uint32_t value = 0;
};
