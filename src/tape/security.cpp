#include "kiv/tape/security.h"

#include "kiv/tape/driver_security.h"
#include "kiv/tape/driver_unsupported.h"
#include "tape/fields.h"

namespace {

constexpr std::uint8_t SECURITY_PROTOCOL_IN = 0xA2;
constexpr std::uint8_t SECURITY_PROTOCOL_OUT = 0xB5;

}  // namespace

TapeCmdSecurityProtocolIn::TapeCmdSecurityProtocolIn(std::uint8_t protocol, std::uint16_t protocolSpecific,
                                                     std::uint32_t allocationLength)
    : GenericScsiCommand(CDB_12, SCSI_DATA_IN, allocationLength) {
  writeCdb(cdbSpan(), SECURITY_PROTOCOL_IN, protocol, Be16(protocolSpecific), 0, 0, Be32(allocationLength), 0,
           0);
}
void TapeCmdSecurityProtocolIn::setSecurityProtocol(std::uint8_t protocol) {
  writeByte(cdbSpan(), 1, protocol);
}
void TapeCmdSecurityProtocolIn::setSecurityProtocolSpecific(std::uint16_t protocolSpecific) {
  writeBigEndian(cdbSpan(), 2, 2, protocolSpecific);
}
void TapeCmdSecurityProtocolIn::setSecurityProtocolLength(std::uint32_t allocationLength) {
  writeBigEndian(cdbSpan(), 6, 4, allocationLength);
  setIoDataLength(allocationLength);
}
QORScsiCommand* TapeCmdSecurityProtocolIn::createQORCommand() {
  return new QORTapeCmdSecurityProtocolIn(this);
}

TapeCmdSecurityProtocolOut::TapeCmdSecurityProtocolOut(std::uint8_t protocol, std::uint16_t protocolSpecific,
                                                       std::uint32_t transferLength)
    : GenericScsiCommand(CDB_12, SCSI_DATA_OUT, transferLength) {
  writeCdb(cdbSpan(), SECURITY_PROTOCOL_OUT, protocol, Be16(protocolSpecific), 0, 0, Be32(transferLength), 0,
           0);
}
void TapeCmdSecurityProtocolOut::setSecurityProtocol(std::uint8_t protocol) {
  writeByte(cdbSpan(), 1, protocol);
}
void TapeCmdSecurityProtocolOut::setSecurityProtocolSpecific(std::uint16_t protocolSpecific) {
  writeBigEndian(cdbSpan(), 2, 2, protocolSpecific);
}
void TapeCmdSecurityProtocolOut::setSecurityProtocolLength(std::uint32_t transferLength) {
  writeBigEndian(cdbSpan(), 6, 4, transferLength);
  setIoDataLength(transferLength);
}
QORScsiCommand* TapeCmdSecurityProtocolOut::createQORCommand() {
  return new QORTapeCmdSecurityProtocolOut(this);
}

TapeCmdQueryLogicalBlockProtection::TapeCmdQueryLogicalBlockProtection()
    : GenericScsiCommand(CDB_6, SCSI_DATA_IN, 255, 300) {
  writeCdb(cdbSpan(), MODE_SENSE_6, 0x08, 0x0A, 0xF0, 255, 0);
}
// Without block descriptors the page follows the four bytes of the mode parameter header.
std::uint8_t TapeCmdQueryLogicalBlockProtection::getLbpCapable() const { return readByte(ioDataSpan(), 7); }
std::uint8_t TapeCmdQueryLogicalBlockProtection::getLbpMethod() const { return readByte(ioDataSpan(), 8); }
std::uint8_t TapeCmdQueryLogicalBlockProtection::getLbpInfoLength() const {
  return readByte(ioDataSpan(), 9);
}
bool TapeCmdQueryLogicalBlockProtection::getLbpWrite() const { return hasFlag(ioDataSpan(), 10, 0x80); }
bool TapeCmdQueryLogicalBlockProtection::getLbpRead() const { return hasFlag(ioDataSpan(), 10, 0x40); }
bool TapeCmdQueryLogicalBlockProtection::getLbpRBDP() const { return hasFlag(ioDataSpan(), 10, 0x20); }
QORScsiCommand* TapeCmdQueryLogicalBlockProtection::createQORCommand() {
  return new QORTapeCmdQueryLogicalBlockProtection(this);
}
