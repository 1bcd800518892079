#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

/// @file
/// The maker's diagnostics: SEND DIAGNOSTIC with a parameter list of diagnostic page 80h.

/// Resets the drive. Time-out 180 s.
class KIV_API TapeCmdResetDevice : public GenericScsiCommand {
 public:
  TapeCmdResetDevice();
  QORScsiCommand* createQORCommand() override;
};

/// Power-on self-test A. Time-out 2100 s.
class KIV_API TapeCmdPostA : public GenericScsiCommand {
 public:
  TapeCmdPostA();
  /// Whether the test needs a cartridge.
  void setCartridgeRequiredFlag(bool required);
  QORScsiCommand* createQORCommand() override;
};

/// Power-on self-test B. Time-out 3600 s.
class KIV_API TapeCmdPostB : public GenericScsiCommand {
 public:
  TapeCmdPostB();
  QORScsiCommand* createQORCommand() override;
};

/// Power-on self-test C, a single test by its number. Time-out 3600 s.
class KIV_API TapeCmdPostC : public GenericScsiCommand {
 public:
  /// The number of the test, 16 bits.
  explicit TapeCmdPostC(std::uint16_t testNumber);
  QORScsiCommand* createQORCommand() override;
};

/// Power-on self-test D, a single test by its number. Time-out 2700 s.
class KIV_API TapeCmdPostD : public GenericScsiCommand {
 public:
  /// The number of the test, 16 bits.
  explicit TapeCmdPostD(std::uint16_t testNumber);
  QORScsiCommand* createQORCommand() override;
};

/// Has the drive take a dump of its state. Time-out 300 s.
class KIV_API TapeCmdForceDump : public GenericScsiCommand {
 public:
  TapeCmdForceDump();
  QORScsiCommand* createQORCommand() override;
};

/// Reads the thermal sensor. Time-out 300 s.
class KIV_API TapeCmdReadThermalSensor : public GenericScsiCommand {
 public:
  TapeCmdReadThermalSensor();
  QORScsiCommand* createQORCommand() override;
};

/// Calibrates the read channels. Time-out 300 s.
class KIV_API TapeCmdChannelCalibration : public GenericScsiCommand {
 public:
  TapeCmdChannelCalibration();
  /// Byte 10 counted from one.
  void setDiagParamByte10(std::uint8_t value);
  QORScsiCommand* createQORCommand() override;
};

/// Tests the way to the encryption key manager; one of the prepare operations chooses how far. Its CDB has 10
/// bytes, of which SEND DIAGNOSTIC uses 6; direction and time-out are for the caller to set.
class KIV_API TapeCmdTestEncryption : public GenericScsiCommand {
 public:
  TapeCmdTestEncryption();
  ///@{
  /// Each chooses what is tested: the set-up, the path, or all of it.
  void prepareEKMSetUp();
  void prepareEKMPath();
  void prepareEKMFullDiagnostic();
  ///@}
  QORScsiCommand* createQORCommand() override;
};
