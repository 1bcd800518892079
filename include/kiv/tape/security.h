#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

/// @file
/// Encryption and the protection of logical blocks (SPC-4, SSC-4).

/// SECURITY PROTOCOL IN.
class KIV_API TapeCmdSecurityProtocolIn : public GenericScsiCommand {
 public:
  /// Protocol 20h is tape data encryption; the lengths are in bytes.
  TapeCmdSecurityProtocolIn(std::uint8_t protocol, std::uint16_t protocolSpecific,
                            std::uint32_t allocationLength);
  ///@{
  /// As in the constructor.
  void setSecurityProtocol(std::uint8_t protocol);
  void setSecurityProtocolSpecific(std::uint16_t specific);
  ///@}
  /// Also replaces the data buffer by a zeroed one of that length.
  void setSecurityProtocolLength(std::uint32_t length);
  QORScsiCommand* createQORCommand() override;
};

/// SECURITY PROTOCOL OUT. The data are for the caller to fill.
class KIV_API TapeCmdSecurityProtocolOut : public GenericScsiCommand {
 public:
  /// Protocol 20h is tape data encryption; the length is in bytes.
  TapeCmdSecurityProtocolOut(std::uint8_t protocol, std::uint16_t protocolSpecific,
                             std::uint32_t transferLength);
  ///@{
  /// As in the constructor.
  void setSecurityProtocol(std::uint8_t protocol);
  void setSecurityProtocolSpecific(std::uint16_t specific);
  ///@}
  /// Also replaces the data buffer by a zeroed one of that length.
  void setSecurityProtocolLength(std::uint32_t length);
  QORScsiCommand* createQORCommand() override;
};

/// MODE SENSE(6) of the control data protection mode page (0Ah, subpage F0h). Time-out 300 s.
class KIV_API TapeCmdQueryLogicalBlockProtection : public GenericScsiCommand {
 public:
  TapeCmdQueryLogicalBlockProtection();
  /// The page length: 0 when the drive does not protect logical blocks.
  std::uint8_t getLbpCapable() const;
  /// 0 none, 1 Reed-Solomon CRC, 2 CRC32C.
  std::uint8_t getLbpMethod() const;
  /// Bytes of protection information at the end of each block.
  std::uint8_t getLbpInfoLength() const;
  ///@{
  /// Whether blocks are written, read, and recovered from the buffer with protection information.
  bool getLbpWrite() const;
  bool getLbpRead() const;
  bool getLbpRBDP() const;
  ///@}
  QORScsiCommand* createQORCommand() override;
};
