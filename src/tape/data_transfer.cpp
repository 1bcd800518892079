#include "kiv/tape/data_transfer.h"

#include "scsi/cdb.h"

// clang-format off
TapeCmdReadBlockLimits::TapeCmdReadBlockLimits()
    : GenericScsiCommand(cdbOf(READ_BLOCK_LIMITS, Be32(0), 0), SCSI_DATA_IN, 6) {}
std::uint32_t TapeCmdReadBlockLimits::getMaxBlockLength() const {
  return ioDataLength < 6 ? 0 : readBe24(ioDataSpan(), 1);
}
std::uint16_t TapeCmdReadBlockLimits::getMinBlockLength() const {
  return ioDataLength < 6 ? std::uint16_t{0} : readBe16(ioDataSpan(), 4);
}

// The parameter list is the mode parameter header and one block descriptor: 4 and 8 bytes.
TapeCmdModeSelect6::TapeCmdModeSelect6(std::uint8_t bufferedMode, std::uint32_t blockLength)
    : GenericScsiCommand(cdbOf(MODE_SELECT_6, 0x10, Be16(0), 4 + 8, 0), SCSI_DATA_OUT,
                         bytesOf(Be16(0), (bufferedMode & 1) << 4, 8, Be32(0), 0, Be24(blockLength))) {}
void TapeCmdModeSelect6::setBufferedMode(std::uint8_t bufferedMode) {
  writeByte(ioDataSpan(), 2, (bufferedMode & 1u) << 4);
}
void TapeCmdModeSelect6::setBlockLength(std::uint32_t blockLength) { writeBigEndian(ioDataSpan(), 9, 3, blockLength); }

TapeCmdRead6::TapeCmdRead6(std::uint32_t transferLength, std::uint32_t byteCount, bool sili, bool fixed)
    : GenericScsiCommand(cdbOf(READ_6, fixed | sili << 1, Be24(transferLength), 0), SCSI_DATA_IN,
                         fixed ? byteCount : transferLength, 2100) {}
void TapeCmdRead6::setTransferLength(std::uint32_t transferLength) { putNumber(2, 3, transferLength); }
void TapeCmdRead6::setSiliFlag(bool sili) { putBits(1, 0x02, sili); }
void TapeCmdRead6::setFixedFlag(bool fixed) { putBits(1, 0x01, fixed); }

TapeCmdWrite6::TapeCmdWrite6(std::uint32_t transferLength, std::uint32_t byteCount, bool fixed)
    : GenericScsiCommand(cdbOf(WRITE_6, fixed, Be24(transferLength), 0), SCSI_DATA_OUT,
                         fixed ? byteCount : transferLength, 1500) {}
void TapeCmdWrite6::setTransferLength(std::uint32_t transferLength) { putNumber(2, 3, transferLength); }
void TapeCmdWrite6::setFixedFlag(bool fixed) { putNumber(1, 1, fixed); }

TapeCmdWriteFileMarks::TapeCmdWriteFileMarks(bool immediate, std::uint32_t count)
    : GenericScsiCommand(cdbOf(WRITE_FILEMARKS_6, immediate, Be24(count), 0), SCSI_DATA_NONE, 0, 1400) {}
void TapeCmdWriteFileMarks::setImmedFlag(bool immediate) { putNumber(1, 1, immediate); }

TapeCmdVerify::TapeCmdVerify(bool fixed, bool byteCompare, bool immediate, bool byFilemarks,
                             bool logicalBlockProtection, bool toEnd, std::uint32_t length)
    : GenericScsiCommand(cdbOf(VERIFY_6,
                               fixed | byteCompare << 1 | immediate << 2 | byFilemarks << 3 |
                                   logicalBlockProtection << 4 | toEnd << 5,
                               Be24(length), 0),
                         SCSI_DATA_NONE, 0, 1600) {}
void TapeCmdVerify::setImmedFlag(bool immediate) { setOnlyFlag(0x04, immediate); }
void TapeCmdVerify::setBytcmpFlag(bool byteCompare) { setOnlyFlag(0x02, byteCompare); }
void TapeCmdVerify::setVbfFlag(bool byFilemarks) { setOnlyFlag(0x08, byFilemarks); }
void TapeCmdVerify::setVlbmpmFlag(bool logicalBlockProtection) { setOnlyFlag(0x10, logicalBlockProtection); }
void TapeCmdVerify::setVteFlag(bool toEnd) { setOnlyFlag(0x20, toEnd); }
void TapeCmdVerify::setFixedFlag(bool /*fixed*/) { putNumber(1, 1, 0x01); }
void TapeCmdVerify::setVerifyLength(std::uint32_t length) { putNumber(2, 3, length); }
void TapeCmdVerify::setOnlyFlag(std::uint8_t flag, bool on) { on ? putNumber(1, 1, flag) : putBits(1, flag, 0); }
