#include "kiv/tape/data_transfer.h"

#include "kiv/tape/driver_data_transfer.h"
#include "kiv/tape/driver_unsupported.h"
#include "tape/fields.h"

namespace {

constexpr std::uint8_t READ_BLOCK_LIMITS = 0x05;
constexpr std::uint8_t READ_6 = 0x08;
constexpr std::uint8_t WRITE_6 = 0x0A;
constexpr std::uint8_t WRITE_FILEMARKS_6 = 0x10;
constexpr std::uint8_t VERIFY_6 = 0x13;

// A mode parameter list without pages.
constexpr std::uint8_t BLOCK_DESCRIPTOR = 8;
constexpr std::uint8_t HEADER_AND_BLOCK_DESCRIPTOR = 12;

constexpr std::uint8_t FIXED = 0x01;
constexpr std::uint8_t SILI = 0x02;
constexpr std::uint8_t BYTCMP = 0x02;
constexpr std::uint8_t VERIFY_IMMED = 0x04;
constexpr std::uint8_t VBF = 0x08;
constexpr std::uint8_t VLBPM = 0x10;
constexpr std::uint8_t VTE = 0x20;

}  // namespace

TapeCmdReadBlockLimits::TapeCmdReadBlockLimits() : GenericScsiCommand(CDB_6, SCSI_DATA_IN, 6) {
  setCmdCode(READ_BLOCK_LIMITS);
}
std::uint32_t TapeCmdReadBlockLimits::getMaxBlockLength() const {
  return ioDataLength < 6 ? 0 : readBe24(ioDataSpan(), 1);
}
std::uint16_t TapeCmdReadBlockLimits::getMinBlockLength() const {
  return ioDataLength < 6 ? std::uint16_t{0} : readBe16(ioDataSpan(), 4);
}
QORScsiCommand* TapeCmdReadBlockLimits::createQORCommand() { return new QORTapeCmdReadBlockLimits(this); }

TapeCmdModeSelect6::TapeCmdModeSelect6(std::uint8_t bufferedMode, std::uint32_t blockLength)
    : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, HEADER_AND_BLOCK_DESCRIPTOR) {
  writeCdb(cdbSpan(), MODE_SELECT_6, 0x10, 0, 0, HEADER_AND_BLOCK_DESCRIPTOR, 0);
  writeByte(ioDataSpan(), 3, BLOCK_DESCRIPTOR);
  setBufferedMode(bufferedMode);
  setBlockLength(blockLength);
}
void TapeCmdModeSelect6::setBufferedMode(std::uint8_t bufferedMode) {
  writeByte(ioDataSpan(), 2, static_cast<std::uint8_t>((bufferedMode & 1) << 4));
}
void TapeCmdModeSelect6::setBlockLength(std::uint32_t blockLength) {
  writeBigEndian(ioDataSpan(), 9, 3, blockLength);
}
QORScsiCommand* TapeCmdModeSelect6::createQORCommand() { return new QORTapeCmdModeSelect6(this); }

TapeCmdRead6::TapeCmdRead6(std::uint32_t transferLength, std::uint32_t byteCount, bool sili, bool fixed)
    : GenericScsiCommand(CDB_6, SCSI_DATA_IN, fixed ? byteCount : transferLength, 2100) {
  setCmdCode(READ_6);
  setFixedFlag(fixed);
  setSiliFlag(sili);
  setTransferLength(transferLength);
}
void TapeCmdRead6::setTransferLength(std::uint32_t transferLength) {
  writeBigEndian(cdbSpan(), 2, 3, transferLength);
}
void TapeCmdRead6::setSiliFlag(bool sili) { writeFlag(cdbSpan(), 1, SILI, sili); }
void TapeCmdRead6::setFixedFlag(bool fixed) { writeFlag(cdbSpan(), 1, FIXED, fixed); }
QORScsiCommand* TapeCmdRead6::createQORCommand() { return new QORTapeCmdRead6(this); }

TapeCmdWrite6::TapeCmdWrite6(std::uint32_t transferLength, std::uint32_t byteCount, bool fixed)
    : GenericScsiCommand(CDB_6, SCSI_DATA_OUT, fixed ? byteCount : transferLength, 1500) {
  setCmdCode(WRITE_6);
  setFixedFlag(fixed);
  setTransferLength(transferLength);
}
void TapeCmdWrite6::setTransferLength(std::uint32_t transferLength) {
  writeBigEndian(cdbSpan(), 2, 3, transferLength);
}
void TapeCmdWrite6::setFixedFlag(bool fixed) { writeByte(cdbSpan(), 1, fixed ? FIXED : 0); }
QORScsiCommand* TapeCmdWrite6::createQORCommand() { return new QORTapeCmdWrite6(this); }

TapeCmdWriteFileMarks::TapeCmdWriteFileMarks(bool immediate, std::uint32_t count)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 1400) {
  setCmdCode(WRITE_FILEMARKS_6);
  setImmedFlag(immediate);
  writeBigEndian(cdbSpan(), 2, 3, count);
}
void TapeCmdWriteFileMarks::setImmedFlag(bool immediate) { writeByte(cdbSpan(), 1, immediate ? 0x01 : 0); }
QORScsiCommand* TapeCmdWriteFileMarks::createQORCommand() { return new QORTapeCmdWriteFileMarks(this); }

TapeCmdVerify::TapeCmdVerify(bool fixed, bool byteCompare, bool immediate, bool byFilemarks,
                             bool logicalBlockProtection, bool toEnd, std::uint32_t length)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 1600) {
  setCmdCode(VERIFY_6);
  writeFlag(cdbSpan(), 1, FIXED, fixed);
  writeFlag(cdbSpan(), 1, BYTCMP, byteCompare);
  writeFlag(cdbSpan(), 1, VERIFY_IMMED, immediate);
  writeFlag(cdbSpan(), 1, VBF, byFilemarks);
  writeFlag(cdbSpan(), 1, VLBPM, logicalBlockProtection);
  writeFlag(cdbSpan(), 1, VTE, toEnd);
  setVerifyLength(length);
}
void TapeCmdVerify::setImmedFlag(bool immediate) { setOnlyFlag(VERIFY_IMMED, immediate); }
void TapeCmdVerify::setBytcmpFlag(bool byteCompare) { setOnlyFlag(BYTCMP, byteCompare); }
void TapeCmdVerify::setVbfFlag(bool byFilemarks) { setOnlyFlag(VBF, byFilemarks); }
void TapeCmdVerify::setVlbmpmFlag(bool logicalBlockProtection) { setOnlyFlag(VLBPM, logicalBlockProtection); }
void TapeCmdVerify::setVteFlag(bool toEnd) { setOnlyFlag(VTE, toEnd); }
void TapeCmdVerify::setFixedFlag(bool) { writeByte(cdbSpan(), 1, FIXED); }
void TapeCmdVerify::setVerifyLength(std::uint32_t length) { writeBigEndian(cdbSpan(), 2, 3, length); }
void TapeCmdVerify::setOnlyFlag(std::uint8_t flag, bool on) {
  if (on)
    writeByte(cdbSpan(), 1, flag);
  else
    writeFlag(cdbSpan(), 1, flag, false);
}
QORScsiCommand* TapeCmdVerify::createQORCommand() { return new QORTapeCmdVerify(this); }
