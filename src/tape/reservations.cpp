#include "kiv/tape/reservations.h"

#include <algorithm>

#include "kiv/tape/driver_unsupported.h"
#include "tape/fields.h"

namespace {

constexpr std::uint8_t RESERVE_6 = 0x16;
constexpr std::uint8_t RELEASE_6 = 0x17;
constexpr std::uint8_t PERSISTENT_RESERVE_IN = 0x5E;
constexpr std::uint8_t PERSISTENT_RESERVE_OUT = 0x5F;

void writeLength(std::span<std::uint8_t> cdb, std::uint32_t length) {
  writeByte(cdb, 6, 0);
  writeBigEndian(cdb, 7, 2, length);
}

}  // namespace

TapeCmdReserveUnit6::TapeCmdReserveUnit6() : GenericScsiCommand(CDB_6) { setCmdCode(RESERVE_6); }
QORScsiCommand* TapeCmdReserveUnit6::createQORCommand() { return new QORTapeCmdReserveUnit6(this); }

TapeCmdReleaseUnit6::TapeCmdReleaseUnit6() : GenericScsiCommand(CDB_6) { setCmdCode(RELEASE_6); }
QORScsiCommand* TapeCmdReleaseUnit6::createQORCommand() { return new QORTapeCmdReleaseUnit6(this); }

TapeCmdPersistentReserveIn::TapeCmdPersistentReserveIn(PersistReserveInServiceAction action,
                                                       std::uint32_t allocationLength)
    : GenericScsiCommand(CDB_10, SCSI_DATA_IN, allocationLength, 60) {
  setCmdCode(PERSISTENT_RESERVE_IN);
  setServiceAction(action);
  writeLength(cdbSpan(), allocationLength);
}
void TapeCmdPersistentReserveIn::setServiceAction(PersistReserveInServiceAction action) {
  writeByte(cdbSpan(), 1, action);
}
void TapeCmdPersistentReserveIn::setReservationType(PersistReserveOutReservationType type) {
  writeByte(cdbSpan(), 2, type);
}
void TapeCmdPersistentReserveIn::setAllocationLength(std::uint32_t allocationLength) {
  writeLength(cdbSpan(), allocationLength);
  setIoDataLength(allocationLength);
}
std::vector<std::uint64_t> TapeCmdPersistentReserveIn::getReservationsKeys() const {
  constexpr std::size_t HEADER = 8, KEY = 8;
  std::vector<std::uint64_t> keys;
  if (readByte(cdbSpan(), 1) != PERSIST_READ_KEYS || ioDataLength < HEADER) return keys;
  // The additional length tells of all keys, also of those for which the buffer had no room.
  const std::size_t told = readBe32(ioDataSpan(), 4) / KEY, present = (ioDataLength - HEADER) / KEY;
  for (std::size_t i = 0; i < std::min(told, present); ++i)
    keys.push_back(readBe64(ioDataSpan(), HEADER + KEY * i));
  return keys;
}
QORScsiCommand* TapeCmdPersistentReserveIn::createQORCommand() {
  return new QORTapeCmdPersistentReserveIn(this);
}

TapeCmdPersistentReserveOut::TapeCmdPersistentReserveOut(PersistReserveOutServiceAction action,
                                                         PersistReserveOutReservationType type,
                                                         std::uint32_t parameterListLength)
    : GenericScsiCommand(CDB_10, SCSI_DATA_OUT, parameterListLength, 60) {
  setCmdCode(PERSISTENT_RESERVE_OUT);
  setServiceAction(action);
  setReservationType(type);
  writeLength(cdbSpan(), parameterListLength);
}
void TapeCmdPersistentReserveOut::setServiceAction(PersistReserveOutServiceAction action) {
  writeByte(cdbSpan(), 1, action);
}
void TapeCmdPersistentReserveOut::setReservationType(PersistReserveOutReservationType type) {
  writeByte(cdbSpan(), 2, type);
}
void TapeCmdPersistentReserveOut::setAllocationLength(std::uint32_t parameterListLength) {
  writeLength(cdbSpan(), parameterListLength);
  setIoDataLength(parameterListLength);
}
QORScsiCommand* TapeCmdPersistentReserveOut::createQORCommand() {
  return new QORTapeCmdPersistentReserveOut(this);
}
