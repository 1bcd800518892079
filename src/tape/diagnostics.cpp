#include "kiv/tape/diagnostics.h"

#include <algorithm>
#include <initializer_list>

#include "kiv/tape/driver_unsupported.h"
#include "tape/fields.h"

namespace {

// Flags of SEND DIAGNOSTIC: page format, and the two offline bits, by which a test may change the medium
// (UNITOFFL) or other units (DEVOFFL).
constexpr std::uint8_t PAGE_FORMAT = 0x10;
constexpr std::uint8_t DEVICE_OFFLINE = 0x02;
constexpr std::uint8_t UNIT_OFFLINE = 0x01;

/// Fills the CDB and the parameter list: page code, a reserved byte pair and the page length, then `page`.
void sendPage(GenericScsiCommand& command, std::uint8_t flags, std::initializer_list<std::uint8_t> page) {
  constexpr std::uint8_t VENDOR_PAGE = 0x80;
  constexpr std::size_t HEADER = 4;
  command.setCmdCode(SEND_DIAGNOSTIC);
  writeByte(command.cdbSpan(), 1, flags);
  writeByte(command.cdbSpan(), 4, command.getIoDataLength());
  const auto parameters = command.ioDataSpan();
  writeByte(parameters, 0, VENDOR_PAGE);
  writeByte(parameters, 3, static_cast<unsigned int>(page.size()));
  for (std::size_t i = 0; i < page.size(); ++i) writeByte(parameters, HEADER + i, page.begin()[i]);
}

}  // namespace

TapeCmdResetDevice::TapeCmdResetDevice() : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, 8, 180) {
  sendPage(*this, PAGE_FORMAT | DEVICE_OFFLINE, {0x20, 0x02, 0x00, 0x00});
}
QORScsiCommand* TapeCmdResetDevice::createQORCommand() { return new QORTapeCmdResetDevice(this); }

TapeCmdPostA::TapeCmdPostA() : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, 8, 2100) {
  sendPage(*this, PAGE_FORMAT | DEVICE_OFFLINE, {0x01, 0x00, 0x00, 0x00});
}
void TapeCmdPostA::setCartridgeRequiredFlag(bool required) { writeByte(ioDataSpan(), 6, required); }
QORScsiCommand* TapeCmdPostA::createQORCommand() { return new QORTapeCmdPostA(this); }

TapeCmdPostB::TapeCmdPostB() : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, 8, 3600) {
  sendPage(*this, PAGE_FORMAT | DEVICE_OFFLINE | UNIT_OFFLINE, {0x01, 0x01, 0x01, 0x00});
}
QORScsiCommand* TapeCmdPostB::createQORCommand() { return new QORTapeCmdPostB(this); }

TapeCmdPostC::TapeCmdPostC(std::uint16_t testNumber) : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, 8, 3600) {
  const auto [high, low] = Be16(testNumber).bytes;
  sendPage(*this, PAGE_FORMAT | DEVICE_OFFLINE | UNIT_OFFLINE, {high, low, 0x01, 0x00});
}
QORScsiCommand* TapeCmdPostC::createQORCommand() { return new QORTapeCmdPostC(this); }

TapeCmdPostD::TapeCmdPostD(std::uint16_t testNumber) : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, 8, 2700) {
  const auto [high, low] = Be16(testNumber).bytes;
  sendPage(*this, PAGE_FORMAT | DEVICE_OFFLINE | UNIT_OFFLINE, {high, low, 0x01, 0x00});
}
QORScsiCommand* TapeCmdPostD::createQORCommand() { return new QORTapeCmdPostD(this); }

TapeCmdForceDump::TapeCmdForceDump() : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, 8, 300) {
  sendPage(*this, PAGE_FORMAT, {0x01, 0x60, 0x00, 0x00});
}
QORScsiCommand* TapeCmdForceDump::createQORCommand() { return new QORTapeCmdForceDump(this); }

TapeCmdReadThermalSensor::TapeCmdReadThermalSensor() : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, 8, 300) {
  sendPage(*this, PAGE_FORMAT | DEVICE_OFFLINE, {0x10, 0x02, 0x00, 0x00});
}
QORScsiCommand* TapeCmdReadThermalSensor::createQORCommand() { return new QORTapeCmdReadThermalSensor(this); }

TapeCmdChannelCalibration::TapeCmdChannelCalibration() : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, 11, 300) {
  sendPage(*this, PAGE_FORMAT | DEVICE_OFFLINE, {0x02, 0x05, 0x01, 0x00, 0x07, 0x00, 0x28});
}
void TapeCmdChannelCalibration::setDiagParamByte10(std::uint8_t value) { writeByte(ioDataSpan(), 9, value); }
QORScsiCommand* TapeCmdChannelCalibration::createQORCommand() {
  return new QORTapeCmdChannelCalibration(this);
}

TapeCmdTestEncryption::TapeCmdTestEncryption() : GenericScsiCommand(CDB_10, SCSI_DATA_NONE, 10) {
  sendPage(*this, PAGE_FORMAT, {0xE0, 0x00, 0x00, 0x00, 0x20, 0x00});
}
void TapeCmdTestEncryption::prepareEKMSetUp() { writeByte(ioDataSpan(), 9, 15); }
void TapeCmdTestEncryption::prepareEKMPath() { writeByte(ioDataSpan(), 9, 1); }
void TapeCmdTestEncryption::prepareEKMFullDiagnostic() { writeByte(ioDataSpan(), 9, 0); }
QORScsiCommand* TapeCmdTestEncryption::createQORCommand() { return new QORTapeCmdTestEncryption(this); }
