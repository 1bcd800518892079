#include "kiv/tape/diagnostics.h"

#include "scsi/cdb.h"

namespace {

// By these flags a test may change the medium or other units.
constexpr std::uint8_t UNITOFFL = 0x01;
constexpr std::uint8_t DEVOFFL = 0x02;

/// The CDB for a parameter list of `length` bytes.
constexpr auto sendPage(std::uint8_t offlineFlags, std::uint16_t length) {
  constexpr std::uint8_t PAGE_FORMAT = 0x10;
  return cdbOf(SEND_DIAGNOSTIC, PAGE_FORMAT | offlineFlags, 0, Be16(length), 0);
}

/// The parameter list: page code, two reserved bytes, page length, page.
template <typename... Fields>
constexpr auto page(Fields... fields) {
  constexpr std::uint8_t VENDOR_PAGE = 0x80;
  return bytesOf(VENDOR_PAGE, Be16(0), bytesOf(fields...).size(), fields...);
}

}  // namespace

TapeCmdResetDevice::TapeCmdResetDevice()
    : GenericScsiCommand(sendPage(DEVOFFL, 8), SCSI_DATA_OUT, page(0x20, 0x02, 0x00, 0x00), 180) {}

TapeCmdPostA::TapeCmdPostA()
    : GenericScsiCommand(sendPage(DEVOFFL, 8), SCSI_DATA_OUT, page(0x01, 0x00, 0x00, 0x00), 2100) {}
void TapeCmdPostA::setCartridgeRequiredFlag(bool required) { writeByte(ioDataSpan(), 6, required); }

TapeCmdPostB::TapeCmdPostB()
    : GenericScsiCommand(sendPage(DEVOFFL | UNITOFFL, 8), SCSI_DATA_OUT, page(0x01, 0x01, 0x01, 0x00), 3600) {
}

TapeCmdPostC::TapeCmdPostC(std::uint16_t testNumber)
    : GenericScsiCommand(sendPage(DEVOFFL | UNITOFFL, 8), SCSI_DATA_OUT, page(Be16(testNumber), 0x01, 0x00),
                         3600) {}

TapeCmdPostD::TapeCmdPostD(std::uint16_t testNumber)
    : GenericScsiCommand(sendPage(DEVOFFL | UNITOFFL, 8), SCSI_DATA_OUT, page(Be16(testNumber), 0x01, 0x00),
                         2700) {}

TapeCmdForceDump::TapeCmdForceDump()
    : GenericScsiCommand(sendPage(0, 8), SCSI_DATA_OUT, page(0x01, 0x60, 0x00, 0x00), 300) {}

TapeCmdReadThermalSensor::TapeCmdReadThermalSensor()
    : GenericScsiCommand(sendPage(DEVOFFL, 8), SCSI_DATA_OUT, page(0x10, 0x02, 0x00, 0x00), 300) {}

TapeCmdChannelCalibration::TapeCmdChannelCalibration()
    : GenericScsiCommand(sendPage(DEVOFFL, 11), SCSI_DATA_OUT, page(0x02, 0x05, 0x01, 0x00, 0x07, 0x00, 0x28),
                         300) {}
void TapeCmdChannelCalibration::setDiagParamByte10(std::uint8_t value) { writeByte(ioDataSpan(), 9, value); }

TapeCmdTestEncryption::TapeCmdTestEncryption()
    : GenericScsiCommand(cdbOf(SEND_DIAGNOSTIC, 0x10, 0, Be16(10), 0, Be32(0)), SCSI_DATA_NONE,
                         page(0xE0, 0x00, 0x00, 0x00, 0x20, 0x00)) {}
void TapeCmdTestEncryption::prepareEKMSetUp() { writeByte(ioDataSpan(), 9, 15); }
void TapeCmdTestEncryption::prepareEKMPath() { writeByte(ioDataSpan(), 9, 1); }
void TapeCmdTestEncryption::prepareEKMFullDiagnostic() { writeByte(ioDataSpan(), 9, 0); }
