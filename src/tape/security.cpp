#include "kiv/tape/security.h"

#include "scsi/cdb.h"

// clang-format off
TapeCmdSecurityProtocolIn::TapeCmdSecurityProtocolIn(std::uint8_t protocol, std::uint16_t protocolSpecific,
                                                     std::uint32_t allocationLength)
    : GenericScsiCommand(cdbOf(SECURITY_PROTOCOL_IN, protocol, Be16(protocolSpecific), Be16(0),
                               Be32(allocationLength), 0, 0),
                         SCSI_DATA_IN, allocationLength) {}
void TapeCmdSecurityProtocolIn::setSecurityProtocol(std::uint8_t protocol) { putNumber(1, 1, protocol); }
void TapeCmdSecurityProtocolIn::setSecurityProtocolSpecific(std::uint16_t specific) { putNumber(2, 2, specific); }
void TapeCmdSecurityProtocolIn::setSecurityProtocolLength(std::uint32_t length) { putLength(6, 4, length); }

TapeCmdSecurityProtocolOut::TapeCmdSecurityProtocolOut(std::uint8_t protocol, std::uint16_t protocolSpecific,
                                                       std::uint32_t transferLength)
    : GenericScsiCommand(
          cdbOf(SECURITY_PROTOCOL_OUT, protocol, Be16(protocolSpecific), Be16(0), Be32(transferLength), 0, 0),
          SCSI_DATA_OUT, transferLength) {}
void TapeCmdSecurityProtocolOut::setSecurityProtocol(std::uint8_t protocol) { putNumber(1, 1, protocol); }
void TapeCmdSecurityProtocolOut::setSecurityProtocolSpecific(std::uint16_t specific) { putNumber(2, 2, specific); }
void TapeCmdSecurityProtocolOut::setSecurityProtocolLength(std::uint32_t length) { putLength(6, 4, length); }

TapeCmdQueryLogicalBlockProtection::TapeCmdQueryLogicalBlockProtection()
    : GenericScsiCommand(cdbOf(MODE_SENSE_6, 0x08, 0x0A, 0xF0, 255, 0), SCSI_DATA_IN, 255, 300) {}
// Without block descriptors the page follows the four bytes of the mode parameter header.
std::uint8_t TapeCmdQueryLogicalBlockProtection::getLbpCapable() const { return readByte(ioDataSpan(), 7); }
std::uint8_t TapeCmdQueryLogicalBlockProtection::getLbpMethod() const { return readByte(ioDataSpan(), 8); }
std::uint8_t TapeCmdQueryLogicalBlockProtection::getLbpInfoLength() const { return readByte(ioDataSpan(), 9); }
bool TapeCmdQueryLogicalBlockProtection::getLbpWrite() const { return hasFlag(ioDataSpan(), 10, 0x80); }
bool TapeCmdQueryLogicalBlockProtection::getLbpRead() const { return hasFlag(ioDataSpan(), 10, 0x40); }
bool TapeCmdQueryLogicalBlockProtection::getLbpRBDP() const { return hasFlag(ioDataSpan(), 10, 0x20); }
