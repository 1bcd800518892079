#include "kiv/tape/positioning.h"

#include "scsi/cdb.h"

namespace {

constexpr std::uint8_t CHANGE_PARTITION = 0x02;

}  // namespace

// clang-format off
TapeCmdRewind::TapeCmdRewind(bool immediate)
    : GenericScsiCommand(cdbOf(REWIND, immediate, Be24(0), 0), SCSI_DATA_NONE, 0, 600) {}
void TapeCmdRewind::setImmedFlag(bool immediate) { putNumber(1, 1, immediate); }

TapeCmdLocate::TapeCmdLocate(bool immediate, std::uint32_t blockAddress)
    : GenericScsiCommand(cdbOf(LOCATE_10, immediate, 0, Be32(blockAddress), 0, 0, 0), SCSI_DATA_NONE, 0, 2300) {}
void TapeCmdLocate::setImmedFlag(bool immediate) { putNumber(1, 1, immediate); }
void TapeCmdLocate::setBlockAddr(std::uint32_t blockAddress) { putNumber(3, 4, blockAddress); }

TapeCmdLocate16::TapeCmdLocate16(bool immediate, std::uint64_t blockAddress, std::uint32_t partition)
    : GenericScsiCommand(
          cdbOf(LOCATE_16, immediate | CHANGE_PARTITION, 0, partition, 0, Be56(blockAddress), Be16(0), 0, 0),
          SCSI_DATA_NONE, 0, 2300),
      blockId(blockAddress),
      partitionNumber(partition) {}
void TapeCmdLocate16::setImmedFlag(bool immediate) { putNumber(1, 1, immediate); }
void TapeCmdLocate16::setBlockAdr(std::uint64_t blockAddress) {
  putNumber(4, 1, 0);
  putNumber(5, 7, blockAddress);
  blockId = blockAddress;
}
void TapeCmdLocate16::setPartitionNumber(std::uint32_t partition) {
  if (partition != 0) putBits(1, CHANGE_PARTITION, 1);
  putNumber(3, 1, partition);
  partitionNumber = partition;
}

TapeCmdSpace::TapeCmdSpace(std::uint8_t code, std::int32_t count)
    : GenericScsiCommand(cdbOf(SPACE_6, code & 0x07, Be24(static_cast<std::uint32_t>(count)), 0),
                         SCSI_DATA_NONE, 0, 2300) {}
void TapeCmdSpace::setMode(std::uint8_t code) { putNumber(1, 1, code & 0x07); }
void TapeCmdSpace::setCount(std::int32_t count) { putNumber(2, 3, static_cast<std::uint32_t>(count)); }

TapeCmdReadPosition::TapeCmdReadPosition()
    : GenericScsiCommand(cdbOf(READ_POSITION, Be64(0), 0), SCSI_DATA_IN, 32) {}
bool TapeCmdReadPosition::posBOP() const { return hasFlag(ioDataSpan(), 0, 0x80); }
bool TapeCmdReadPosition::posEOP() const { return hasFlag(ioDataSpan(), 0, 0x40); }
std::uint32_t TapeCmdReadPosition::getFirstBlockPosition() const { return ioDataLength < 8 ? 0 : readBe32(ioDataSpan(), 4); }
// The next three accept a buffer that ends one byte short of the field; that byte reads as 0.
std::uint32_t TapeCmdReadPosition::getLastBlockWritten() const { return ioDataLength < 11 ? 0 : readBe32(ioDataSpan(), 8); }
std::uint32_t TapeCmdReadPosition::getNumberOfBlocksInBuffer() const { return ioDataLength < 15 ? 0 : readBe24(ioDataSpan(), 13); }
std::uint32_t TapeCmdReadPosition::getNumberOfBytesInBuffer() const { return ioDataLength < 19 ? 0 : readBe32(ioDataSpan(), 16); }
std::uint32_t TapeCmdReadPosition::getNextBlockPosition() const { return ioDataLength < 24 ? 0 : readBe32(ioDataSpan(), 20); }
