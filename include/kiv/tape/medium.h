#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

/// @file
/// Commands for the cartridge as a whole (SSC-4).

/// LOAD UNLOAD, loading. Time-out 760 s.
class KIV_API TapeCmdLoad : public GenericScsiCommand {
 public:
  ///@{
  /// IMMED: answer before it is done. RETEN: retension the tape.
  explicit TapeCmdLoad(bool immediate);
  void setImmedFlag(bool immediate);
  void setRetentionFlag(bool retension);
  bool getImmedFlag() const;
  bool getRetentionFlag() const;
  ///@}
  QORScsiCommand* createQORCommand() override;
};

/// LOAD UNLOAD, unloading. Time-out 760 s.
class KIV_API TapeCmdUnLoad : public GenericScsiCommand {
 public:
  ///@{
  /// IMMED: answer before it is done. RETEN: retension the tape.
  TapeCmdUnLoad(bool retension, bool immediate);
  void setImmedFlag(bool immediate);
  ///@}
  /// Switching it on overwrites the whole byte with the retension bit.
  void setRetentionFlag(bool retension);
  QORScsiCommand* createQORCommand() override;
};

/// PREVENT ALLOW MEDIUM REMOVAL.
class KIV_API TapeCmdPreventAllowMediumRemoval : public GenericScsiCommand {
 public:
  /// True prevents, false allows.
  explicit TapeCmdPreventAllowMediumRemoval(bool prevent);
  /// Switches prevention on; false does nothing.
  void setPreventFlag(bool prevent);
  QORScsiCommand* createQORCommand() override;
};

/// FORMAT MEDIUM. Time-out 3100 s.
class KIV_API TapeCmdFormat : public GenericScsiCommand {
 public:
  /// Format type: 0 one partition, 1 as the medium partition page says, 2 both in turn.
  TapeCmdFormat(std::uint8_t formatType, bool immediate);
  ///@{
  /// As in the constructor; IMMED: answer before it is done.
  void setFormatType(std::uint8_t formatType);
  void setImmedFlag(bool immediate);
  ///@}
  QORScsiCommand* createQORCommand() override;
};

/// ERASE(6). Time-out 68000 s: a long erase writes the whole tape.
class KIV_API TapeCmdErase : public GenericScsiCommand {
 public:
  /// LONG: the whole tape. IMMED: answer before it is done.
  TapeCmdErase(bool longErase, bool immediate);
  /// Makes this a long erase, whatever the argument: it cannot be switched off any more.
  void setLongFlag(bool longErase);
  /// IMMED: answer before it is done.
  void setImmedFlag(bool immediate);
  QORScsiCommand* createQORCommand() override;
};

/// SET CAPACITY. Time-out 300 s. It is always sent as a CDB: it makes no driver twin.
class KIV_API TapeCmdSetCapacity : public GenericScsiCommand {
 public:
  /// The proportion of the medium to use, in 1/65535 of the whole.
  TapeCmdSetCapacity(std::uint16_t proportionValue, bool immediate);
  ///@{
  /// As in the constructor; IMMED: answer before it is done.
  void setProportionVal(std::uint16_t proportionValue);
  void setImmedFlag(bool immediate);
  ///@}
};
