#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

/// @file
/// Commands that read, write and verify blocks and filemarks, and what they depend on (SSC-4).

/// READ BLOCK LIMITS. The getters read 0 where the data buffer is shorter than 6 bytes.
class KIV_API TapeCmdReadBlockLimits : public GenericScsiCommand {
 public:
  TapeCmdReadBlockLimits();
  ///@{
  /// Bytes.
  std::uint32_t getMaxBlockLength() const;
  std::uint16_t getMinBlockLength() const;
  ///@}
  QORScsiCommand* createQORCommand() override;
};

/// MODE SELECT(6) of buffered mode and block length: the header and one block descriptor, no page.
class KIV_API TapeCmdModeSelect6 : public GenericScsiCommand {
 public:
  /// Buffered mode 0 or 1; block length in bytes (24 bits), 0 for variable blocks.
  TapeCmdModeSelect6(std::uint8_t bufferedMode, std::uint32_t blockLength);
  ///@{
  /// As in the constructor.
  void setBufferedMode(std::uint8_t bufferedMode);
  void setBlockLength(std::uint32_t blockLength);
  ///@}
  QORScsiCommand* createQORCommand() override;
};

/// READ(6). Time-out 2100 s. The transfer length (24 bits) counts blocks when fixed, else bytes.
class KIV_API TapeCmdRead6 : public GenericScsiCommand {
 public:
  /// The data buffer gets `byteCount` bytes when fixed, else `transferLength`. SILI suppresses the report of
  /// blocks of another length.
  TapeCmdRead6(std::uint32_t transferLength, std::uint32_t byteCount, bool sili, bool fixed);
  /// Leaves the data buffer as it is.
  void setTransferLength(std::uint32_t transferLength);
  ///@{
  /// SILI and FIXED bits.
  void setSiliFlag(bool sili);
  void setFixedFlag(bool fixed);
  ///@}
  QORScsiCommand* createQORCommand() override;
};

/// WRITE(6). Time-out 1500 s. The transfer length (24 bits) counts blocks when fixed, else bytes.
class KIV_API TapeCmdWrite6 : public GenericScsiCommand {
 public:
  /// The data buffer gets `byteCount` bytes when fixed, else `transferLength`.
  TapeCmdWrite6(std::uint32_t transferLength, std::uint32_t byteCount, bool fixed);
  /// Leaves the data buffer as it is.
  void setTransferLength(std::uint32_t transferLength);
  /// Overwrites the whole byte.
  void setFixedFlag(bool fixed);
  QORScsiCommand* createQORCommand() override;
};

/// WRITE FILEMARKS(6). Time-out 1400 s.
class KIV_API TapeCmdWriteFileMarks : public GenericScsiCommand {
 public:
  /// Count: 24 bits; 0 empties the drive's buffer.
  TapeCmdWriteFileMarks(bool immediate, std::uint32_t count);
  /// Overwrites the whole byte.
  void setImmedFlag(bool immediate);
  QORScsiCommand* createQORCommand() override;
};

/// VERIFY(6). Time-out 1600 s. The length (24 bits) counts blocks when fixed, filemarks when verifying by
/// filemarks, else bytes.
class KIV_API TapeCmdVerify : public GenericScsiCommand {
 public:
  /// FIXED, BYTCMP, IMMED, VBF, VLBPM and VTE bits.
  TapeCmdVerify(bool fixed, bool byteCompare, bool immediate, bool byFilemarks, bool logicalBlockProtection,
                bool toEnd, std::uint32_t length);
  ///@{
  /// Each clears its own flag; true makes it the only one. Flags that go together are for the constructor.
  void setImmedFlag(bool immediate);
  void setBytcmpFlag(bool byteCompare);
  void setVbfFlag(bool byFilemarks);
  void setVlbmpmFlag(bool logicalBlockProtection);
  void setVteFlag(bool toEnd);
  ///@}
  /// Makes fixed the only flag, whatever the argument.
  void setFixedFlag(bool fixed);
  /// 24 bits.
  void setVerifyLength(std::uint32_t length);
  QORScsiCommand* createQORCommand() override;

 private:
  void setOnlyFlag(std::uint8_t flag, bool on);
};
