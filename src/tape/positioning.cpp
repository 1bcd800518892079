#include "kiv/tape/positioning.h"

#include "kiv/tape/driver_positioning.h"
#include "kiv/tape/driver_unsupported.h"
#include "tape/fields.h"

namespace {

constexpr std::uint8_t REWIND = 0x01;
constexpr std::uint8_t SPACE_6 = 0x11;
constexpr std::uint8_t LOCATE_10 = 0x2B;
constexpr std::uint8_t READ_POSITION = 0x34;
constexpr std::uint8_t LOCATE_16 = 0x92;

constexpr std::uint8_t IMMED = 0x01;
constexpr std::uint8_t CHANGE_PARTITION = 0x02;

}  // namespace

TapeCmdRewind::TapeCmdRewind(bool immediate) : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 600) {
  setCmdCode(REWIND);
  setImmedFlag(immediate);
}
void TapeCmdRewind::setImmedFlag(bool immediate) { writeByte(cdbSpan(), 1, immediate ? IMMED : 0); }
QORScsiCommand* TapeCmdRewind::createQORCommand() { return new QORTapeCmdRewind(this); }

TapeCmdLocate::TapeCmdLocate(bool immediate, std::uint32_t blockAddress)
    : GenericScsiCommand(CDB_10, SCSI_DATA_NONE, 0, 2300) {
  setCmdCode(LOCATE_10);
  setImmedFlag(immediate);
  setBlockAddr(blockAddress);
}
void TapeCmdLocate::setImmedFlag(bool immediate) { writeByte(cdbSpan(), 1, immediate ? IMMED : 0); }
void TapeCmdLocate::setBlockAddr(std::uint32_t blockAddress) {
  writeBigEndian(cdbSpan(), 3, 4, blockAddress);
}
QORScsiCommand* TapeCmdLocate::createQORCommand() { return new QORTapeCmdLocate(this); }

TapeCmdLocate16::TapeCmdLocate16(bool immediate, std::uint64_t blockAddress, std::uint32_t partition)
    : GenericScsiCommand(CDB_16, SCSI_DATA_NONE, 0, 2300) {
  setCmdCode(LOCATE_16);
  setImmedFlag(immediate);
  writeFlag(cdbSpan(), 1, CHANGE_PARTITION, true);
  setPartitionNumber(partition);
  setBlockAdr(blockAddress);
}
void TapeCmdLocate16::setImmedFlag(bool immediate) { writeByte(cdbSpan(), 1, immediate ? IMMED : 0); }
void TapeCmdLocate16::setBlockAdr(std::uint64_t blockAddress) {
  writeByte(cdbSpan(), 4, 0);
  writeBigEndian(cdbSpan(), 5, 7, blockAddress);
  blockId = blockAddress;
}
void TapeCmdLocate16::setPartitionNumber(std::uint32_t partition) {
  if (partition != 0) writeFlag(cdbSpan(), 1, CHANGE_PARTITION, true);
  writeBigEndian(cdbSpan(), 3, 1, partition);
  partitionNumber = partition;
}
QORScsiCommand* TapeCmdLocate16::createQORCommand() { return new QORTapeCmdLocate16(this); }

TapeCmdSpace::TapeCmdSpace(std::uint8_t code, std::int32_t count)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 2300) {
  setCmdCode(SPACE_6);
  setMode(code);
  setCount(count);
}
void TapeCmdSpace::setMode(std::uint8_t code) { writeByte(cdbSpan(), 1, code & 0x07); }
void TapeCmdSpace::setCount(std::int32_t count) {
  writeBigEndian(cdbSpan(), 2, 3, static_cast<std::uint32_t>(count));
}
QORScsiCommand* TapeCmdSpace::createQORCommand() { return new QORTapeCmdSpace(this); }

TapeCmdReadPosition::TapeCmdReadPosition() : GenericScsiCommand(CDB_10, SCSI_DATA_IN, 32) {
  setCmdCode(READ_POSITION);
}
bool TapeCmdReadPosition::posBOP() const { return hasFlag(ioDataSpan(), 0, 0x80); }
bool TapeCmdReadPosition::posEOP() const { return hasFlag(ioDataSpan(), 0, 0x40); }
std::uint32_t TapeCmdReadPosition::getFirstBlockPosition() const {
  return ioDataLength < 8 ? 0 : readBe32(ioDataSpan(), 4);
}
// The next three accept a buffer that ends one byte short of the field; that byte reads as 0.
std::uint32_t TapeCmdReadPosition::getLastBlockWritten() const {
  return ioDataLength < 11 ? 0 : readBe32(ioDataSpan(), 8);
}
std::uint32_t TapeCmdReadPosition::getNumberOfBlocksInBuffer() const {
  return ioDataLength < 15 ? 0 : readBe24(ioDataSpan(), 13);
}
std::uint32_t TapeCmdReadPosition::getNumberOfBytesInBuffer() const {
  return ioDataLength < 19 ? 0 : readBe32(ioDataSpan(), 16);
}
std::uint32_t TapeCmdReadPosition::getNextBlockPosition() const {
  return ioDataLength < 24 ? 0 : readBe32(ioDataSpan(), 20);
}
QORScsiCommand* TapeCmdReadPosition::createQORCommand() {
  return new QORTapeCmdReadPosition(this, blockFormatPhysical);
}
