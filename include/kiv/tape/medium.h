#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

// Commands for the cartridge as a whole (SSC-4).

/// LOAD UNLOAD, loading. Time-out 760 s.
class KIV_API TapeCmdLoad : public GenericScsiCommand {
 public:
  explicit TapeCmdLoad(bool immediate);
  void setImmedFlag(bool immediate);
  void setRetentionFlag(bool retension);
  bool getImmedFlag() const;
  bool getRetentionFlag() const;
  QORScsiCommand* createQORCommand() override;
};

/// LOAD UNLOAD, unloading. Time-out 760 s.
class KIV_API TapeCmdUnLoad : public GenericScsiCommand {
 public:
  TapeCmdUnLoad(bool retension, bool immediate);
  void setImmedFlag(bool immediate);
  /// Switching it on overwrites the whole byte with the retension bit.
  void setRetentionFlag(bool retension);
  QORScsiCommand* createQORCommand() override;
};

/// PREVENT ALLOW MEDIUM REMOVAL.
class KIV_API TapeCmdPreventAllowMediumRemoval : public GenericScsiCommand {
 public:
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
  void setFormatType(std::uint8_t formatType);
  void setImmedFlag(bool immediate);
  QORScsiCommand* createQORCommand() override;
};

/// ERASE(6). Time-out 68000 s: a long erase writes the whole tape.
class KIV_API TapeCmdErase : public GenericScsiCommand {
 public:
  TapeCmdErase(bool longErase, bool immediate);
  /// Makes this a long erase, whatever the argument: it cannot be switched off any more.
  void setLongFlag(bool longErase);
  void setImmedFlag(bool immediate);
  QORScsiCommand* createQORCommand() override;
};

/// SET CAPACITY. Time-out 300 s. It is always sent as a CDB: it makes no driver twin.
class KIV_API TapeCmdSetCapacity : public GenericScsiCommand {
 public:
  /// The proportion of the medium to use, in 1/65535 of the whole.
  TapeCmdSetCapacity(std::uint16_t proportionValue, bool immediate);
  void setProportionVal(std::uint16_t proportionValue);
  void setImmedFlag(bool immediate);
};
